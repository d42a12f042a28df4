#include "frame/interfaces.h"
#include "frame/module_text.h"
#include "pages/effect_page.h"
#include "pages/preset_menu.h"
#include "qvkit/activation_context.h"
#include "qvkit/controls.h"
#include "qvkit/help.h"

namespace korva {

void CQvEffectPage::ApplyPresetItem(int item) {
  DropFocusedText();  // what was typed before the preset was chosen must not come back over it
  if (const auto presets = Query<IStaticFilterPreset>(object_); presets) presets->SetPreset(PresetOfItem(item));
  Update(0, false);
}

void CQvEffectPage::ShowPageMenu(LPARAM point) {
  POINT at = {static_cast<short>(LOWORD(point)), static_cast<short>(HIWORD(point))};
  if (at.x < 0 || at.y < 0) {  // asked for by keyboard
    RECT place = {};
    ::GetWindowRect(window(), &place);
    at = {(place.left + place.right) / 2, place.top + (place.bottom - place.top) / 4};
  }
  TrackMenu(CreatePageMenu(object_), at);
}

/// Under the name on the logo bar.
void CQvEffectPage::ShowPresetMenu() {
  RECT place = {};
  ::GetWindowRect(::GetDlgItem(window(), kLogo), &place);
  TrackMenu(CreatePresetMenu(object_), {place.left, place.bottom});
}

// The menu's own loop lets the host go on, and let go of the page, while our code stands on the stack: the page stays
// until it ends, and with it the module.
void CQvEffectPage::TrackMenu(HMENU menu, POINT at) {
  if (menu == nullptr) return;
  const ComPtr<IUnknown> self(GetOwner());
  if (::GetMenuItemCount(menu) > 0) {
    ::TrackPopupMenu(menu, TPM_LEFTALIGN | TPM_RIGHTBUTTON, at.x, at.y, 0, window(), nullptr);
  }
  ::DestroyMenu(menu);
}

void CQvEffectPage::ShowHelp() {
  const WCHAR* const path = ModuleHelpPath();
  if (QvHelp_ContextHelp(1, window(), helpContext(), 15, path) != 0) return;
  const ComPtr<IUnknown> self(GetOwner());
  std::array<WCHAR, 2 * kHelpPathCapacity> text{};
  QvPrintF(text, ModuleText(kStringHelpMissing), {path});
  ::MessageBoxW(window(), text.data(), ModuleText(kStringHelp), MB_OK | MB_ICONINFORMATION);
}

}  // namespace korva
