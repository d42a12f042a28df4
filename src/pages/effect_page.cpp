#include "pages/effect_page.h"

#include <algorithm>
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

void CQvEffectPage::InitControls() {
  constexpr UINT kTimerMilliseconds = 50;
  QvText_SetLocale(QvLang_GetLCID(ModuleLanguage()));
  for (const PageControl& row : page_.controls) {
    const HWND control = ::GetDlgItem(window(), row.id);
    if (row.kind == ControlKind::kList) {
      FillList(row);
      KeepWheelToFocus(control);
    }
    if (row.kind == ControlKind::kSpinner) {
      ::SendMessageW(control, kSetBuddy, reinterpret_cast<WPARAM>(::GetDlgItem(window(), row.readout.id)), 8);
    }
    SetRange(row);
    if (row.own.markOrigin) ::SendMessageW(control, kMarkOrigin, 0, 1);
    if (row.readout.box) {
      ::SendDlgItemMessageW(window(), row.readout.id, EM_SETLIMITTEXT, static_cast<WPARAM>(row.form->limit), 0);
    }
  }
  BuildLogo();
  if (filter_ != nullptr) FilterShown(filter_);
  if (IsAutomated()) ::SetTimer(window(), kTimer, kTimerMilliseconds, nullptr);
}

void CQvEffectPage::FillList(const PageControl& row) noexcept {
  const HWND list = ::GetDlgItem(window(), row.id);
  const ParamDescriptor& described = page_.effect.rows[static_cast<std::size_t>(row.row)];
  const StringId names = row.own.names != kNoString ? row.own.names : described.firstNameId;
  ::SendMessageW(list, CB_RESETCONTENT, 0, 0);
  for (int i = 0; i <= described.externalMax - described.externalMin; ++i) {
    ShortText number;
    const WCHAR* text = number.Text();
    if (row.own.numbers.empty()) {
      text = ModuleText(names + i);
    } else {
      QvLongToText(row.own.numbers[static_cast<std::size_t>(i)], number.characters, 0);
    }
    const LRESULT item = ::SendMessageW(list, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
    if (item < 0) continue;
    ::SendMessageW(list, CB_SETITEMDATA, static_cast<WPARAM>(item), described.externalMin + i);
  }
}

void CQvEffectPage::SetRange(const PageControl& row) noexcept {
  const bool slides = row.kind == ControlKind::kFader || row.kind == ControlKind::kTrackbar;
  if (!slides && row.kind != ControlKind::kSpinner) return;
  ControlRange range = RangeOf(page_, row);
  if (row.own.range != nullptr) row.own.range(*this, range);
  const HWND control = ::GetDlgItem(window(), row.id);
  ::SendMessageW(control, kSetMinimum, 0, static_cast<LONG>(range.minimum));
  ::SendMessageW(control, kSetMaximum, 0, static_cast<LONG>(range.maximum));
  ::SendMessageW(control, kSetDefault, 0, static_cast<LONG>(range.reset));
  if (!slides) return;
  ::SendMessageW(control, TBM_SETLINESIZE, 0, range.line);
  ::SendMessageW(control, TBM_SETPAGESIZE, 0, range.page);
}

void CQvEffectPage::BuildLogo() noexcept {
  const HWND logo = ::GetDlgItem(window(), kLogo);
  ::SendMessageW(logo, kLogoRestart, 0, 0);
  if (FindRow(kBypassButton) != nullptr) {
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

// Over the width that is seen: a frame may give a page more than it shows of it, and settle on that later.
void CQvEffectPage::StretchLogo() noexcept {
  constexpr UINT kKeep = SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE;
  const HWND logo = ::GetDlgItem(window(), kLogo);
  const HWND parent = ::GetParent(window());
  RECT bar = {}, own = {}, room = {};
  if (logo == nullptr || !::GetClientRect(window(), &own) || !::GetClientRect(parent, &room)) return;
  ::MapWindowPoints(parent, window(), reinterpret_cast<POINT*>(&room), 2);
  ::GetWindowRect(logo, &bar);
  const LONG seen = room.right > 0 ? std::min(own.right, room.right) : own.right;
  if (seen != bar.right - bar.left) ::SetWindowPos(logo, nullptr, 0, 0, seen, bar.bottom - bar.top, kKeep);
}

HRESULT CQvEffectPage::OnConnect(IUnknown* object) {
  if (object == nullptr) return E_POINTER;
  void* found = nullptr;
  if (FAILED(object->QueryInterface(property_, &found)) || found == nullptr) return E_NOINTERFACE;
  object->AddRef();
  object_ = object;
  filter_ = found;
  if (window() != nullptr) {
    DropFocusedText();  // typed while there was nothing to type it for
    RegisterWindow();
    FilterShown(filter_);
    Update(0, false);
  }
  return S_OK;
}

// A text that was typed and not yet left is meant for what it was typed for, as it is when the focus goes elsewhere.
HRESULT CQvEffectPage::OnDisconnect() {
  if (filter_ == nullptr) return E_UNEXPECTED;
  CommitFocusedText();
  // A drag ends with the filter that it was meant for.
  const HWND held = ::GetCapture();
  if (held != nullptr && window() != nullptr && ::IsChild(window(), held)) ::SendMessageW(held, WM_CANCELMODE, 0, 0);
  ShowFilterGone();
  openLists_ = 0;  // an open list may close when nobody listens any more
  static_cast<IUnknown*>(std::exchange(filter_, nullptr))->Release();
  std::exchange(object_, nullptr)->Release();
  return S_OK;
}

HRESULT CQvEffectPage::OnDeactivate() {
  CommitFocusedText();
  return CBasePropertyPage::OnDeactivate();
}

/// Ends what binds the filter and the window to each other.
void CQvEffectPage::ShowFilterGone() noexcept {
  EndEdits();
  if (filter_ == nullptr || window() == nullptr) return;
  FilterShown(nullptr);
  UnregisterWindow();
}

void CQvEffectPage::RegisterWindow() noexcept {
  registered_ = SUCCEEDED(SetNotifyWindow(window(), kNoticeId));
}

void CQvEffectPage::UnregisterWindow() noexcept {
  SetNotifyWindow(window(), 0);
  registered_ = false;
}

void CQvEffectPage::EndWindow() noexcept {
  ShowFilterGone();
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
    case WM_SIZE:
      StretchLogo();
      return FALSE;
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
      StretchLogo();
      ::BeginPaint(dialog, &paint);
      ::EndPaint(dialog, &paint);
      return TRUE;
    }
    default:
      return FALSE;
  }
}

}  // namespace korva
