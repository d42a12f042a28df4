#pragma once

#include "frame/effect_description.h"
#include "pitchtime/pitchs_block.h"

namespace korva {

/// Rows of the Pitch Shift's description table, in table order.
enum PitchsRow : std::int32_t {
  kPitchsSemitones,
  kPitchsCents,
  kPitchsAccuracy,
  kPitchsPreserveDuration,
  kPitchsMode,
  kPitchsTransposition,
  kPitchsAntiAlias,
  kPitchsInitialSamples,
};

/// Everything about the Pitch Shift that is data: rows, presets, record form. A row's change bit 2 asks for a full
/// configuration.
extern const EffectDescription kPitchsEffect;

/// The frequency ratio of a shift. Whoever sets `semitones` or `centTenths` stores it in `transposition`.
double TranspositionOf(std::int32_t semitones, std::int32_t centTenths) noexcept;

/// `frames` held to the range of `initialSamples`; not-a-number gives the least.
double HoldPitchsInitialSamples(double frames) noexcept;

}  // namespace korva
