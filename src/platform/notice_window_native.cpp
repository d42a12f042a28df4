#include <cstdint>
#include <mutex>

#include "platform/notice_window.h"

namespace korva::platform {
namespace {

// Guards the list of windows and every window's queue. Nothing is called while it is held.
constinit std::mutex registryLock;
constinit NoticeWindow* firstWindow = nullptr;

// Handles are counted up and never used again, so that a handle kept too long names no window rather than a new one.
constinit std::uintptr_t lastHandle = 0x10000;

}  // namespace

NoticeWindow::NoticeWindow() noexcept {
  const std::scoped_lock guard(registryLock);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number, nothing stands behind it
  window_ = reinterpret_cast<HWND>(++lastHandle);
  next_ = firstWindow;
  firstWindow = this;
}

NoticeWindow::~NoticeWindow() {
  const std::scoped_lock guard(registryLock);
  NoticeWindow** link = &firstWindow;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
}

NoticeWindow* NoticeWindow::Find(HWND window) noexcept {
  NoticeWindow* found = firstWindow;
  while (found != nullptr && found->window_ != window) found = found->next_;
  return found;
}

bool NoticeWindow::Exists(HWND window) noexcept {
  const std::scoped_lock guard(registryLock);
  return Find(window) != nullptr;
}

bool NoticeWindow::Post(HWND window, WPARAM command) noexcept {
  const std::scoped_lock guard(registryLock);
  NoticeWindow* found = Find(window);
  if (found == nullptr || found->count_ == kCapacity) return false;
  found->posted_[(found->first_ + found->count_) % kCapacity] = command;
  ++found->count_;
  return true;
}

bool NoticeWindow::Take(WPARAM& command) noexcept {
  const std::scoped_lock guard(registryLock);
  if (count_ == 0) return false;
  command = posted_[first_];
  first_ = (first_ + 1) % kCapacity;
  --count_;
  return true;
}

}  // namespace korva::platform
