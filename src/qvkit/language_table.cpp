#include "qvkit/language_table.h"

#include <algorithm>
#include <iterator>

#include "qvkit/language_locales.h"

#define KORVA_STRING(id, text) {id, u##text},

namespace korva {
namespace {

constexpr LanguageString kEnglishTexts[] = {
#include "resources/strings/en.inc"
};

// One table a language, in the order of the list and all of one length.
constexpr LanguageString kTables[kLanguageCount][std::size(kEnglishTexts)] = {
#include "language_texts.inc"
};

constexpr bool AreStrictlyOrdered() {
  for (const auto& table : kTables) {
    if (std::ranges::adjacent_find(table, std::ranges::greater_equal{}, &LanguageString::id) != std::end(table)) {
      return false;
    }
  }
  return true;
}
static_assert(AreStrictlyOrdered(), "the search needs ascending ids, the same in every language");

}  // namespace

std::span<const LanguageString> LanguageTable(std::size_t language) noexcept {
  return language < kLanguageCount ? kTables[language] : std::span<const LanguageString>{};
}

const char16_t* FindTableText(std::size_t language, std::uint32_t id) noexcept {
  const auto table = LanguageTable(language);
  const auto row = std::ranges::lower_bound(table, id, {}, &LanguageString::id);
  return row != table.end() && row->id == id ? row->text : nullptr;
}

}  // namespace korva
