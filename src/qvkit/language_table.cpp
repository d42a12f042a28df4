#include "qvkit/language_table.h"

#include <algorithm>
#include <array>

#include "qvkit/language_locales.h"

#define KORVA_STRING(id, text) {id, u##text},

namespace korva {
namespace {

constexpr LanguageString kEnglishStrings[] = {
#include "resources/strings/en.inc"
};
constexpr LanguageString kGermanStrings[] = {
#include "resources/strings/de.inc"
};
constexpr LanguageString kFrenchStrings[] = {
#include "resources/strings/fr.inc"
};
constexpr LanguageString kJapaneseStrings[] = {
#include "resources/strings/ja.inc"
};
constexpr LanguageString kKoreanStrings[] = {
#include "resources/strings/ko.inc"
};
constexpr LanguageString kPolishStrings[] = {
#include "resources/strings/pl.inc"
};
constexpr LanguageString kPortugueseStrings[] = {
#include "resources/strings/pt_br.inc"
};
constexpr LanguageString kRussianStrings[] = {
#include "resources/strings/ru.inc"
};
constexpr LanguageString kChineseStrings[] = {
#include "resources/strings/zh_cn.inc"
};
constexpr LanguageString kSpanishStrings[] = {
#include "resources/strings/es.inc"
};

// In the order of kLanguageLocales.
constexpr std::array<std::span<const LanguageString>, kLanguageCount> kTables = {
    kEnglishStrings, kGermanStrings,     kFrenchStrings,  kJapaneseStrings, kKoreanStrings,
    kPolishStrings,  kPortugueseStrings, kRussianStrings, kChineseStrings,  kSpanishStrings};

constexpr bool IsStrictlyOrdered(std::span<const LanguageString> table) {
  return std::ranges::adjacent_find(table, std::ranges::greater_equal{}, &LanguageString::id) == table.end();
}
static_assert(std::ranges::all_of(kTables, IsStrictlyOrdered), "the search needs ascending ids");

}  // namespace

std::span<const LanguageString> LanguageTable(std::size_t language) noexcept {
  return language < kTables.size() ? kTables[language] : std::span<const LanguageString>{};
}

const char16_t* FindTableText(std::size_t language, std::uint32_t id) noexcept {
  const auto table = LanguageTable(language);
  const auto row = std::ranges::lower_bound(table, id, {}, &LanguageString::id);
  return row != table.end() && row->id == id ? row->text : nullptr;
}

}  // namespace korva
