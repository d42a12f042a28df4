#pragma once

#include <cmath>
#include <cstddef>

#include "audio/pair.h"
#include "reverb/reverb_network.h"

namespace korva {

/// What makes the combs' input: a low-pass, and what a two-pole low-pass keeps taken away from it. Works on a block in
/// place, frame after frame, as the first combs ask for them: every output waits on the one before, and the combs fill
/// the wait.
template <class Rules, bool kBass>
class FilteredInput {
 public:
  FilteredInput(ReverbChannel& channel, const ReverbMix& mix, double* block) noexcept
      : channel_(channel),
        block_(block),
        in_(mix.lowPassIn),
        back_(mix.lowPassBack),
        bass_(channel.bass),
        lowPass_(channel.lowPass) {}

  Pair Two(std::size_t i) noexcept {
    const double now = Step(block_[i]);
    const Pair both = Pair::Of(now, Step(block_[i + 1]));
    both.Store(block_ + i);
    return both;
  }
  Pair One(std::size_t i) noexcept {
    block_[i] = Step(block_[i]);
    return Pair::Both(block_[i]);
  }
  void Move(std::size_t frames) noexcept { block_ += frames; }
  void Keep() const noexcept {
    channel_.lowPass = lowPass_;
    if constexpr (kBass) channel_.bass = bass_;
  }

 private:
  static double Flush(double value) noexcept { return Rules::kFlushes && std::fabs(value) < 0x1p-32 ? 0.0 : value; }
  double Step(double x) noexcept {
    lowPass_ = Flush(x * in_ + lowPass_ * back_);
    if constexpr (!kBass) return lowPass_;
    const double y = Flush(lowPass_ * bass_.a0 + bass_.last * bass_.b1 - bass_.beforeLast * bass_.b2);
    bass_.beforeLast = bass_.last;
    bass_.last = y;
    return lowPass_ - Rules::Bass(y);
  }

  ReverbChannel& channel_;
  double* block_;
  const double in_, back_;
  BassFilter bass_;
  double lowPass_;
};

}  // namespace korva
