#pragma once

#include <array>
#include <cstddef>

#include "audio/pair.h"
#include "audio/single.h"
#include "reverb/reverb_network.h"

namespace korva {

/// What makes the combs' input, for one channel or for two side by side: a low-pass, and what a two-pole low-pass keeps
/// taken away from it. Works on a block in place, frame after frame, as the first combs ask for them: every output
/// waits on the one before, and the combs fill the wait.
template <class Rules, bool kBass, class Lanes>
class FilteredInput {
 public:
  using Channels = std::array<ReverbChannel*, Lanes::kLanes>;

  FilteredInput(const Channels& channels, const ReverbMix& mix, double* block) noexcept
      : channels_(channels),
        block_(block),
        in_(Lanes::Broadcast(mix.lowPassIn)),
        back_(Lanes::Broadcast(mix.lowPassBack)),
        b1_(Lanes::Broadcast(channels[0]->bass.b1)),
        b2_(Lanes::Broadcast(channels[0]->bass.b2)),
        a0_(Lanes::Broadcast(channels[0]->bass.a0)) {
    double lowPass[Lanes::kLanes], last[Lanes::kLanes], beforeLast[Lanes::kLanes];
    for (std::size_t c = 0; c < Lanes::kLanes; ++c) {
      lowPass[c] = channels[c]->lowPass;
      last[c] = channels[c]->bass.last;
      beforeLast[c] = channels[c]->bass.beforeLast;
    }
    lowPass_ = Lanes::Load(lowPass);
    last_ = Lanes::Load(last);
    beforeLast_ = Lanes::Load(beforeLast);
  }

  /// Frame i.
  Lanes At(std::size_t i) noexcept {
    double* const frame = block_ + i * Lanes::kLanes;
    const Lanes filtered = Step(Lanes::Load(frame));
    filtered.Store(frame);
    return filtered;
  }
  /// Frames i and i + 1 of one channel.
  Pair Two(std::size_t i) noexcept {
    const Single now = Step(Single::Load(block_ + i));
    const Pair both = Pair::Of(now.value, Step(Single::Load(block_ + i + 1)).value);
    both.Store(block_ + i);
    return both;
  }
  void Move(std::size_t frames) noexcept { block_ += frames * Lanes::kLanes; }
  void Keep() const noexcept {
    double lowPass[Lanes::kLanes], last[Lanes::kLanes], beforeLast[Lanes::kLanes];
    lowPass_.Store(lowPass);
    last_.Store(last);
    beforeLast_.Store(beforeLast);
    for (std::size_t c = 0; c < Lanes::kLanes; ++c) {
      channels_[c]->lowPass = lowPass[c];
      if constexpr (kBass) channels_[c]->bass.last = last[c];
      if constexpr (kBass) channels_[c]->bass.beforeLast = beforeLast[c];
    }
  }

 private:
  static Lanes Flush(Lanes value) noexcept {
    const Lanes floor = Lanes::Broadcast(0x1p-32);
    if constexpr (!Rules::kFlushes) return value;
    if constexpr (Lanes::kLanes == 1) return FlushBelow(value, floor);
    // Two channels wait on this filter, and a jump that is foreseen does not lengthen the wait.
    const Lanes small = Less(Magnitude(value), floor);
    return small.AnySet() ? Without(value, small) : value;
  }
  Lanes Step(Lanes x) noexcept {
    lowPass_ = Flush(x * in_ + lowPass_ * back_);
    if constexpr (!kBass) return lowPass_;
    const Lanes y = Flush(lowPass_ * a0_ + last_ * b1_ - beforeLast_ * b2_);
    beforeLast_ = last_;
    last_ = y;
    return lowPass_ - Rules::Bass(y);
  }

  const Channels channels_;
  double* block_;
  const Lanes in_, back_, b1_, b2_, a0_;
  Lanes lowPass_, last_, beforeLast_;
};

/// That block again, for the combs after the first ones.
template <class Lanes>
class FilteredBlock {
 public:
  explicit FilteredBlock(const double* block) noexcept : block_(block) {}

  Lanes At(std::size_t i) const noexcept { return Lanes::Load(block_ + i * Lanes::kLanes); }
  void Move(std::size_t frames) noexcept { block_ += frames * Lanes::kLanes; }
  void Keep() const noexcept {}

 private:
  const double* block_;
};

}  // namespace korva
