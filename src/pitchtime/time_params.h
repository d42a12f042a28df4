#pragma once

#include "frame/effect_description.h"
#include "pitchtime/time_block.h"

namespace korva {

/// Rows of the Time Stretch's description table, in table order.
enum TimeRow : std::int32_t {
  kTimePercent,
  kTimeMode,
  kTimeTempo,
  kTimeInitialSamples,
  kTimeInputFormatKind,
};

/// Everything about the Time Stretch that is data: rows, presets, record forms. A row's change bit 2 asks for a full
/// configuration.
extern const EffectDescription kTimeEffect;

/// Values held to the ranges of `percentTimes100` and `initialSamples`; not-a-number gives the least.
double HoldPercentTimes100(double percentTimes100) noexcept;
double HoldTimeInitialSamples(double frames) noexcept;

/// The value of `percentTimes100` that turns a tempo of `tempoTimes100` into `finalBpm`. Not held to the range: a
/// final tempo of 0 gives infinity, or not-a-number where the initial one is 0 too.
double PercentTimes100ForTempo(std::uint32_t tempoTimes100, double finalBpm) noexcept;

/// The value of `percentTimes100` that turns `initialFrames` into `finalFrames`. Not held to the range either.
double PercentTimes100ForFrames(double initialFrames, double finalFrames) noexcept;

}  // namespace korva
