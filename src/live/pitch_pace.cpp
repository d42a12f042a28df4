#include "live/pitch_pace.h"

#include <algorithm>
#include <cmath>

#include "frame/row_values.h"
#include "pitchtime/pitchs_params.h"
#include "pitchtime/time_params.h"

namespace korva {
std::optional<std::int32_t> KeptLengthMode(const EffectDescription& effect, const void* block) noexcept {
  if (&effect != &kPitchsEffect) return std::nullopt;
  const auto params = LoadBlock<PitchsParams>(block);
  return params.preserveDuration != 0 ? std::optional(params.mode) : std::nullopt;
}

double LengthFactor(const EffectDescription& effect, const void* block) noexcept {
  if (&effect == &kTimeEffect) return LoadBlock<TimeParams>(block).percentTimes100 / 10000.0;
  if (&effect != &kPitchsEffect) return 1.0;
  const auto params = LoadBlock<PitchsParams>(block);
  if (params.preserveDuration != 0 || !(params.transposition > 0) || !std::isfinite(params.transposition)) return 1.0;
  // The engine goes no lower, whatever a record holds.
  constexpr double kLeastTransposition = 0.001;
  return 1.0 / std::max(params.transposition, kLeastTransposition);
}

bool KeepsPace(const EffectDescription& effect, const void* block) noexcept {
  if (&effect == &kTimeEffect) return false;
  if (&effect != &kPitchsEffect) return true;
  const auto params = LoadBlock<PitchsParams>(block);
  // An impossible ratio acts as 1. The virtual rate is cut to a whole number, which raises the ratio a little.
  constexpr double kRounding = 1.0001;
  return params.preserveDuration != 0 &&
         !(std::isfinite(params.transposition) && params.transposition > kMostPaceRatio * kRounding);
}

}  // namespace korva
