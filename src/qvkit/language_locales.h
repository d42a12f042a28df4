// The languages that there are texts for, by locale id.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace korva {

inline constexpr std::size_t kLanguageCount = 10;
inline constexpr std::size_t kEnglish = 0;
inline constexpr std::array<std::uint32_t, kLanguageCount> kLanguageLocales = {1033, 1031, 1036, 1041, 1042,
                                                                               1045, 1046, 1049, 2052, 3082};
// The same languages as tags on the net.
inline constexpr std::array<const char*, kLanguageCount> kLanguageTags = {"en", "de",    "fr", "ja",    "ko",
                                                                          "pl", "pt-br", "ru", "zh-cn", "es"};

// Index of the language of a locale id, or of the first with the same primary language; `kLanguageCount` for none.
constexpr std::size_t FindLanguage(std::uint32_t locale) noexcept {
  constexpr std::uint32_t kLanguageMask = 0xFFFF;  // above it stands the sort order
  constexpr std::uint32_t kPrimaryMask = 0x3FF;
  for (const std::uint32_t mask : {kLanguageMask, kPrimaryMask}) {
    for (std::size_t index = 0; index < kLanguageCount; ++index) {
      if ((kLanguageLocales[index] & mask) == (locale & mask)) return index;
    }
  }
  return kLanguageCount;
}

}  // namespace korva
