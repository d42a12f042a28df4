#pragma once

#include <cstdint>

namespace korva {

/// How the final length is typed.
enum InputFormatKind : std::int32_t { kAsPercentage, kAsTempo, kAsTime };

/// The Time Stretch's parameter block: the unit of exchange among property interface, engine, presets and records.
/// Only `percentTimes100` and `mode` act on the sound.
struct TimeParams {
  double percentTimes100;        ///< final length in hundredths of a percent, 5000 to 50000
  std::int32_t mode;             ///< row of `StretchModeTable`
  std::uint32_t tempoTimes100;   ///< initial tempo in hundredths of a beat per minute, 0 to 50000
  double initialSamples;         ///< initial length, frames, 0 to 793800000
  std::int32_t inputFormatKind;  ///< an `InputFormatKind`; any other value acts as the first
  std::int32_t padding0;         ///< carried as it is
};
static_assert(sizeof(TimeParams) == 32);

}  // namespace korva
