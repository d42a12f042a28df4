#pragma once

#include <cstdint>

#include "qvkit/string_ids.h"
#include "qvkit/text.h"

namespace korva {

struct QvLanguage;

/// How a number stands in a text, for both directions: what a page shows, and how what a person types is read.
///
/// Values are counted in units of the last decimal: with one decimal, 123 is "12.3" and back. A form with decimals
/// reads a lone sign as the decimal one; a form without takes it for a group mark where it stands like one.
struct NumberForm {
  int decimals = 0;
  StringId unit = kNoString;  ///< shown after a blank
  bool grouped = false;       ///< digits in groups of three
  bool silence = false;       ///< a gain: the lowest value is silence
  int limit = 10;             ///< characters read from a box
  /// Instead of the above, where a value's form depends on it; reading goes by the above.
  ShortText (*show)(double value, QvLanguage* language) noexcept = nullptr;
};

inline constexpr NumberForm kDecibelForm{.decimals = 1, .unit = kStringDecibels, .silence = true};
inline constexpr NumberForm kPercentForm{.unit = kStringPercent};
inline constexpr NumberForm kWholeForm{};
inline constexpr NumberForm kGroupedForm{.grouped = true, .limit = 15};
inline constexpr NumberForm kTenthsForm{.decimals = 1};
inline constexpr NumberForm kHundredthsForm{.decimals = 2};
inline constexpr NumberForm kThousandthsForm{.decimals = 3};

/// A value as text, rounded to the form's last place. `floor` is the value that reads as silence where the form has it.
ShortText ShowNumber(const NumberForm& form, double value, std::int32_t floor, QvLanguage* language) noexcept;

/// The value that a text stands for, not yet cut to a whole one: "12.34" in a form with one decimal is 123.4.
double ReadNumber(const NumberForm& form, const WCHAR* text) noexcept;

}  // namespace korva
