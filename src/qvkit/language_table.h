// The string tables as built-in texts, from the same files as the module's resources.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace korva {

struct LanguageString {
  std::uint16_t id;
  const char16_t* text;
};

// The texts of one language in order of their ids. `language` is an index into `kLanguageLocales`; beyond them there
// are none.
std::span<const LanguageString> LanguageTable(std::size_t language) noexcept;

// The text of an id in one language, null where it has none.
const char16_t* FindTableText(std::size_t language, std::uint32_t id) noexcept;

}  // namespace korva
