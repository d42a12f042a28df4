#include <iterator>

#include "qvkit/controls.h"
#include "qvkit/superclass.h"
#include "qvkit/system_controls.h"

namespace korva {
namespace {

SuperClass staticBase;

bool ShowsText(HWND window, const WCHAR* text) noexcept {
  WCHAR shown[64];
  const int length = ::GetWindowTextW(window, shown, static_cast<int>(std::size(shown)));
  return length + 1 < static_cast<int>(std::size(shown)) && ::lstrcmpW(shown, text) == 0;
}

// A readout that follows a timer repeats its text twenty times a second; drawing only what changed keeps it still.
LRESULT CALLBACK StaticProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_SETTEXT && lparam != 0 && ShowsText(window, reinterpret_cast<const WCHAR*>(lparam))) return TRUE;
  return staticBase.PassOn(window, message, wparam, lparam);
}

LRESULT CALLBACK ListProc(HWND list, UINT message, WPARAM wparam, LPARAM lparam);
constexpr SubClass kListWheel(L"qvkit.wheel.below", &ListProc);

LRESULT CALLBACK ListProc(HWND list, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_MOUSEWHEEL && ::GetFocus() != list) return ::DefWindowProcW(list, message, wparam, lparam);
  if (message != WM_DESTROY) return kListWheel.PassOn(list, message, wparam, lparam);
  kListWheel.Remove(list);
  return ::SendMessageW(list, message, wparam, lparam);
}

}  // namespace

void KeepWheelToFocus(HWND list) noexcept {
  kListWheel.Put(list);
}

bool StaticInitialize(const WCHAR* name, HMODULE module) noexcept {
  return staticBase.Register(name, module, WC_STATICW, StaticProc, 0);
}

bool StaticTerminate(const WCHAR* name, HMODULE module) noexcept {
  return SuperClass::Unregister(name, module);
}

void InitializeControls(HMODULE module) noexcept {
  INITCOMMONCONTROLSEX controls = {sizeof(controls), ICC_BAR_CLASSES | ICC_UPDOWN_CLASS | ICC_STANDARD_CLASSES};
  ::InitCommonControlsEx(&controls);
  FaderInitialize(kFaderClass, module);
  TrackbarInitialize(kTrackbarClass, module);
  SpinnerInitialize(kSpinnerClass, module);
  StaticInitialize(kStaticClass, module);
  LogoInitialize(kLogoClass, module);
}

void TerminateControls(HMODULE module) noexcept {
  FaderTerminate(kFaderClass, module);
  TrackbarTerminate(kTrackbarClass, module);
  SpinnerTerminate(kSpinnerClass, module);
  StaticTerminate(kStaticClass, module);
  LogoTerminate(kLogoClass, module);
}

}  // namespace korva
