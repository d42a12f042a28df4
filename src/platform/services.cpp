#include "platform/services.h"

namespace korva::platform {
namespace {

struct LocaleName {
  std::string_view prefix;
  std::uint32_t locale;
};

// Traditional Chinese has no texts of its own, so only the simplified names stand here.
constexpr LocaleName kLocaleNames[] = {
    {"de", 1031}, {"en", 1033}, {"fr", 1036}, {"ja", 1041},    {"ko", 1042},    {"pl", 1045},
    {"pt", 1046}, {"ru", 1049}, {"es", 3082}, {"zh_CN", 2052}, {"zh_SG", 2052},
};

constexpr std::uint32_t kEnglish = 1033;

constexpr bool EndsName(std::string_view rest) {
  return rest.empty() || rest[0] == '_' || rest[0] == '.' || rest[0] == '@';
}

}  // namespace

std::uint32_t LocaleFromName(std::string_view name) noexcept {
  for (const LocaleName& row : kLocaleNames) {
    if (name.starts_with(row.prefix) && EndsName(name.substr(row.prefix.size()))) return row.locale;
  }
  return kEnglish;
}

}  // namespace korva::platform
