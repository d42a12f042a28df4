#pragma once

#include <cstdint>
#include <optional>

#include "frame/effect_description.h"

// What the parameters of the effects of variable length say of lengths.
namespace korva {

/// The highest ratio of a live stream with its length kept: an octave and the hundred cents on top of it. The latency
/// is sized for it, so that it hangs on the mode alone.
inline constexpr double kMostPaceRatio = 2.1189261887185906;  // 2 to the power of 13/12

/// The mode of a pitch shift that keeps the length; nothing for any other block of any effect.
std::optional<std::int32_t> KeptLengthMode(const EffectDescription& effect, const void* block) noexcept;

/// Frames out for each frame in, on the long run.
double LengthFactor(const EffectDescription& effect, const void* block) noexcept;

/// Whether a block gives as many frames as it takes, no later than the fixed latency.
bool KeepsPace(const EffectDescription& effect, const void* block) noexcept;

}  // namespace korva
