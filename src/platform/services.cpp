#include "platform/services.h"

#include <algorithm>

namespace korva::platform {
namespace {

struct LocaleName {
  std::string_view names;  // parted by blanks
  std::uint32_t locale;
};

#define KORVA_LANGUAGE(file, locale, tag, names, ...) {names, locale},
constexpr LocaleName kLocaleNames[] = {
#include "resources/languages.inc"
};
#undef KORVA_LANGUAGE

constexpr bool EndsName(std::string_view rest) {
  return rest.empty() || rest[0] == '_' || rest[0] == '.' || rest[0] == '@';
}

}  // namespace

std::uint32_t LocaleFromName(std::string_view name) noexcept {
  for (const LocaleName& row : kLocaleNames) {
    for (std::string_view names = row.names; !names.empty();) {
      const std::string_view one = names.substr(0, names.find(' '));
      if (name.starts_with(one) && EndsName(name.substr(one.size()))) return row.locale;
      names.remove_prefix(std::min(one.size() + 1, names.size()));
    }
  }
  return kLocaleNames[0].locale;
}

}  // namespace korva::platform
