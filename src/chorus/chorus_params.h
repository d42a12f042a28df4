#pragma once

#include "chorus/chorus_block.h"
#include "frame/effect_description.h"

namespace korva {

/// Rows of the description table, in order.
enum ChorusRow : std::uint8_t {
  kChorusModRate,
  kChorusModDepth,
  kChorusDelay,
  kChorusFeedback,
  kChorusSize,
  kChorusInvertChorus,
  kChorusInvertFeedback,
  kChorusAttenuateHigh,
  kChorusAttenuationHz,
  kChorusInputGain,
  kChorusDryOut,
  kChorusOut,
  kChorusBypass,
  kChorusModPeriodNote,
  kChorusModPeriodMultiplier,
  kChorusTempoSync,
};

extern const EffectDescription kChorusEffect;

}  // namespace korva
