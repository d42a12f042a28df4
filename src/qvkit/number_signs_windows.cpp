#include "qvkit/text.h"

namespace korva {
namespace {

WCHAR Sign(LCID locale, LCTYPE type, WCHAR otherwise) noexcept {
  WCHAR sign[8] = {};
  const int length = ::GetLocaleInfoW(locale, type, sign, static_cast<int>(std::size(sign)));
  return length > 1 ? sign[0] : otherwise;
}

}  // namespace

NumberSigns NumberSignsOf(std::uint32_t locale) noexcept {
  // A user of another country with the same language, or with signs of their own, keeps them.
  const LCID user = ::GetUserDefaultLCID();
  const LCID asked = PRIMARYLANGID(user) == PRIMARYLANGID(locale) ? user : static_cast<LCID>(locale);
  const WCHAR decimal = Sign(asked, LOCALE_SDECIMAL, L'.');
  const WCHAR other = decimal == L',' ? L'.' : L',';
  const WCHAR group = Sign(asked, LOCALE_STHOUSAND, other);
  return {decimal, group != decimal ? group : other};
}

}  // namespace korva
