#pragma once

#include <cstdint>

namespace korva {

inline constexpr int kEchomtTaps = 8;

/// The Multi-Tap Delay's parameter block: the unit of exchange among property interface, engine, presets and records.
struct EchomtParams {
  std::int32_t tapDelayMs[kEchomtTaps];  ///< ms, 1 to 2500
  std::int32_t tapGain[kEchomtTaps];     ///< percent, -100 (inverted) to 100
  std::int32_t tapPan[kEchomtTaps];      ///< percent, -100 (left) to 100 (right)
  std::int32_t tapCount;                 ///< taps in use, 1 to 8
  std::int32_t wetOut;                   ///< tenths of a dB, -800 (silence) to 0
  std::int32_t dryOut;                   ///< tenths of a dB, -800 (silence) to 0
  std::int32_t feedback;                 ///< percent, 0 to 150
  std::int32_t inputGain;                ///< tenths of a dB, -800 (silence) to 0
  std::int32_t lowPassEnabled;           ///< on when nonzero
  std::int32_t lowPassHz;                ///< Hz, 100 to 10000
  std::int32_t modDepth;                 ///< percent, 0 to 100
  std::int32_t modRate;                  ///< tenths of a Hz, 1 to 100
  std::int32_t currentTap;               ///< tap that the page shows, 0 to 7; not heard
  std::int32_t graphResolution;          ///< choice of the page, 0 to 3; not heard
};
static_assert(sizeof(EchomtParams) == 140);

}  // namespace korva
