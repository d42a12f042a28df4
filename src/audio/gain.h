#pragma once

#include <cmath>
#include <cstdint>

namespace korva {

/// The lowest value of most gains, in tenths of a decibel.
inline constexpr std::int32_t kSilentTenths = -800;

/// 10^(tenths / 200): the factor of a gain in tenths of a decibel. The lowest value of a range, `silence`, means
/// exactly 0 and not its decibels.
inline double GainFromTenths(std::int32_t tenths, std::int32_t silence = kSilentTenths) noexcept {
  return tenths > silence ? std::pow(10.0, tenths / 200.0) : 0.0;
}

}  // namespace korva
