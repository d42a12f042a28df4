#pragma once

#include <algorithm>
#include <cstdint>

// The sums behind the token classes, on any system.
namespace korva {

/// Whether `bytes` more than `base` is still an address.
inline bool FitsAddressSpace(const void* base, std::uint64_t bytes) noexcept {
  return bytes <= UINT64_MAX - reinterpret_cast<std::uintptr_t>(base);
}

/// Calls `move(position, bytes)` piece by piece over `size` bytes, until one fails. A token may claim 4 GB: the first
/// piece that is not there ends it, before anybody has made room for the rest.
template <class Move>
bool MoveInPieces(std::uint64_t size, const Move& move) noexcept {
  constexpr std::uint64_t kPiece = 1 << 20;
  std::uint64_t position = 0;
  do {
    const std::uint64_t bytes = std::min(kPiece, size - position);
    if (!move(position, bytes)) return false;
    position += bytes;
  } while (position < size);
  return true;
}

}  // namespace korva
