// The languages that there are texts for, by locale id.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace korva {

#define KORVA_LANGUAGE(file, locale, ...) std::uint32_t{locale},
inline constexpr std::array kLanguageLocales = {
#include "resources/languages.inc"
};
#undef KORVA_LANGUAGE
inline constexpr std::size_t kLanguageCount = kLanguageLocales.size();
inline constexpr std::size_t kEnglish = 0;
// The same languages as tags on the net.
#define KORVA_LANGUAGE(file, locale, tag, ...) tag,
inline constexpr std::array<const char*, kLanguageCount> kLanguageTags = {
#include "resources/languages.inc"
};
#undef KORVA_LANGUAGE

// Index of the language of a locale id, or of the first with the same primary language; `kLanguageCount` for none.
constexpr std::size_t FindLanguage(std::uint32_t locale) noexcept {
  constexpr std::uint32_t kLanguageMask = 0xFFFF;  // above it is the sort order
  constexpr std::uint32_t kPrimaryMask = 0x3FF;
  for (const std::uint32_t mask : {kLanguageMask, kPrimaryMask}) {
    for (std::size_t index = 0; index < kLanguageCount; ++index) {
      if ((kLanguageLocales[index] & mask) == (locale & mask)) return index;
    }
  }
  return kLanguageCount;
}

}  // namespace korva
