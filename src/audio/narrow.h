#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace korva {

/// The integer part of `value` as an `Integer`; out of range it stops at the range's end, not-a-number gives 0.
/// (The plain conversion is undefined there.)
template <class Integer>
Integer Truncate(double value) noexcept {
  using Limits = std::numeric_limits<Integer>;
  if (!(value == value)) return 0;
  if (value <= static_cast<double>(Limits::min())) return Limits::min();
  // The largest 64-bit integers have no double of their own, so the bound is the power of two above them.
  if (value >= std::ldexp(1.0, Limits::digits)) return Limits::max();
  return static_cast<Integer>(value);
}

}  // namespace korva
