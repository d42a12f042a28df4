#include "qvkit/number_form.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "qvkit/language.h"

namespace korva {

ShortText ShowNumber(const NumberForm& form, double value, std::int32_t floor, QvLanguage* language) noexcept {
  constexpr double kLargest = 2147483647.0;
  if (form.show != nullptr) return form.show(value, language);
  std::array<WCHAR, 16> unit{};
  if (form.unit != kNoString) QvPrintF(unit, KORVA_WTEXT(" %s"), {QvGetString(language, form.unit)});
  const double held = value == value ? std::clamp(std::round(value), -kLargest, kLargest) : 0.0;
  const auto whole = static_cast<std::int32_t>(held);
  return form.silence ? QvGetdBStringFixed(whole, form.decimals, floor, unit.data())
                      : QvGetLabeledStringFixed(whole, form.decimals, unit.data(), form.grouped ? 1 : 0);
}

double ReadNumber(const NumberForm& form, const WCHAR* text) noexcept {
  if (form.decimals == 0) return QvTextToLongToken(text, nullptr);
  double scale = 1;
  for (int i = 0; i < form.decimals; ++i) scale *= 10;
  return QvTextToDoubleToken(text, nullptr) * scale;
}

}  // namespace korva
