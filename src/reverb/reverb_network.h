#pragma once

#include <array>
#include <cstddef>

#include "audio/delay_line.h"
#include "reverb/reverb_tables.h"

// The state that the kernels run on. Set-up writes all of it between kernels, and nothing else does.
namespace korva {

/// Frames that one stage works before the next one starts. Samples do not depend on it.
inline constexpr int kReverbBlock = 64;

/// A two-pole low-pass; what it passes is taken away from the combs' input.
struct BassFilter {
  double last = 0, beforeLast = 0;  ///< outputs
  double b1 = 0, b2 = 0, a0 = 0;
};

/// A circular line; an entry holds one value, or one for each of two channels.
struct ReverbLine {
  DelayLine ring;
  std::size_t entries = 0;
  std::size_t width = 1;  ///< values of an entry

  /// To be called before `count` entries from `first` on are worked.
  void Clean(std::size_t first, std::size_t count) noexcept { ring.Clean(first * width, count * width); }
};

/// A comb with a one-pole low-pass in its loop. The line's length is its delay.
struct ReverbComb {
  ReverbLine line;
  std::size_t position = 0;
  double gain = 0;     ///< of the loop, and so of what enters it
  double damping = 0;  ///< the low-pass's memory
};

/// The network of one channel. A stereo stream has one network, that of channel 0, whose lines hold both sides; of
/// channel 1 it uses combs 0 and 1. From three channels on two neighbours go together: the first one's lines, those of
/// its combs too, hold both. A last odd channel is alone, as mono is.
struct ReverbChannel {
  double lowPass = 0;
  std::array<ReverbComb, kReverbCombs> combs;
  ReverbLine preDelay;
  std::size_t preDelayPosition = 0;
  ReverbLine early;
  std::array<std::size_t, kEarlyTaps> taps{};  ///< the last is the oldest entry, and where the next is written
  BassFilter bass;
};

/// What all channels share.
struct ReverbMix {
  int combCount = 0;
  bool bassOn = false;
  double lowPassIn = 1, lowPassBack = 0;
  std::array<double, kEarlyTaps> earlyLeft{}, earlyRight{};  ///< percent
  double earlyGain = 0, reverbGain = 0, dryGain = 0;
};

/// Moves a position by `steps`, which must not take it past the end of a ring of `entries`.
inline void Advance(std::size_t& position, std::size_t steps, std::size_t entries) noexcept {
  position += steps;
  if (position == entries) position = 0;
}

/// Frames that can be worked before a position comes to the end of its ring.
inline std::size_t UntilWrap(std::size_t position, std::size_t entries, std::size_t frames) noexcept {
  return entries - position < frames ? entries - position : frames;
}

/// Makes a comb ready for as many of `frames` frames as there are before the end of its ring, and tells how many.
inline std::size_t BeginRun(ReverbComb& comb, std::size_t frames) noexcept {
  const std::size_t run = UntilWrap(comb.position, comb.line.entries, frames);
  comb.line.Clean(comb.position, run);
  return run;
}

/// Mono or a last odd channel: `frames` samples in place, at most `kReverbBlock`.
void RunReverbChannel(ReverbChannel& channel, const ReverbMix& mix, double* samples, std::size_t frames) noexcept;

/// Two neighbours of three channels and more, `frames` samples of each side by side. Each one's are the same as above.
void RunReverbTwoChannels(ReverbChannel& first, ReverbChannel& second, const ReverbMix& mix, double* samples,
                          std::size_t frames) noexcept;

/// Stereo: `frames` interleaved frames in place, at most `kReverbBlock`. The two differ by rounding, and in that the
/// plain one flushes small values to 0 itself where the vector one leaves them to the processor.
void RunReverbStereoPlain(ReverbChannel& left, ReverbChannel& right, const ReverbMix& mix, double* samples,
                          std::size_t frames) noexcept;
void RunReverbStereoVector(ReverbChannel& left, ReverbChannel& right, const ReverbMix& mix, double* samples,
                           std::size_t frames) noexcept;

}  // namespace korva
