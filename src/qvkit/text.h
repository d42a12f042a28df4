// Numbers as text and text as numbers, the way a person at a control reads and types them.
// Decimal sign and digit grouping are those of the locale last set, for the whole module. Nothing here allocates or
// throws; texts that do not fit are cut, always terminated. Any thread.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

#include "platform/platform.h"

namespace korva {

/// Room for any number with a unit.
struct ShortText {
  std::array<WCHAR, 64> characters{};
  const WCHAR* Text() const noexcept { return characters.data(); }
};

/// The signs of a locale that matter in numbers.
struct NumberSigns {
  WCHAR decimal = u'.';
  WCHAR group = u',';
};

/// The signs that go with a locale id: where the user's own locale has the same language, the user's.
NumberSigns NumberSignsOf(std::uint32_t locale) noexcept;

/// Numbers read and are written by this locale from now on. English before the first call.
void QvText_SetLocale(std::uint32_t locale) noexcept;

/// An integer as text, with the digits in groups of three if `group` is nonzero.
void QvLongToText(std::int32_t value, std::span<WCHAR> text, int group) noexcept;

/// A double as text with `decimals` places, 0 to 9, rounded to the nearest.
void QvDoubleToText(double value, int decimals, std::span<WCHAR> text) noexcept;

/// A whole number of units of 10^-`decimals` as text, followed by `label` unless it is null: 123 with one decimal
/// is "12.3". Digits are grouped if `group` is nonzero.
ShortText QvGetLabeledStringFixed(std::int32_t value, int decimals, const WCHAR* label, int group) noexcept;

/// The same for a gain: at `floor` and below it is silence, "-Inf.", without the label.
ShortText QvGetdBStringFixed(std::int32_t value, int decimals, std::int32_t floor, const WCHAR* label) noexcept;

/// The first number in a text. What stands before it is passed over, a number that is not there reads as 0, one too
/// large as the largest. Grouped digits, either decimal sign where only one can be meant, and full-width digits are
/// understood. `next`, if not null, gets where the number ends.
std::int32_t QvTextToLongToken(const WCHAR* text, const WCHAR** next) noexcept;
/// The same for unsigned numbers; blanks always part numbers, so that a row of them can be read one by one.
std::uint32_t QvTextToDWordToken(const WCHAR* text, const WCHAR** next) noexcept;
/// The same with decimals: a lone sign is the decimal one, even before three digits. Of the two doubles next to a
/// decimal number it is the outer one, so that the digits as typed survive a scaling by a power of ten and a cut: 1.001
/// x 1000 is never 1000.
double QvTextToDoubleToken(const WCHAR* text, const WCHAR** next) noexcept;

/// One value for `QvPrintF`: a whole number, a character or a text.
class PrintArgument {
 public:
  template <std::integral T>
  PrintArgument(T number) noexcept : number_(static_cast<std::int64_t>(number)) {}
  PrintArgument(const WCHAR* text) noexcept : text_(text) {}
  PrintArgument(const ShortText& text) noexcept : text_(text.Text()) {}

  std::int64_t number() const noexcept { return number_; }
  const WCHAR* text() const noexcept { return text_; }

 private:
  std::int64_t number_ = 0;
  const WCHAR* text_ = nullptr;
};

/// Formats into a wide buffer: %d, %u, %s, %c and %%, numbers with a width and leading zeros. The arguments carry their
/// own kind, so a translated format cannot misread them; a percent sign that starts none of these stands for itself.
void QvPrintF(std::span<WCHAR> text, const WCHAR* format, std::initializer_list<PrintArgument> arguments) noexcept;

/// A name made fit for a menu item: marks of accelerators are doubled, control characters become blanks. Cut to
/// `capacity` characters with the terminator.
void QvFixNameForMenu(const WCHAR* name, WCHAR* item, std::size_t capacity) noexcept;

}  // namespace korva
