#pragma once

namespace korva {

// The two constants as the effects have always worked with them, cut after eleven places. More places would be other
// samples.
inline constexpr double kPi = 3.14159265356;
inline constexpr double kTwoPi = 6.28318530718;

}  // namespace korva
