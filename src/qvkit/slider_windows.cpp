#include <algorithm>

#include "qvkit/controls.h"
#include "qvkit/superclass.h"
#include "qvkit/system_controls.h"

// Fader and trackbar: the system's trackbar, upright and lying. A fader's highest value is at its top, where the
// system's trackbar has its lowest position.
namespace korva {
namespace {

SuperClass faderBase;
SuperClass trackbarBase;

struct Slider {
  LONG minimum = 0, maximum = 100;
  LONG value = 0;
  LONG reset = 0;
  LONG wheel = 0;     // turned, not yet a notch
  bool open = false;  // a change was begun and not ended
  bool marked = false;
};

class SliderWindow {
 public:
  SliderWindow(HWND window, Slider& slider, const SuperClass& base, bool upright) noexcept
      : window_(window), slider_(slider), base_(base), upright_(upright) {}

  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) noexcept {
    switch (message) {
      case kSetMinimum:
        return SetRange(static_cast<LONG>(lparam), slider_.maximum);
      case kSetMaximum:
        return SetRange(slider_.minimum, static_cast<LONG>(lparam));
      case kSetPosition:
        return MoveTo(static_cast<LONG>(lparam), wparam != 0);
      case kSetDefault:
        slider_.reset = static_cast<LONG>(lparam);
        return 0;
      case kGetPosition:
        return slider_.value;
      case kMarkOrigin:
        return Mark(0);
      case WM_SIZE:
        FitThumb(upright_ ? LOWORD(lparam) : HIWORD(lparam));
        break;
      case WM_LBUTTONDOWN:
        if (ThumbHolds(lparam)) Tell(kScrollBegin);
        break;
      case WM_LBUTTONDBLCLK:
        ::SetFocus(window_);
        return Reset();
      case WM_KEYDOWN:
        if (wparam == VK_DELETE) return Reset();
        break;
      case WM_MOUSEWHEEL:
        // Without the focus it goes on to whatever scrolls the page: a page that moves under the pointer must not
        // change the sound. The system's trackbar would turn with it.
        return ::GetFocus() == window_ ? Wheel(wparam) : ::DefWindowProcW(window_, message, wparam, lparam);
      case WM_CANCELMODE:
        // The system's trackbar gives the capture back and goes on dragging; only the button's release ends it.
        if (::GetCapture() == window_) base_.PassOn(window_, WM_LBUTTONUP, 0, 0);
        break;
      case WM_KILLFOCUS:
      case WM_ENABLE: {
        // The key or button whose release would end the change is now released elsewhere.
        const LRESULT result = base_.PassOn(window_, message, wparam, lparam);
        if (slider_.open) Tell(SB_ENDSCROLL);
        return result;
      }
      default:
        break;
    }
    return base_.PassOn(window_, message, wparam, lparam);
  }

  LONG Scroll(WORD code, LONG line, LONG page) noexcept {
    const LONG step = code == SB_LINEUP || code == SB_LINEDOWN ? line : page;
    const bool towardsMinimum = (code == SB_LINEUP || code == SB_PAGEUP) != upright_;
    switch (code) {
      case SB_LINEUP:
      case SB_LINEDOWN:
      case SB_PAGEUP:
      case SB_PAGEDOWN:
        slider_.open = true;
        MoveTo(Stepped(towardsMinimum ? -static_cast<LONGLONG>(step) : step), true);
        break;
      case SB_TOP:
      case SB_BOTTOM:
        slider_.open = true;
        MoveTo((code == SB_TOP) != upright_ ? slider_.minimum : slider_.maximum, true);
        break;
      case kScrollBegin:
        slider_.open = true;
        break;
      case SB_ENDSCROLL:
        slider_.open = false;
        [[fallthrough]];
      default:
        slider_.value = ToNative(static_cast<LONG>(base_.PassOn(window_, TBM_GETPOS, 0, 0)));
    }
    return slider_.value;
  }

 private:
  /// A value as a position of the system's trackbar, and back: the same turn both ways.
  LONG ToNative(LONG value) const noexcept {
    return upright_ ? static_cast<LONG>(static_cast<LONGLONG>(slider_.minimum) + slider_.maximum - value) : value;
  }

  // As broad as the control, whatever the scale of the display: the system's own length is a number of pixels.
  void FitThumb(int breadth) noexcept {
    constexpr int kFrame = 4;
    const int length = breadth - kFrame - (slider_.marked ? breadth / 3 : 0);
    if (length > kFrame) base_.PassOn(window_, TBM_SETTHUMBLENGTH, static_cast<WPARAM>(length), 0);
  }

  /// A place of its own gets one of the system's tick marks, which need room beside the thumb; so do both ends.
  LRESULT Mark(LONG value) noexcept {
    slider_.marked = true;
    ::SetWindowLongPtrW(window_, GWL_STYLE, ::GetWindowLongPtrW(window_, GWL_STYLE) & ~LONG_PTR{TBS_NOTICKS});
    RECT client = {};
    ::GetClientRect(window_, &client);
    FitThumb(upright_ ? client.right : client.bottom);
    base_.PassOn(window_, TBM_SETTIC, 0, ToNative(value));
    return 0;
  }

  LRESULT SetRange(LONG minimum, LONG maximum) noexcept {
    slider_.minimum = minimum;
    slider_.maximum = std::max(minimum, maximum);
    base_.PassOn(window_, TBM_SETRANGEMIN, FALSE, slider_.minimum);
    base_.PassOn(window_, TBM_SETRANGEMAX, TRUE, slider_.maximum);
    return MoveTo(slider_.value, true);
  }

  LRESULT MoveTo(LONG value, bool redraw) noexcept {
    slider_.value = std::clamp(value, slider_.minimum, slider_.maximum);
    const LONG position = ToNative(slider_.value);
    if (base_.PassOn(window_, TBM_GETPOS, 0, 0) != position) {
      base_.PassOn(window_, TBM_SETPOS, redraw ? TRUE : FALSE, position);
      ::NotifyWinEvent(EVENT_OBJECT_VALUECHANGE, window_, OBJID_CLIENT, CHILDID_SELF);
    }
    return 0;
  }

  LONG Stepped(LONGLONG step) const noexcept {
    const LONGLONG value = std::clamp<LONGLONG>(slider_.value + step, slider_.minimum, slider_.maximum);
    return static_cast<LONG>(value);
  }

  bool ThumbHolds(LPARAM point) const noexcept {
    RECT thumb = {};
    base_.PassOn(window_, TBM_GETTHUMBRECT, 0, reinterpret_cast<LPARAM>(&thumb));
    const POINT at = {static_cast<short>(LOWORD(point)), static_cast<short>(HIWORD(point))};
    return ::PtInRect(&thumb, at) != 0;
  }

  void Tell(WORD code) noexcept {
    const auto position = static_cast<WORD>(code == SB_THUMBPOSITION ? ToNative(slider_.value) : 0);
    ::SendMessageW(::GetParent(window_), upright_ ? WM_VSCROLL : WM_HSCROLL, MAKEWPARAM(code, position),
                   reinterpret_cast<LPARAM>(window_));
  }

  LRESULT Reset() noexcept { return Take(slider_.reset); }

  /// A change in one go, with all that a drag tells of.
  LRESULT Take(LONG value) noexcept {
    Tell(kScrollBegin);
    MoveTo(value, true);
    Tell(SB_THUMBPOSITION);
    Tell(SB_ENDSCROLL);
    return 0;
  }

  // A notch is a fiftieth of the way, or a page where that is more.
  LRESULT Wheel(WPARAM wparam) noexcept {
    constexpr LONG kNotches = 50;
    slider_.wheel += GET_WHEEL_DELTA_WPARAM(wparam);
    const LONG notches = slider_.wheel / WHEEL_DELTA;
    slider_.wheel %= WHEEL_DELTA;
    if (notches == 0) return 0;
    const bool fine = (GET_KEYSTATE_WPARAM(wparam) & MK_CONTROL) != 0;
    const auto page = static_cast<LONG>(base_.PassOn(window_, TBM_GETPAGESIZE, 0, 0));
    const auto line = static_cast<LONG>(base_.PassOn(window_, TBM_GETLINESIZE, 0, 0));
    const LONG coarse = std::max(page, (slider_.maximum - slider_.minimum) / kNotches);
    return Take(Stepped(static_cast<LONGLONG>(notches) * (fine ? line : coarse)));
  }

  HWND window_;
  Slider& slider_;
  const SuperClass& base_;
  bool upright_;
};

LRESULT Run(const SuperClass& base, bool upright, HWND window, UINT message, WPARAM wparam, LPARAM lparam) noexcept {
  auto* const slider = base.StateOf<Slider>(window, message);
  if (message == WM_NCCREATE && slider == nullptr) return FALSE;
  if (message == WM_NCDESTROY) base.EndState<Slider>(window);
  if (slider == nullptr || message == WM_NCDESTROY) return base.PassOn(window, message, wparam, lparam);
  return SliderWindow(window, *slider, base, upright).Handle(message, wparam, lparam);
}

LRESULT CALLBACK FaderProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  return Run(faderBase, true, window, message, wparam, lparam);
}

LRESULT CALLBACK TrackbarProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  return Run(trackbarBase, false, window, message, wparam, lparam);
}

LONG DefScroll(const SuperClass& base, bool upright, WPARAM wparam, LPARAM lparam, LONG line, LONG page) noexcept {
  const auto window = reinterpret_cast<HWND>(lparam);
  auto* const slider = base.StateOf<Slider>(window, WM_NULL);
  return slider != nullptr ? SliderWindow(window, *slider, base, upright).Scroll(LOWORD(wparam), line, page) : 0;
}

}  // namespace

bool FaderInitialize(const WCHAR* name, HMODULE module) noexcept {
  return faderBase.Register(name, module, TRACKBAR_CLASSW, FaderProc, CS_DBLCLKS);
}

bool FaderTerminate(const WCHAR* name, HMODULE module) noexcept {
  return SuperClass::Unregister(name, module);
}

bool TrackbarInitialize(const WCHAR* name, HMODULE module) noexcept {
  return trackbarBase.Register(name, module, TRACKBAR_CLASSW, TrackbarProc, CS_DBLCLKS);
}

bool TrackbarTerminate(const WCHAR* name, HMODULE module) noexcept {
  return SuperClass::Unregister(name, module);
}

LONG Fader_DefScrollProc(UINT, WPARAM wparam, LPARAM lparam, LONG line, LONG page) noexcept {
  return DefScroll(faderBase, true, wparam, lparam, line, page);
}

LONG Trackbar_DefScrollProc(UINT, WPARAM wparam, LPARAM lparam, LONG line, LONG page) noexcept {
  return DefScroll(trackbarBase, false, wparam, lparam, line, page);
}

}  // namespace korva
