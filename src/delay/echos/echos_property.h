#pragma once

#include "delay/echos/echos_block.h"
#include "frame/property_groups.h"

namespace korva {

/// Rows of the Simple Delay's description table, in table order.
enum EchosRow : std::uint8_t {
  kEchosDelayTime,
  kEchosDecayTime,
  kEchosMultipleDelays,
  kEchosDryOut,
  kEchosDelayOut,
  kEchosBypass,
  kEchosDelayNote,
  kEchosDelayMultiplier,
  kEchosTempoSyncDelay,
  kEchosDecayNote,
  kEchosDecayMultiplier,
  kEchosTempoSyncDecay,
};

// The groups of the property interface in slot order.
#define KORVA_ECHOS_GROUPS(GROUP)               \
  GROUP(DelayTime, kEchosDelayTime)             \
  GROUP(DryOut, kEchosDryOut)                   \
  GROUP(DelayOut, kEchosDelayOut)               \
  GROUP(MultipleDelays, kEchosMultipleDelays)   \
  GROUP(DecayTime, kEchosDecayTime)             \
  GROUP(DelayNote, kEchosDelayNote)             \
  GROUP(DelayMultiplier, kEchosDelayMultiplier) \
  GROUP(TempoSyncDelay, kEchosTempoSyncDelay)   \
  GROUP(DecayNote, kEchosDecayNote)             \
  GROUP(DecayMultiplier, kEchosDecayMultiplier) \
  GROUP(TempoSyncDecay, kEchosTempoSyncDecay)   \
  GROUP(Bypass, kEchosBypass)

/// The Simple Delay's property interface. Values are in the units of `EchosParams`.
struct IQvEchosProp2 : PropertyHead<EchosParams> {
  KORVA_ECHOS_GROUPS(KORVA_DECLARE_GROUP)
  KORVA_DECLARE_PROPERTY_TAIL()
  /// 1 when the host has given a tempo map and a meter map, otherwise 0.
  virtual HRESULT IsTempoAvailable() = 0;
};

inline constexpr IID IID_IQvEchosProp2{0x9acb0b09, 0xc5db, 0x4431, {0xbd, 0x64, 0x74, 0x1b, 0xdd, 0xa7, 0x1a, 0xe2}};
KORVA_INTERFACE_ID(IQvEchosProp2, IID_IQvEchosProp2)

}  // namespace korva
