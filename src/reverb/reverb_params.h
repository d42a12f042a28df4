#pragma once

#include "frame/effect_description.h"
#include "reverb/reverb_block.h"

namespace korva {

/// Rows of the Reverb's description table, in table order.
enum ReverbRow : std::int32_t {
  kReverbPreDelay,
  kReverbDecayTime,
  kReverbMode,
  kReverbEarlyStyle,
  kReverbBassOn,
  kReverbBassFreq,
  kReverbHighOn,
  kReverbHighFreq,
  kReverbDryOut,
  kReverbReverbOut,
  kReverbEarlyOut,
  kReverbBypass,
};

/// Everything about the Reverb that is data: rows, presets, record forms. A row's change bit 2 asks for new lines.
extern const EffectDescription kReverbEffect;

}  // namespace korva
