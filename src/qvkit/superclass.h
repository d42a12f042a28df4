#pragma once

#include <new>

#include "platform/platform.h"

namespace korva {

/// A window class on top of one of the system's: its windows behave as the system's do wherever our procedure passes a
/// message on. Keyboard, accessibility, high contrast and scaling come with them.
class SuperClass {
 public:
  /// `extraStyle` is added to the style of the class below. False when the system refuses.
  bool Register(const WCHAR* name, HMODULE module, const WCHAR* below, WNDPROC procedure, UINT extraStyle) noexcept;
  static bool Unregister(const WCHAR* name, HMODULE module) noexcept;

  LRESULT PassOn(HWND window, UINT message, WPARAM wparam, LPARAM lparam) const noexcept {
    return ::CallWindowProcW(below_, window, message, wparam, lparam);
  }

  /// The window's own state, a `State` made at its creation and deleted at its end. Null outside of these, and when
  /// there was no memory, in which case creation fails.
  template <class State>
  State* StateOf(HWND window, UINT message) const noexcept {
    if (message == WM_NCCREATE) ::SetWindowLongPtrW(window, slot_, Number(new (std::nothrow) State));
    return reinterpret_cast<State*>(::GetWindowLongPtrW(window, slot_));
  }
  template <class State>
  void EndState(HWND window) const noexcept {
    delete reinterpret_cast<State*>(::SetWindowLongPtrW(window, slot_, 0));
  }

 private:
  static LONG_PTR Number(void* pointer) noexcept { return reinterpret_cast<LONG_PTR>(pointer); }

  WNDPROC below_ = ::DefWindowProcW;
  int slot_ = 0;  // where our pointer stands, after the bytes of the class below
};

/// A procedure in front of that of one window, which another may own. What it covers is kept with the window, under a
/// name of the procedure's own.
class SubClass {
 public:
  constexpr SubClass(const WCHAR* name, WNDPROC procedure) noexcept : name_(name), procedure_(procedure) {}

  /// Once is enough. False when the system refuses.
  bool Put(HWND window) const noexcept;
  /// Takes it away: at the window's end at the latest.
  void Remove(HWND window) const noexcept;
  LRESULT PassOn(HWND window, UINT message, WPARAM wparam, LPARAM lparam) const noexcept {
    return ::CallWindowProcW(Below(window), window, message, wparam, lparam);
  }

 private:
  WNDPROC Below(HWND window) const noexcept { return reinterpret_cast<WNDPROC>(::GetPropW(window, name_)); }

  const WCHAR* name_;
  WNDPROC procedure_;
};

}  // namespace korva
