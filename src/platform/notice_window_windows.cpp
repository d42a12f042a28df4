#include "platform/notice_window.h"

namespace korva::platform {

// A message-only window of a class that every process has: nothing to register, nothing on the screen.
NoticeWindow::NoticeWindow() noexcept
    : window_(::CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr)) {}

NoticeWindow::~NoticeWindow() {
  if (window_ != nullptr) ::DestroyWindow(window_);
}

bool NoticeWindow::Take(WPARAM& command) noexcept {
  MSG message;
  if (window_ == nullptr || !::PeekMessageW(&message, window_, WM_COMMAND, WM_COMMAND, PM_REMOVE)) return false;
  command = message.wParam;
  return true;
}

}  // namespace korva::platform
