#pragma once

#include <cstdint>

namespace korva {

/// The Simple Delay's parameter block: the unit of exchange among property interface, engine, presets and records.
struct EchosParams {
  std::int32_t multipleDelays;   ///< 0 a single echo, 1 feedback
  std::int32_t delayMs;          ///< ms, 1 to 5000
  std::int32_t decayTenths;      ///< tenths of a second, 1 to 200
  std::int32_t delayOut;         ///< tenths of a dB, -800 (silence) to 0
  std::int32_t dryOut;           ///< tenths of a dB, -800 (silence) to 0
  std::int32_t bypass;           ///< 0 or 1
  std::int32_t delayNote;        ///< note index, 0 to 17
  std::int32_t delayMultiplier;  ///< thousandths, 1 to 4000
  std::int32_t tempoSyncDelay;   ///< 0 or 1
  std::int32_t decayNote;        ///< note index, 0 to 18 (measures)
  std::int32_t decayMultiplier;  ///< thousandths, 1 to 32000
  std::int32_t tempoSyncDecay;   ///< 0 or 1
};
static_assert(sizeof(EchosParams) == 48);

}  // namespace korva
