// A window that shows nothing and keeps the commands posted to it, for a host with no pages and for tests.
#pragma once

#include <array>
#include <cstddef>

#include "platform/platform.h"

namespace korva::platform {

// The window exists as long as the object does. Posting is safe from any thread; make it, take from it and destroy it
// on one and the same thread, which is the rule that windows have.
class NoticeWindow {
 public:
  NoticeWindow() noexcept;
  ~NoticeWindow();
  NoticeWindow(const NoticeWindow&) = delete;
  NoticeWindow& operator=(const NoticeWindow&) = delete;

  // Null when the system made no window.
  HWND Handle() const noexcept { return window_; }

  // Takes the oldest command out. False, and `command` untouched, when there is none.
  bool Take(WPARAM& command) noexcept;

#ifndef _WIN32
  static bool Exists(HWND window) noexcept;
  static bool Post(HWND window, WPARAM command) noexcept;
#endif

 private:
  HWND window_ = nullptr;

#ifndef _WIN32
  static NoticeWindow* Find(HWND window) noexcept;

  // A queue that nobody empties stays small, like a window's own.
  static constexpr std::size_t kCapacity = 1024;
  std::array<WPARAM, kCapacity> posted_{};
  std::size_t first_ = 0;
  std::size_t count_ = 0;
  NoticeWindow* next_ = nullptr;
#endif
};

}  // namespace korva::platform
