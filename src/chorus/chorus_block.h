#pragma once

#include <cstdint>

namespace korva {

/// The lowest value of the Chorus's gains, which means silence.
inline constexpr std::int32_t kChorusSilentTenths = -600;

/// The Chorus's parameter block: the unit of exchange among property interface, engine, presets and records.
struct ChorusParams {
  std::int32_t inputGain;            ///< tenths of a dB, -600 (silence) to 0
  std::int32_t dryOut;               ///< tenths of a dB, -600 (silence) to 0
  std::int32_t chorusOut;            ///< tenths of a dB, -600 (silence) to 0
  std::int32_t chorusSize;           ///< voices, 1 to 3
  std::int32_t feedback;             ///< percent, 0 to 100
  std::int32_t invertChorus;         ///< 0 or 1
  std::int32_t delay;                ///< tenths of a ms, 1 to 1000
  std::int32_t modRate;              ///< thousandths of a Hz, 1 to 20000
  std::int32_t modDepth;             ///< percent of the delay, 1 to 100
  std::int32_t attenuateHigh;        ///< 0 or 1
  std::int32_t attenuationHz;        ///< Hz, 100 to 10000
  std::int32_t invertFeedback;       ///< 0 or 1
  std::int32_t bypass;               ///< 0 or 1
  std::int32_t modPeriodNote;        ///< note index, 0 to 18
  std::int32_t modPeriodMultiplier;  ///< thousandths, 1 to 32000
  std::int32_t tempoSync;            ///< 0 or 1
};
static_assert(sizeof(ChorusParams) == 64);

}  // namespace korva
