#pragma once

#include "frame/property_groups.h"
#include "reverb/reverb_params.h"

namespace korva {

// The groups of the property interface in slot order.
#define KORVA_REVERB_GROUPS(GROUP)     \
  GROUP(ReverbMode, kReverbMode)       \
  GROUP(EarlyStyle, kReverbEarlyStyle) \
  GROUP(DryOut, kReverbDryOut)         \
  GROUP(ReverbOut, kReverbReverbOut)   \
  GROUP(EarlyOut, kReverbEarlyOut)     \
  GROUP(DecayTime, kReverbDecayTime)   \
  GROUP(PreDelay, kReverbPreDelay)     \
  GROUP(BassOn, kReverbBassOn)         \
  GROUP(HighOn, kReverbHighOn)         \
  GROUP(BassFreq, kReverbBassFreq)     \
  GROUP(HighFreq, kReverbHighFreq)     \
  GROUP(Bypass, kReverbBypass)

/// The Reverb's property interface. Values are in the units of `ReverbParams`.
struct IQvReverbProp2 : PropertyHead<ReverbParams> {
  KORVA_REVERB_GROUPS(KORVA_DECLARE_GROUP)
  KORVA_DECLARE_PROPERTY_TAIL()
};

inline constexpr IID IID_IQvReverbProp2{0xb450f727, 0xe8fb, 0x4f34, {0xb5, 0x3b, 0xcc, 0x30, 0xa1, 0x8c, 0x17, 0xa0}};
KORVA_INTERFACE_ID(IQvReverbProp2, IID_IQvReverbProp2)

}  // namespace korva
