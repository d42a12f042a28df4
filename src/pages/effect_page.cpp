#include "pages/effect_page.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "frame/module_text.h"
#include "pages/logo_name.h"
#include "pages/preset_menu.h"
#include "qvkit/activation_context.h"
#include "qvkit/controls.h"
#include "qvkit/dialogs.h"
#include "qvkit/help.h"
#include "qvkit/language.h"
#include "qvkit/system_controls.h"

namespace korva {
namespace {

/// The bitmaps of the logo bar's buttons are drawn for three scales; the ids of the larger ones stand in steps above.
struct LogoBitmap {
  int id;
  UINT message;
};
constexpr LogoBitmap kLogoBitmaps[] = {{24018, kLogoImages}, {8001, kLogoOnImages}, {8000, kLogoDisabledImages}};
constexpr int kScaleStep = 10000;

struct LogoScale {
  int dotsPerInch;
  int pixels;
};
constexpr LogoScale kLogoScales[] = {{96, 16}, {144, 24}, {192, 32}};

int DotsPerInch(HWND window) noexcept {
  const HDC context = ::GetDC(window);
  const int dots = ::GetDeviceCaps(context, LOGPIXELSY);
  ::ReleaseDC(window, context);
  return dots;
}

}  // namespace

LONG ReadScaled(const WCHAR* text, double scale) noexcept {
  using Limits = std::numeric_limits<LONG>;
  const double scaled = QvTextToDoubleToken(text, nullptr) * scale;
  return static_cast<LONG>(std::clamp(scaled, static_cast<double>(Limits::min()), static_cast<double>(Limits::max())));
}

void CQvEffectPage::InitControls() {
  constexpr UINT kTimerMilliseconds = 50;
  QvText_SetLocale(QvLang_GetLCID(ModuleLanguage()));
  for (const PageControl& row : page_.controls) {
    const HWND control = ::GetDlgItem(window(), row.id);
    if (row.kind == ControlKind::kList) {
      ::SendMessageW(control, CB_RESETCONTENT, 0, 0);
      for (int i = 0; i < row.stringCount; ++i) {
        const auto text = reinterpret_cast<LPARAM>(ModuleText(row.firstString + i));
        const LRESULT item = ::SendMessageW(control, CB_ADDSTRING, 0, text);
        if (item >= 0) ::SendMessageW(control, CB_SETITEMDATA, static_cast<WPARAM>(item), i);
      }
    }
    if (row.kind == ControlKind::kSpinner) {
      ::SendMessageW(control, kSetBuddy, reinterpret_cast<WPARAM>(::GetDlgItem(window(), row.readout)), 8);
    }
    if (row.minimum != row.maximum) {
      ::SendMessageW(control, kSetMinimum, 0, row.minimum);
      ::SendMessageW(control, kSetMaximum, 0, row.maximum);
      ::SendMessageW(control, kSetDefault, 0, row.reset);
    }
    if (row.kind == ControlKind::kFader || row.kind == ControlKind::kTrackbar) {
      ::SendMessageW(control, TBM_SETLINESIZE, 0, row.line);
      ::SendMessageW(control, TBM_SETPAGESIZE, 0, row.page);
    }
    if (row.read != nullptr) {
      ::SendDlgItemMessageW(window(), row.readout, EM_SETLIMITTEXT, static_cast<WPARAM>(row.textLimit), 0);
    }
  }
  BuildLogo();
  if (filter_ != nullptr) InitOwnControls();
  if (page_.followsTimer) ::SetTimer(window(), kTimer, kTimerMilliseconds, nullptr);
}

void CQvEffectPage::BuildLogo() noexcept {
  const HWND logo = ::GetDlgItem(window(), kLogo);
  ::SendMessageW(logo, kLogoRestart, 0, 0);
  if (page_.bypassButton) {
    const int dots = DotsPerInch(window());
    int scale = 0;
    while (scale + 1 < static_cast<int>(std::size(kLogoScales)) && dots >= kLogoScales[scale + 1].dotsPerInch) ++scale;
    for (std::size_t i = 0; i < kImageLists; ++i) {
      images_[i] = LoadImageList(ThisModule(), kLogoBitmaps[i].id + scale * kScaleStep, kLogoScales[scale].pixels);
      ::SendMessageW(logo, kLogoBitmaps[i].message, reinterpret_cast<WPARAM>(images_[i]), 0);
    }
    ::SendMessageW(logo, kLogoAddImage, kBypassButton, 0);
    ::SendMessageW(logo, kLogoSetTip, kBypassButton, reinterpret_cast<LPARAM>(ModuleText(kStringBypass)));
  }
  ::SendMessageW(logo, kLogoAddText, kHelpItem, reinterpret_cast<LPARAM>(ModuleText(kStringHelpButton)));
  ::SendMessageW(logo, kLogoSetTip, kHelpItem, reinterpret_cast<LPARAM>(ModuleText(kStringHelp)));
  ::SendMessageW(logo, kLogoSetTip, kLogoName, reinterpret_cast<LPARAM>(ModuleText(kStringPresets)));
  std::array<WCHAR, 128> name{};
  CutMakerName(ModuleText(page_.logoName), name);
  QvSetDlgItemTextF(window(), kLogo, name.data());
}

HRESULT CQvEffectPage::OnConnect(IUnknown* object) {
  if (object == nullptr) return E_POINTER;
  void* found = nullptr;
  if (FAILED(object->QueryInterface(page_.propertyInterface, &found)) || found == nullptr) return E_NOINTERFACE;
  object->AddRef();
  object_ = object;
  filter_ = found;
  if (window() != nullptr) {
    RegisterWindow();
    InitOwnControls();
    Update(0, false);
  }
  return S_OK;
}

HRESULT CQvEffectPage::OnDisconnect() {
  if (filter_ == nullptr) return E_UNEXPECTED;
  EndEdits();
  openLists_ = 0;  // an open list may close when nobody listens any more
  if (window() != nullptr) UnregisterWindow();
  static_cast<IUnknown*>(std::exchange(filter_, nullptr))->Release();
  std::exchange(object_, nullptr)->Release();
  return S_OK;
}

// A text that was typed and not yet left is meant, as it is when the focus goes elsewhere.
HRESULT CQvEffectPage::OnDeactivate() {
  CommitFocusedText();
  return CBasePropertyPage::OnDeactivate();
}

void CQvEffectPage::RegisterWindow() noexcept {
  registered_ = SUCCEEDED(SetNotifyWindow(window(), kNoticeId));
}

void CQvEffectPage::UnregisterWindow() noexcept {
  SetNotifyWindow(window(), 0);
  registered_ = false;
}

void CQvEffectPage::EndWindow() noexcept {
  EndEdits();
  if (filter_ != nullptr) UnregisterWindow();
  ::SendDlgItemMessageW(window(), kLogo, kLogoRestart, 0, 0);
  for (ImageList& list : images_) DestroyImageList(std::exchange(list, nullptr));
  ::KillTimer(window(), kTimer);
  openLists_ = 0;
  SetWindow(nullptr);
}

INT_PTR CQvEffectPage::OnReceiveMessage(HWND dialog, UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_INITDIALOG:
      SetWindow(dialog);
      if (filter_ != nullptr) RegisterWindow();
      InitControls();
      Update(0, false);
      return TRUE;
    case WM_DESTROY:
      EndWindow();
      return FALSE;
    case WM_COMMAND:
      return Command(LOWORD(wparam), HIWORD(wparam)) ? TRUE : FALSE;
    case WM_HSCROLL:
    case WM_VSCROLL:
      if (filter_ == nullptr || lparam == 0) return FALSE;
      Scroll(message, wparam, lparam);
      return TRUE;
    case WM_TIMER:
      if (wparam == kTimer) Follow();
      return TRUE;
    case WM_HELP:
      return TRUE;
    case WM_CONTEXTMENU:
      ShowPageMenu(lparam);
      return TRUE;
    case WM_ERASEBKGND:
      if (filter_ != nullptr) EraseBackground();
      return FALSE;
    case WM_PAINT: {
      PAINTSTRUCT paint;
      ::BeginPaint(dialog, &paint);
      ::EndPaint(dialog, &paint);
      return TRUE;
    }
    default:
      return FALSE;
  }
}

const PageControl* CQvEffectPage::FindRow(int id) const noexcept {
  const auto found = std::ranges::find_if(page_.controls, [id](const PageControl& row) {
    return row.id == id || (row.readout == id && row.read != nullptr);
  });
  return found != page_.controls.end() ? &*found : nullptr;
}

std::uint32_t CQvEffectPage::BitOf(const PageControl& row) const noexcept {
  return 1u << (static_cast<std::size_t>(&row - page_.controls.data()) & 31);
}

ShortText& CQvEffectPage::LastShown(const PageControl& row) noexcept {
  return lastShown_[static_cast<std::size_t>(&row - page_.controls.data()) % lastShown_.size()];
}

LONG CQvEffectPage::ValueOf(const PageControl& row) const {
  LONG value = 0;
  row.group.get(filter_, &value);
  return value;
}

void CQvEffectPage::BeginEdit(const PageControl& row) {
  if (row.group.beginEdit == nullptr) return;
  row.group.beginEdit(filter_);
  openEdits_ |= BitOf(row);
}

void CQvEffectPage::EndEdit(const PageControl& row) {
  if (row.group.endEdit == nullptr) return;
  openEdits_ &= ~BitOf(row);
  row.group.endEdit(filter_);
}

// A parameter left captured would stay deaf to automation for good.
void CQvEffectPage::EndEdits() noexcept {
  for (const PageControl& row : page_.controls) {
    if (filter_ != nullptr && (openEdits_ & BitOf(row)) != 0) EndEdit(row);
  }
}

void CQvEffectPage::Enable(int id, bool enabled) noexcept {
  const HWND control = ::GetDlgItem(window(), id);
  if (control == nullptr || (::IsWindowEnabled(control) != 0) == enabled) return;
  if (!enabled && ::GetFocus() == control) ::SendMessageW(window(), WM_NEXTDLGCTL, 0, FALSE);
  ::EnableWindow(control, enabled ? TRUE : FALSE);
}

void CQvEffectPage::Update(int id, bool force) {
  if (filter_ == nullptr || window() == nullptr) return;
  if (id == kNoticeId) id = 0;
  for (const PageControl& row : page_.controls) {
    if (id == 0 || id == row.id || (row.readout != 0 && id == row.readout)) UpdateRow(row, id, force);
  }
  if (id != 0) TellSiteOf(id);
}

void CQvEffectPage::UpdateRow(const PageControl& row, int id, bool force) {
  const LONG value = ValueOf(row);
  const bool held = id == row.id && !force;
  if (!held || row.kind == ControlKind::kSpinner || row.kind == ControlKind::kBypass) MoveControl(row, value);
  if (row.readout != 0) {
    // A text in the middle of being typed is only the user's to change, or that of what the user typed it for.
    const HWND readout = ::GetDlgItem(window(), row.readout);
    const bool typing =
        row.read != nullptr && id == 0 && ::GetFocus() == readout && ::SendMessageW(readout, EM_GETMODIFY, 0, 0) != 0;
    if (!typing) {
      LastShown(row) = row.show(value);
      QvSetDlgItemTextF(window(), row.readout, LastShown(row).Text());
    }
  }
  ShownValue(row, value);
}

void CQvEffectPage::MoveControl(const PageControl& row, LONG value) {
  switch (row.kind) {
    case ControlKind::kFader:
    case ControlKind::kTrackbar: {
      const LONG position = row.toPosition != nullptr ? row.toPosition(value) : value;
      ::SendDlgItemMessageW(window(), row.id, kSetPosition, 1, position);
      break;
    }
    case ControlKind::kSpinner:
      ::SendDlgItemMessageW(window(), row.id, kSetPosition, 0, value);
      break;
    case ControlKind::kList:
      if ((openLists_ & BitOf(row)) == 0) SelectItem(row.id, value);
      break;
    case ControlKind::kCheck:
      ::SendDlgItemMessageW(window(), row.id, BM_SETCHECK, value != 0 ? BST_CHECKED : BST_UNCHECKED, 0);
      break;
    case ControlKind::kBypass:
      ::SendDlgItemMessageW(window(), kLogo, kLogoShowOn, static_cast<WPARAM>(row.id), value != 0 ? 1 : 0);
      break;
  }
}

/// The last item with the value, and the first item for a value that no item has.
void CQvEffectPage::SelectItem(int id, LONG value) {
  const HWND list = ::GetDlgItem(window(), id);
  LRESULT item = ::SendMessageW(list, CB_GETCOUNT, 0, 0) - 1;
  while (item > 0 && ::SendMessageW(list, CB_GETITEMDATA, static_cast<WPARAM>(item), 0) != value) --item;
  if (item != ::SendMessageW(list, CB_GETCURSEL, 0, 0))
    ::SendMessageW(list, CB_SETCURSEL, static_cast<WPARAM>(item), 0);
}

/// While the mouse drags, the site hears nothing: it is told once, at the end.
void CQvEffectPage::TellSiteOf(int id) {
  WCHAR type[8] = {};
  const HWND control = ::GetDlgItem(window(), id);
  const bool isEdit = control != nullptr && ::GetClassNameW(control, type, static_cast<int>(std::size(type))) > 0 &&
                      ::lstrcmpiW(type, WC_EDITW) == 0;
  if (isEdit || ::GetKeyState(VK_LBUTTON) >= 0) TellSite();
}

void CQvEffectPage::Follow() {
  if (filter_ == nullptr || window() == nullptr) return;
  if (!registered_) {  // a third page on a filter waits until one of the others closes
    RegisterWindow();
    if (registered_) Update(0, false);
  }
  for (const PageControl& row : page_.controls) FollowRow(row);
}

void CQvEffectPage::FollowRow(const PageControl& row) {
  if (row.group.isFree == nullptr) return;
  if ((openLists_ & BitOf(row)) != 0) return;
  const bool isFree = row.group.isFree(filter_) != 0;
  if (!isFree) Update(row.kind == ControlKind::kSpinner ? row.readout : row.id, true);
  if (row.read == nullptr) return;
  if (!isFree) {
    Enable(row.readout, false);
  } else if (const auto enabled = EditEnabled(row); enabled.has_value()) {
    Enable(row.readout, *enabled);
  }
}

}  // namespace korva
