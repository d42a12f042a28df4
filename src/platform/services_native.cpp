#include <chrono>
#include <cstdlib>

#include "platform/notice_window.h"
#include "platform/services.h"

namespace korva::platform {

void* AllocateTaskMemory(std::size_t bytes) noexcept {
  // An empty block is still a block: null means out of memory.
  return std::malloc(bytes == 0 ? 1 : bytes);
}

void FreeTaskMemory(void* memory) noexcept {
  std::free(memory);
}

std::uint32_t TimeMilliseconds() noexcept {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void SeedRandom() noexcept {}

bool IsWindow(HWND window) noexcept {
  return NoticeWindow::Exists(window);
}

bool PostCommand(HWND window, WPARAM command) noexcept {
  return NoticeWindow::Post(window, command);
}

std::uint32_t ThreadLocale() noexcept {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* name = std::getenv(variable);
    if (name != nullptr && name[0] != '\0') return LocaleFromName(name);
  }
  return LocaleFromName({});
}

}  // namespace korva::platform
