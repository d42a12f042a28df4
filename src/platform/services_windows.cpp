// The multimedia header needs the basic types before it.
// clang-format off
#include "platform/services.h"
#include <mmsystem.h>
// clang-format on

#include <cstdlib>

namespace korva::platform {

void* AllocateTaskMemory(std::size_t bytes) noexcept {
  return ::CoTaskMemAlloc(bytes);
}

void FreeTaskMemory(void* memory) noexcept {
  ::CoTaskMemFree(memory);
}

std::uint32_t TimeMilliseconds() noexcept {
  return ::timeGetTime();
}

void SeedRandom() noexcept {
  std::srand(TimeMilliseconds() >> 3);
}

bool IsWindow(HWND window) noexcept {
  return ::IsWindow(window) != FALSE;
}

bool PostCommand(HWND window, WPARAM command) noexcept {
  // A post to the null window would go to the calling thread's own queue.
  return window != nullptr && ::PostMessageW(window, WM_COMMAND, command, 0) != FALSE;
}

std::uint32_t ThreadLocale() noexcept {
  return ::GetThreadLocale();
}

}  // namespace korva::platform
