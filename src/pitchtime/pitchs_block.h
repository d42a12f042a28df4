#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace korva {

/// The Pitch Shift's parameter block: the unit of exchange among property interface, engine, presets and records.
/// `transposition` alone acts on the pitch: whoever sets `semitones` and `centTenths` sets it too.
struct PitchsParams {
  std::int32_t semitones;         ///< whole semitones, -50 to 50
  std::int32_t centTenths;        ///< tenths of a cent on top, -1000 to 1000
  std::int32_t accuracy;          ///< interpolator, 1 low to 3 high; any other value acts as 2
  std::int32_t preserveDuration;  ///< nonzero keeps the length
  std::int32_t mode;              ///< row of `StretchModeTable`
  std::int32_t padding0;          ///< carried as it is
  double transposition;           ///< frequency ratio; acts as 0.001 at least, or 1.0 if not positive and finite
  std::int32_t antiAlias;         ///< nonzero filters before a pitch is raised
  std::int32_t padding1;          ///< carried as it is
  double initialSamples;          ///< length of the material for display, frames, 0 to 225306900
};
static_assert(sizeof(PitchsParams) == 48);

/// What a stored `transposition` acts as. The least is far below what any page gives: less would make more frames of
/// one than anybody waits for.
inline double ActingTransposition(double transposition) noexcept {
  constexpr double kLeast = 0.001;
  return transposition > 0 && std::isfinite(transposition) ? std::max(transposition, kLeast) : 1.0;
}

}  // namespace korva
