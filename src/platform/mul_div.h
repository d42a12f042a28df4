// Integer scaling that rounds as the system's own does.
#pragma once

#include <cstdint>
#include <limits>

namespace korva::platform {

// `number` x `numerator` / `denominator` with a 64-bit product, rounded half away from zero. -1 for a zero denominator
// and for a quotient outside plus or minus 2^31 - 1.
constexpr std::int32_t MulDiv(std::int32_t number, std::int32_t numerator, std::int32_t denominator) noexcept {
  if (denominator == 0) return -1;
  std::int64_t product = std::int64_t{number} * numerator;
  std::int64_t divisor = denominator;
  if (divisor < 0) {
    divisor = -divisor;
    product = -product;
  }
  const std::int64_t half = divisor / 2;
  const std::int64_t quotient = (product < 0 ? product - half : product + half) / divisor;
  constexpr std::int64_t kLimit = std::numeric_limits<std::int32_t>::max();
  return quotient > kLimit || quotient < -kLimit ? -1 : static_cast<std::int32_t>(quotient);
}

}  // namespace korva::platform
