#pragma once

#include <cstdint>

namespace korva {

/// The Reverb's parameter block: the unit of exchange among property interface, engine, presets and records.
struct ReverbParams {
  std::int32_t dryOut;       ///< tenths of a dB, -800 (silence) to 0
  std::int32_t reverbOut;    ///< tenths of a dB, -800 (silence) to 0
  std::int32_t earlyOut;     ///< tenths of a dB, -800 (silence) to 0
  std::int32_t reverbMode;   ///< row of the mode table, 0 to 18
  std::int32_t earlyStyle;   ///< row of the early style table, 0 to 9
  std::int32_t decayTenths;  ///< tenths of a second to fall by 60 dB, 5 to 50
  std::int32_t preDelayMs;   ///< ms, 0 to 200
  std::int32_t bassOn;       ///< 0 or 1
  std::int32_t bassHz;       ///< Hz, 10 to 5000
  std::int32_t highOn;       ///< 0 or 1
  std::int32_t highHz;       ///< Hz, 100 to 15000
  std::int32_t bypass;       ///< 0 or 1
};
static_assert(sizeof(ReverbParams) == 48);

}  // namespace korva
