#include <algorithm>
#include <iterator>

#include "qvkit/controls.h"
#include "qvkit/superclass.h"
#include "qvkit/system_controls.h"

// The system's up-down control. Its position is a means only: a step is what it moved by, and the value is the page's.
namespace korva {
namespace {

constexpr WCHAR kBuddyOwner[] = L"qvkit.spinner";

LRESULT CALLBACK BuddyProc(HWND edit, UINT message, WPARAM wparam, LPARAM lparam);
constexpr SubClass kBuddyKeys(L"qvkit.spinner.below", &BuddyProc);

SuperClass spinnerBase;

struct Spinner {
  LONG minimum = 0, maximum = 100;
  LONG value = 0;
  HWND buddy = nullptr;
};

void Tell(HWND spinner, WORD code) noexcept {
  ::SendMessageW(::GetParent(spinner), WM_VSCROLL, MAKEWPARAM(code, 0), reinterpret_cast<LPARAM>(spinner));
}

/// The scroll code of a key that steps; `SB_ENDSCROLL` for any other.
WORD CodeOf(WPARAM key) noexcept {
  switch (key) {
    case VK_UP:
      return SB_LINEUP;
    case VK_DOWN:
      return SB_LINEDOWN;
    case VK_PRIOR:
      return SB_PAGEUP;
    case VK_NEXT:
      return SB_PAGEDOWN;
    default:
      return SB_ENDSCROLL;
  }
}

// The edit box's keys. The control's own handling of them knows neither the larger step nor the bracket of a change.
LRESULT CALLBACK BuddyProc(HWND edit, UINT message, WPARAM wparam, LPARAM lparam) {
  constexpr LPARAM kRepeated = 0x40000000;
  const auto spinner = static_cast<HWND>(::GetPropW(edit, kBuddyOwner));
  const bool isKey = message == WM_KEYDOWN || message == WM_KEYUP;
  if (const WORD code = isKey ? CodeOf(wparam) : WORD{SB_ENDSCROLL}; code != SB_ENDSCROLL && ::IsWindow(spinner)) {
    if (message == WM_KEYUP) {
      Tell(spinner, SB_ENDSCROLL);
    } else {
      if ((lparam & kRepeated) == 0) Tell(spinner, kScrollBegin);
      Tell(spinner, code);
    }
    return 0;
  }
  if (message == WM_DESTROY) {
    kBuddyKeys.Remove(edit);
    ::RemovePropW(edit, kBuddyOwner);
    // The control has a procedure of its own under ours and lets go of it while the box is whole, or never.
    if (::IsWindow(spinner)) ::SendMessageW(spinner, UDM_SETBUDDY, 0, 0);
    return ::SendMessageW(edit, message, wparam, lparam);
  }
  return kBuddyKeys.PassOn(edit, message, wparam, lparam);
}

void Tie(HWND window, Spinner& spinner, HWND edit) noexcept {
  if (spinner.buddy != nullptr || edit == nullptr) return;
  spinner.buddy = edit;
  spinnerBase.PassOn(window, UDM_SETBUDDY, reinterpret_cast<WPARAM>(edit), 0);
  if (::SetPropW(edit, kBuddyOwner, window)) kBuddyKeys.Put(edit);
}

void MoveTo(HWND window, Spinner& spinner, LONG value) noexcept {
  spinner.value = std::clamp(value, spinner.minimum, spinner.maximum);
  spinnerBase.PassOn(window, UDM_SETPOS32, 0, spinner.value);
}

void SetRange(HWND window, Spinner& spinner, LONG minimum, LONG maximum) noexcept {
  spinner.minimum = minimum;
  spinner.maximum = std::max(minimum, maximum);
  spinnerBase.PassOn(window, UDM_SETRANGE32, static_cast<WPARAM>(spinner.minimum), spinner.maximum);
  MoveTo(window, spinner, spinner.value);
}

LRESULT CALLBACK SpinnerProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  auto* const spinner = spinnerBase.StateOf<Spinner>(window, message);
  if (message == WM_NCCREATE && spinner == nullptr) return FALSE;
  if (message == WM_NCDESTROY) spinnerBase.EndState<Spinner>(window);
  if (spinner == nullptr || message == WM_NCDESTROY) return spinnerBase.PassOn(window, message, wparam, lparam);
  switch (message) {
    case kSetMinimum:
      SetRange(window, *spinner, static_cast<LONG>(lparam), spinner->maximum);
      return 0;
    case kSetMaximum:
      SetRange(window, *spinner, spinner->minimum, static_cast<LONG>(lparam));
      return 0;
    case kSetPosition:
      MoveTo(window, *spinner, static_cast<LONG>(lparam));
      return 0;
    case kSetDefault:
      return 0;
    case kGetPosition:
      return spinner->value;
    case kSetBuddy:
      Tie(window, *spinner, reinterpret_cast<HWND>(wparam));
      return 0;
    case WM_CREATE: {
      const LRESULT result = spinnerBase.PassOn(window, message, wparam, lparam);
      UDACCEL steps[] = {{0, 1}, {1, 10}, {3, 100}};  // seconds held, lines at once
      spinnerBase.PassOn(window, UDM_SETACCEL, std::size(steps), reinterpret_cast<LPARAM>(steps));
      return result;
    }
    case WM_LBUTTONDOWN:
    case WM_LBUTTONDBLCLK:
      Tell(window, kScrollBegin);
      return spinnerBase.PassOn(window, message, wparam, lparam);
    case WM_LBUTTONUP:
    case WM_CANCELMODE: {
      const LRESULT result = spinnerBase.PassOn(window, message, wparam, lparam);
      Tell(window, SB_ENDSCROLL);
      return result;
    }
    case WM_MOUSEWHEEL:
      if (::GetFocus() != spinner->buddy) return ::DefWindowProcW(window, message, wparam, lparam);
      return spinnerBase.PassOn(window, message, wparam, lparam);
    default:
      return spinnerBase.PassOn(window, message, wparam, lparam);
  }
}

}  // namespace

bool SpinnerInitialize(const WCHAR* name, HMODULE module) noexcept {
  return spinnerBase.Register(name, module, UPDOWN_CLASSW, SpinnerProc, 0);
}

bool SpinnerTerminate(const WCHAR* name, HMODULE module) noexcept {
  return SuperClass::Unregister(name, module);
}

LONG Spinner_DefScrollProc(UINT, WPARAM wparam, LPARAM lparam, LONG line, LONG page, LONG value) noexcept {
  const auto window = reinterpret_cast<HWND>(lparam);
  auto* const spinner = spinnerBase.StateOf<Spinner>(window, WM_NULL);
  if (spinner == nullptr) return value;
  LONGLONG next = value;
  switch (LOWORD(wparam)) {
    case SB_LINEUP:
      next += line;
      break;
    case SB_LINEDOWN:
      next -= line;
      break;
    case SB_PAGEUP:
      next += page;
      break;
    case SB_PAGEDOWN:
      next -= page;
      break;
    case SB_THUMBPOSITION: {
      const auto position = static_cast<LONG>(spinnerBase.PassOn(window, UDM_GETPOS32, 0, 0));
      const LONGLONG steps = static_cast<LONGLONG>(position) - spinner->value;
      const bool coarse = ::GetKeyState(VK_CONTROL) < 0;
      next += coarse ? (steps > 0 ? page : steps < 0 ? -page : 0) : steps * line;
      break;
    }
    default:
      break;
  }
  MoveTo(window, *spinner, static_cast<LONG>(std::clamp<LONGLONG>(next, spinner->minimum, spinner->maximum)));
  return spinner->value;
}

}  // namespace korva
