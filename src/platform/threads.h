// A thread that one object owns: started and joined by it, and never left to end by itself.
// On Windows it is the system's own. The C++ library's there would bring in a thread library that keeps memory, an
// index of thread data and handles of every loading of the module. Elsewhere it is the C++ library's.
#pragma once

#include <cstddef>

#include "platform/platform.h"

#ifndef _WIN32
#include <system_error>
#include <thread>
#endif

namespace korva::platform {

#ifdef _WIN32

class Thread {
 public:
  using Body = void (*)(void* context);

  Thread() = default;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  ~Thread() { Join(); }

  // Runs `body` in a thread of its own; false when the system has none to give. Not while one is running.
  [[nodiscard]] bool Start(Body body, void* context) noexcept {
    body_ = body;
    context_ = context;
    handle_ = ::CreateThread(nullptr, 0, &Enter, this, 0, nullptr);
    return handle_ != nullptr;
  }
  // Waits until the body has returned; at once when there is none.
  void Join() noexcept {
    if (handle_ == nullptr) return;
    ::WaitForSingleObject(handle_, INFINITE);
    ::CloseHandle(handle_);
    handle_ = nullptr;
  }

 private:
  static DWORD WINAPI Enter(LPVOID self) noexcept {
    const auto* const thread = static_cast<const Thread*>(self);
    thread->body_(thread->context_);
    return 0;
  }

  Body body_ = nullptr;
  void* context_ = nullptr;
  HANDLE handle_ = nullptr;
};

inline std::size_t ProcessorCount() noexcept {
  SYSTEM_INFO info{};
  ::GetSystemInfo(&info);
  return info.dwNumberOfProcessors;
}

#else

class Thread {
 public:
  using Body = void (*)(void* context);

  Thread() = default;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  ~Thread() { Join(); }

  // Runs `body` in a thread of its own; false when the system has none to give. Not while one is running.
  [[nodiscard]] bool Start(Body body, void* context) noexcept {
    try {
      thread_ = std::thread(body, context);
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }
  // Waits until the body has returned; at once when there is none.
  void Join() noexcept {
    if (thread_.joinable()) thread_.join();
  }

 private:
  std::thread thread_;
};

inline std::size_t ProcessorCount() noexcept {
  return std::thread::hardware_concurrency();
}

#endif

}  // namespace korva::platform
