#include "live/pitch_pace.h"

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
  return params.preserveDuration != 0 ? 1.0 : 1.0 / ActingTransposition(params.transposition);
}

bool KeepsPace(const EffectDescription& effect, const void* block) noexcept {
  if (&effect == &kTimeEffect) return false;
  if (&effect != &kPitchsEffect) return true;
  const auto params = LoadBlock<PitchsParams>(block);
  // The virtual rate is cut to a whole number, which raises the ratio a little.
  constexpr double kRounding = 1.0001;
  return params.preserveDuration != 0 && ActingTransposition(params.transposition) <= kMostPaceRatio * kRounding;
}

}  // namespace korva
