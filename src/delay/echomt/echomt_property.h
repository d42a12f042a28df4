#pragma once

#include "delay/echomt/echomt_block.h"
#include "frame/property_groups.h"

namespace korva {

/// Rows of the Multi-Tap Delay's description table, in table order; each tap field takes eight.
enum EchomtRow : std::uint8_t {
  kEchomtTapDelay = 0,
  kEchomtTapGain = 8,
  kEchomtTapPan = 16,
  kEchomtTapCount = 24,
  kEchomtWetOut,
  kEchomtDryOut,
  kEchomtFeedback,
  kEchomtInputGain,
  kEchomtLowPassEnabled,
  kEchomtLowPassHz,
  kEchomtModDepth,
  kEchomtModRate,
  kEchomtCurrentTap,
  kEchomtGraphResolution,
};

#define KORVA_ECHOMT_TAPS(PAIR, Name, row) \
  PAIR(Name##1, (row) + 0, SetValue)       \
  PAIR(Name##2, (row) + 1, SetValue)       \
  PAIR(Name##3, (row) + 2, SetValue)       \
  PAIR(Name##4, (row) + 3, SetValue)       \
  PAIR(Name##5, (row) + 4, SetValue)       \
  PAIR(Name##6, (row) + 5, SetValue)       \
  PAIR(Name##7, (row) + 6, SetValue)       \
  PAIR(Name##8, (row) + 7, SetValue)

// The pairs of the property interface in slot order.
#define KORVA_ECHOMT_PAIRS(PAIR)                            \
  PAIR(InputGain, kEchomtInputGain, SetValue)               \
  PAIR(DryOut, kEchomtDryOut, SetValue)                     \
  PAIR(WetOut, kEchomtWetOut, SetValue)                     \
  PAIR(ModRate, kEchomtModRate, SetValue)                   \
  PAIR(ModDepth, kEchomtModDepth, SetValue)                 \
  PAIR(Feedback, kEchomtFeedback, SetValue)                 \
  PAIR(LowPassEnabled, kEchomtLowPassEnabled, SetFreeValue) \
  PAIR(LowPassHz, kEchomtLowPassHz, SetValue)               \
  PAIR(TapCount, kEchomtTapCount, SetValue)                 \
  PAIR(CurrentTap, kEchomtCurrentTap, SetValue)             \
  PAIR(GraphResolution, kEchomtGraphResolution, SetValue)   \
  KORVA_ECHOMT_TAPS(PAIR, TapGain, kEchomtTapGain)          \
  KORVA_ECHOMT_TAPS(PAIR, TapDelay, kEchomtTapDelay)        \
  KORVA_ECHOMT_TAPS(PAIR, TapPan, kEchomtTapPan)

/// The Multi-Tap Delay's property interface. Values are in the units of `EchomtParams`.
struct IQvEchomtProp : PropertyHead<EchomtParams> {
  KORVA_ECHOMT_PAIRS(KORVA_DECLARE_PAIR)
  KORVA_DECLARE_PROPERTY_TAIL()
};

inline constexpr IID IID_IQvEchomtProp{0x7298a3e3, 0x78ee, 0x11d0, {0xae, 0xbc, 0x00, 0xa0, 0xc9, 0x05, 0x39, 0x12}};
KORVA_INTERFACE_ID(IQvEchomtProp, IID_IQvEchomtProp)

}  // namespace korva
