#pragma once

#include "chorus/chorus_params.h"
#include "frame/property_groups.h"

namespace korva {

// The groups of the property interface in slot order.
#define KORVA_CHORUS_GROUPS(GROUP)                       \
  GROUP(InputGain, kChorusInputGain)                     \
  GROUP(DryOut, kChorusDryOut)                           \
  GROUP(ChorusOut, kChorusOut)                           \
  GROUP(ChorusSize, kChorusSize)                         \
  GROUP(Feedback, kChorusFeedback)                       \
  GROUP(InvertChorus, kChorusInvertChorus)               \
  GROUP(Delay, kChorusDelay)                             \
  GROUP(ModRate, kChorusModRate)                         \
  GROUP(ModDepth, kChorusModDepth)                       \
  GROUP(AttenuateHigh, kChorusAttenuateHigh)             \
  GROUP(AttenuationHz, kChorusAttenuationHz)             \
  GROUP(InvertFeedback, kChorusInvertFeedback)           \
  GROUP(ModPeriodNote, kChorusModPeriodNote)             \
  GROUP(ModPeriodMultiplier, kChorusModPeriodMultiplier) \
  GROUP(TempoSync, kChorusTempoSync)                     \
  GROUP(Bypass, kChorusBypass)

/// The Chorus's property interface, ninety-two slots. Values are in the units of `ChorusParams`.
struct IQvChorusProp2 : PropertyHead<ChorusParams> {
  KORVA_CHORUS_GROUPS(KORVA_DECLARE_GROUP)
  KORVA_DECLARE_PROPERTY_TAIL()
  /// 1 when the host has given a tempo map and a meter map, otherwise 0.
  virtual HRESULT IsTempoAvailable() = 0;
};

inline constexpr IID IID_IQvChorusProp2{0x039be819, 0xe0bb, 0x40f6, {0x9f, 0x59, 0x0e, 0xe9, 0x35, 0xff, 0x0d, 0x74}};
KORVA_INTERFACE_ID(IQvChorusProp2, IID_IQvChorusProp2)

}  // namespace korva
