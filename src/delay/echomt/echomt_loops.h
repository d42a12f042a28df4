#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "audio/sample_format.h"
#include "audio/sine.h"

// The loops over the frames of a block that work as many of them at once as lanes have room for. They are made for
// `Single`, `Pair` and, in a file of its own, `Quad`.
namespace korva {

/// Frames of the Multi-Tap Delay that are worked together, at most.
inline constexpr int kEchomtBlock = 64;
inline constexpr std::size_t kMostLanes = 4;

/// A tap over a run of frames, in the order of the line's slots. Values stand once for each lane.
struct TapRun {
  const double* from;        ///< the slot of the last frame
  double start[kMostLanes];  ///< the same, as a number
  double depth[kMostLanes];  ///< of its swing, in frames
  double gains[2][kMostLanes];

  void Set(const double* slot, double number, double swing, double left, double right) noexcept {
    from = slot;
    std::fill_n(start, kMostLanes, number);
    std::fill_n(depth, kMostLanes, swing);
    std::fill_n(gains[0], kMostLanes, left);
    std::fill_n(gains[1], kMostLanes, right);
  }
};

/// All taps over a run of frames.
struct Taps {
  const TapRun* runs;
  std::size_t count;
  const double* line;
  std::int32_t lineLast;
  const double* swing;  ///< of the run's frames
};

/// One value of the sine, raised by 1, for each frame of a block, and the least and the most of them.
struct EchomtSwing {
  double value[kEchomtBlock];
  double least, most;
};

/// How taps stand to their line: still; moved by the swing inside of it; or perhaps across its ends.
enum TapMotion : std::uint8_t { kFixed, kSwinging, kWrapping };

struct EchomtLoops {
  int lanes;
  /// What all taps give in a run of at least so many frames, one side or both. By motion and sides.
  void (*sum[3][2])(const Taps& taps, int frames, double* const (&sums)[2]) noexcept;
  /// The swing at phases of a block; `kMostLanes` more of them follow, the same as one of these.
  void (*swing)(const double* phases, int frames, EchomtSwing& swing) noexcept;
};

/// Those for wide units.
const EchomtLoops& WideEchomtLoops() noexcept;

// The frames of a block as numbers, for lanes to start from.
inline constexpr auto kCounts = [] {
  std::array<double, kEchomtBlock> counts{};
  for (std::size_t i = 0; i < counts.size(); ++i) counts[i] = static_cast<double>(i);
  return counts;
}();

/// What a line holds between two slots: `position` counts from `line`. With `kWraps` it may leave the line at either
/// end: it comes back in one slot short of the ring that the write head goes round, above and below.
template <bool kWraps, class Lanes>
Lanes ReadBetween(const double* line, std::int32_t lineLast, Lanes position) noexcept {
  const Lanes bias = Lanes::Broadcast(kRoundingBias);
  if constexpr (kWraps) position = position + (Less(position, Lanes::Broadcast(0.0)) & Lanes::Broadcast(lineLast));
  const Lanes biased = position - Lanes::Broadcast(kDownwards) + bias;
  const Lanes fraction = position - (biased - bias);
  double words[Lanes::kLanes];
  biased.Store(words);
  std::int32_t indices[Lanes::kLanes];
  for (std::size_t lane = 0; lane < Lanes::kLanes; ++lane) {
    indices[lane] = static_cast<std::int32_t>(std::bit_cast<std::uint64_t>(words[lane]));
  }
  Lanes here, beyond;
  if constexpr (kWraps) {
    std::int32_t next[Lanes::kLanes];
    for (std::size_t lane = 0; lane < Lanes::kLanes; ++lane) {
      std::int32_t& index = indices[lane];
      if (index < 0) index += lineLast + 1;
      index = std::clamp(index, 0, lineLast);
      next[lane] = index + 1 >= lineLast ? index + 1 - lineLast : index + 1;
    }
    here = Lanes::Gather(line, indices);
    beyond = Lanes::Gather(line, next);
  } else {
    here = Lanes::Neighbours(line, indices, beyond);
  }
  return here + (beyond - here) * fraction;
}

/// What all taps give in the frames from `k` on.
template <class Lanes, int kSides, TapMotion kMotion>
void SumTaps(const Taps& taps, int k, double* const (&sums)[2]) noexcept {
  Lanes left = Lanes::Broadcast(0.0), right = left;
  for (std::size_t i = 0; i < taps.count; ++i) {
    const TapRun& tap = taps.runs[i];
    Lanes value;
    if constexpr (kMotion != kFixed) {
      // The swing's own slot counts up with the frames of the run.
      const Lanes slot = Lanes::Load(kCounts.data() + k) + Lanes::Load(tap.start);
      const Lanes swing = Lanes::Load(taps.swing + k) * Lanes::Load(tap.depth);
      value = ReadBetween<kMotion == kWrapping>(taps.line, taps.lineLast, slot - swing);
    } else {
      value = Lanes::Load(tap.from + k);
    }
    left = left + value * Lanes::Load(tap.gains[0]);
    if constexpr (kSides == 2) right = right + value * Lanes::Load(tap.gains[1]);
  }
  left.Store(sums[0] + k);
  if constexpr (kSides == 2) right.Store(sums[1] + k);
}

template <class Lanes, int kSides, TapMotion kMotion>
void SumRun(const Taps& taps, int frames, double* const (&sums)[2]) noexcept {
  constexpr int kLanes = Lanes::kLanes;
  int k = 0;
  for (; k + kLanes <= frames; k += kLanes) SumTaps<Lanes, kSides, kMotion>(taps, k, sums);
  // The last few once more with some before them.
  if (k < frames) SumTaps<Lanes, kSides, kMotion>(taps, frames - kLanes, sums);
}

template <class Lanes>
void FindSwing(const double* phases, int frames, EchomtSwing& swing) noexcept {
  constexpr int kLanes = Lanes::kLanes;
  static_assert(kEchomtBlock % kLanes == 0 && kLanes <= kMostLanes);
  Lanes least = Lanes::Broadcast(2.0), most = Lanes::Broadcast(0.0);
  for (int i = 0; i < frames; i += kLanes) {
    const Lanes value = Sine(Lanes::Load(phases + i)) + Lanes::Broadcast(1.0);
    least = Smaller(value, least);
    most = Larger(value, most);
    value.Store(swing.value + i);
  }
  double each[2][Lanes::kLanes];
  least.Store(each[0]);
  most.Store(each[1]);
  swing.least = *std::min_element(each[0], each[0] + kLanes);
  swing.most = *std::max_element(each[1], each[1] + kLanes);
}

template <class Lanes>
constexpr EchomtLoops EchomtLoopsOf() noexcept {
  return {static_cast<int>(Lanes::kLanes),
          {{&SumRun<Lanes, 1, kFixed>, &SumRun<Lanes, 2, kFixed>},
           {&SumRun<Lanes, 1, kSwinging>, &SumRun<Lanes, 2, kSwinging>},
           {&SumRun<Lanes, 1, kWrapping>, &SumRun<Lanes, 2, kWrapping>}},
          &FindSwing<Lanes>};
}

}  // namespace korva
