#include <algorithm>
#include <iterator>

#include "qvkit/ui_color.h"

namespace korva {
namespace {

struct UiColor {
  int use;
  COLORREF color;
  int contrast;  // the system's colour in its place
};

// Those of the tap graph keep apart for eyes that confuse red and green too, and from the ground of a dialog.
constexpr UiColor kColors[] = {
    {kColorBar, RGB(0x26, 0x3A, 0x47), COLOR_WINDOW},
    {kColorBarText, RGB(0xFF, 0xFF, 0xFF), COLOR_WINDOWTEXT},
    {kColorBarHot, RGB(0x3B, 0x59, 0x6C), COLOR_WINDOW},
    {kColorEcho, RGB(0x6E, 0x87, 0x96), COLOR_GRAYTEXT},
    {kColorAxis, RGB(0x00, 0x00, 0x00), COLOR_WINDOWTEXT},
    {kColorTap, RGB(0x1F, 0x6F, 0xB2), COLOR_WINDOWTEXT},
    {kColorCurrentTap, RGB(0xC2, 0x4A, 0x00), COLOR_HIGHLIGHT},
};

bool HighContrast() noexcept {
  HIGHCONTRASTW state = {};
  state.cbSize = sizeof(state);
  return ::SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof(state), &state, 0) &&
         (state.dwFlags & HCF_HIGHCONTRASTON) != 0;
}

}  // namespace

COLORREF QvGetUIColor(int use) noexcept {
  const auto* const found = std::ranges::find(kColors, use, &UiColor::use);
  if (found == std::end(kColors)) return RGB(0, 0, 0);
  return HighContrast() ? ::GetSysColor(found->contrast) : found->color;
}

}  // namespace korva
