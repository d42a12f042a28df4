#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "module/tokens/memory_token.h"

namespace korva {

using Bytes = std::vector<unsigned char>;

/// Bytes as two digits each: what test and peer say to one another.
inline std::string HexOf(const void* data, std::size_t size) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned byte = static_cast<const unsigned char*>(data)[i];
    text += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return text;
}

inline _qvmemorytoken TokenOf(const std::string& text) {
  _qvmemorytoken token{};
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes.push_back(static_cast<unsigned char>(std::stoul(text.substr(i, 2), nullptr, 16)));
  }
  if (bytes.size() == sizeof token) std::memcpy(&token, bytes.data(), sizeof token);
  return token;
}

}  // namespace korva
