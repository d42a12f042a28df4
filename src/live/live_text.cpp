#include "live/live_text.h"

#include <algorithm>
#include <cctype>

#include "platform/wide_text.h"
#include "qvkit/language_locales.h"
#include "qvkit/language_table.h"

namespace korva {
namespace {

char Lower(char c) {
  return c == '_' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

bool SameTag(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return Lower(x) == Lower(y); });
}

}  // namespace

std::size_t LanguageOf(std::string_view tag) {
  for (std::size_t language = 0; language < kLanguageCount; ++language) {
    if (SameTag(tag, kLanguageTags[language])) return language;
  }
  const std::string_view primary = tag.substr(0, tag.find_first_of("-_."));
  for (std::size_t language = 0; language < kLanguageCount; ++language) {
    const std::string_view own = kLanguageTags[language];
    if (SameTag(primary, own.substr(0, own.find('-')))) return language;
  }
  return kEnglish;
}

std::string TextIn(std::size_t language, std::int32_t id) {
  if (id < 0) return {};
  const char16_t* text = FindTableText(language, static_cast<std::uint32_t>(id));
  if (text == nullptr) text = FindTableText(kEnglish, static_cast<std::uint32_t>(id));
  return text != nullptr ? platform::ToUtf8(text) : std::string();
}

std::vector<std::string> ChoiceNamesIn(std::size_t language, const ParamDescriptor& row) {
  std::vector<std::string> names;
  if (row.enumId >= 0) {
    const std::string text = TextIn(language, row.enumId);
    for (std::size_t start = 0; start <= text.size();) {
      const std::size_t comma = std::min(text.find(',', start), text.size());
      names.push_back(text.substr(start, comma - start));
      start = comma + 1;
    }
  } else if (row.firstNameId >= 0) {
    const auto last = static_cast<std::int32_t>(row.info.mpdMaxValue - row.info.mpdMinValue);
    for (std::int32_t i = 0; i <= last; ++i) names.push_back(TextIn(language, row.firstNameId + i));
  }
  return names;
}

std::string PresetNameIn(std::size_t language, const EffectDescription& effect, std::int32_t index) {
  return TextIn(language, effect.presets.NameId(index));
}

}  // namespace korva
