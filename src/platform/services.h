// The few services of the system that effects need, under one set of names.
// Every function may be called from any thread, and none throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/denormals.h"
#include "platform/mul_div.h"
#include "platform/platform.h"

namespace korva::platform {

// Memory that passes from one component to another: whoever receives it frees it. Null when there is none left.
// Freeing null does nothing.
void* AllocateTaskMemory(std::size_t bytes) noexcept;
void FreeTaskMemory(void* memory) noexcept;

// Milliseconds from an arbitrary start; wraps around after 49 days.
std::uint32_t TimeMilliseconds() noexcept;

// In the Windows build seeds the C run-time's random numbers by the clock; called where a stream starts. Nothing here
// draws any: kept on purpose, for hosts that may. Elsewhere a program's generator is its own and stays as it is.
void SeedRandom() noexcept;

// Whether the window exists at this moment. It may be gone by the next.
// Call it qualified: the system has a function of this name for the same argument.
bool IsWindow(HWND window) noexcept;

// Posts WM_COMMAND with `command` as its first argument and 0 as its second, without waiting for the window's thread.
// False when the window is gone or its queue is full.
bool PostCommand(HWND window, WPARAM command) noexcept;

// The first argument of a WM_COMMAND: `code` in the high word, `id` in the low one.
constexpr WPARAM MakeCommand(std::uint16_t id, std::uint16_t code) noexcept {
  return static_cast<WPARAM>(id | std::uint32_t{code} << 16);
}

// The calling thread's locale id. Where threads have none, it is the one that the environment's language names.
std::uint32_t ThreadLocale() noexcept;

// The locale id for a name as in LANG, "de_AT.UTF-8", of the languages that there are texts for; 1033 for any other.
std::uint32_t LocaleFromName(std::string_view name) noexcept;

}  // namespace korva::platform
