#pragma once

#include "qvkit/text.h"

namespace korva {

/// The signs of the locale last set.
NumberSigns CurrentNumberSigns() noexcept;

/// Full-width forms, as East Asian keyboards type them, and other minus signs as the plain ones.
constexpr WCHAR PlainSign(WCHAR letter) noexcept {
  const auto code = static_cast<std::uint32_t>(letter);
  if (code >= 0xFF01 && code <= 0xFF5E) return static_cast<WCHAR>(code - 0xFEE0);
  return code == 0x2212 || code == 0x2013 ? static_cast<WCHAR>('-') : letter;
}

constexpr bool IsDigit(WCHAR letter) noexcept {
  return PlainSign(letter) >= '0' && PlainSign(letter) <= '9';
}

/// Blanks that may group digits.
constexpr bool IsSpace(WCHAR letter) noexcept {
  const auto code = static_cast<std::uint32_t>(letter);
  return code == 0x20 || code == 0xA0 || code == 0x2009 || code == 0x202F;
}

}  // namespace korva
