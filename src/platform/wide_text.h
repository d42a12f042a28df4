// Text of the interfaces (16-bit characters on both systems) as UTF-8.
#pragma once

#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace korva::platform {

// The text up to its terminator; null reads as empty. A half of a surrogate pair on its own becomes U+FFFD.
// For programs and tests: unlike the interfaces, it throws when there is no memory.
inline std::string ToUtf8(const WCHAR* text) {
  std::string out;
  const auto put = [&out](std::uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  while (text != nullptr && *text != 0) {
    std::uint32_t code = static_cast<std::uint16_t>(*text++);
    if (code >= 0xD800 && code < 0xE000) {
      const std::uint32_t low = static_cast<std::uint16_t>(*text);
      if (code < 0xDC00 && low >= 0xDC00 && low < 0xE000) {
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        ++text;
      } else {
        code = 0xFFFD;
      }
    }
    if (code < 0x80) {
      put(code);
    } else if (code < 0x800) {
      put(0xC0 | code >> 6);
      put(0x80 | (code & 0x3F));
    } else {
      if (code < 0x10000) {
        put(0xE0 | code >> 12);
      } else {
        put(0xF0 | code >> 18);
        put(0x80 | (code >> 12 & 0x3F));
      }
      put(0x80 | (code >> 6 & 0x3F));
      put(0x80 | (code & 0x3F));
    }
  }
  return out;
}

}  // namespace korva::platform
