#pragma once

#include <cstdint>

namespace korva {

// Sums of times and positions that a host chooses: past the ends of the range they go round instead of being undefined.
constexpr std::int64_t WrappingSum(std::int64_t a, std::int64_t b) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}
constexpr std::int64_t WrappingDifference(std::int64_t a, std::int64_t b) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

}  // namespace korva
