#pragma once

namespace korva {

// Cut after eleven places, as samples depend on it.
inline constexpr double kPi = 3.14159265356;
inline constexpr double kTwoPi = 6.28318530718;

}  // namespace korva
