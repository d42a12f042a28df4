#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>

#include "audio/change_bits.h"
#include "audio/format_record.h"
#include "audio/process_mode.h"
#include "audio/sine.h"
#include "audio/tempo_info.h"
#include "audio/zeroed_buffer.h"
#include "chorus/chorus_block.h"

namespace korva {

/// Up to three modulated delay voices in series, each with a one-pole low-pass on its tap and its own feedback.
///
/// A voice reads a circular line at a position that swings on a sine. Voices run in series and not side by side: the
/// second voice thickens the first one's output, so three voices sound denser than three parallel taps would.
///
///     in x input gain ─▶ voice 0 ─▶ voice 1 ─▶ voice 2 ─▶ out      as many as are in use
///
///     a voice:   x ─┬──────────────────────────────(x dry)──▶ + ──▶
///                   ▼                                         ▲
///                   + ──▶ line ──tap that swings──▶ low-pass ─┴ x wet, x pan
///                   ▲                                  │
///                   └──────────── x feedback ◀─────────┘
///
/// Only the first voice takes the dry gain. The tap lies between two frames and is read on a straight line between
/// them. The topology is the "industry standard chorus" of J. Dattorro, "Effect Design, Part 2: Delay-Line Modulation
/// and Chorus", J. Audio Eng. Soc. 45 (1997), with a low-pass in its loop and one voice after the other.
///
/// All arithmetic is in doubles; samples are widened and narrowed a frame at a time, in place.
///
/// Latency: none on the dry path. No tail: the lines are dropped when the stream stops.
/// Threads: `AskFor` from any, all else from one at a time; nothing here locks. Only the recomputes write what the
/// kernels read.
class ChorusEngine {
 public:
  static constexpr int kVoices = 3;

  /// Allocates the three lines for a stream of `format`, all zero, and puts write positions, filter memories and
  /// modulation phases to 0. 0, or out of memory with the lines so far kept. A recompute must follow.
  std::int32_t Start(const FormatRecord& format) noexcept;

  /// Frees the lines.
  void Stop() noexcept;

  /// Turns a block into engine state: what `AskFor` has left to do, and all of it at a discontinuity. Returns 0.
  std::int32_t UpdateEngine(const ChorusParams& block, bool continuous, const TempoInfo* tempo) noexcept;

  /// What the next update has to do beside the cheap recompute. Any thread.
  void AskFor(std::uint32_t changeBits) noexcept { changeMask_.fetch_or(changeBits, std::memory_order_relaxed); }
  void AskForAll() noexcept { changeMask_.store(kChangeRebuild | kWipe, std::memory_order_relaxed); }

  /// All of the engine's state from `block`; zeroes the filter memories. With `wipe` also resets the write positions
  /// and clears the lines. Phases stay. `tempo` may be null. Returns 0.
  std::int32_t FullRecompute(const ChorusParams& block, bool wipe, const TempoInfo* tempo) noexcept;

  /// Gains, cycle, low-pass and depth from `block`. The delay, the number of voices, the lines and all positions stay.
  void CheapRecompute(const ChorusParams& block, const TempoInfo* tempo) noexcept;

  /// Runs `frames` interleaved frames of the stream's format in place. Returns 0.
  std::int32_t Process(void* buffer, std::uint32_t frames) noexcept;
  /// The same as the frame asks for it: nothing while bypassed, and no difference between modes.
  std::int32_t Process(ProcessMode, void* buffer, std::uint32_t& frames, bool /*tailOnly*/) noexcept {
    return bypass_ ? kGoOn : Process(buffer, frames);
  }

  bool engineReady() const noexcept { return engineReady_; }  ///< the last full recompute succeeded

 private:
  friend struct PlainChorus;  // the same frame by frame, which tests hold it against

  // A bit beside those of the rows: with a rebuild, also clear the lines and reset the write positions.
  static constexpr std::uint32_t kWipe = 4;
  // Frames that are worked together. The positions of a block are found first, then its samples; they do not depend
  // on its size.
  static constexpr int kBlockFrames = 64;

  struct Voice {
    // Interleaved frames; runs downwards. One more than the line has: a mirror of the first, so that the neighbour of
    // the last needs no wrap.
    ZeroedBuffer<double> line;
    std::int32_t writePos = 0;
    double readPos = 0;      // centre of the swing, in frames
    std::int32_t phase = 0;  // frames into the modulation cycle
    double period = 1;       // frames of a modulation cycle
    CountedSine sine;
    double gain = 0;
    alignas(16) std::array<double, kMaxChannels> memory{};
  };

  // Where a voice reads in each frame of a block.
  struct Places {
    double index[kBlockFrames + 2];                       // of the frame, in the low 32 bits
    alignas(16) double fraction[2 * (kBlockFrames + 2)];  // of the way to the next frame, twice
  };

  void SetGains(const ChorusParams& block) noexcept;
  void SetCycle(const ChorusParams& block, const TempoInfo* tempo) noexcept;
  void SetLowPass(const ChorusParams& block) noexcept;

  void Mirror(Voice& voice) const noexcept;
  template <bool kWraps>
  void PlaceRun(const CountedSine::Row<Pair>& sines, Pair centre, int frames, Places& places, int first) const noexcept;
  void Place(Voice& voice, Places& places, int frames) const noexcept;
  template <class Format, int kChannels>
  void Run(typename Format::Sample* buffer, std::uint32_t frames) noexcept;
  template <int kChannels, int kVoices>
  void RunVoices(double* block, int frames) noexcept;
  template <class Lanes, int kChannels, int kVoices, bool kLowPass>
  void RunLanes(double* block, int frames, const Places* places, std::size_t channel) noexcept;

  std::atomic<std::uint32_t> changeMask_{kChangeRebuild | kWipe};
  bool engineReady_ = false;
  std::uint32_t rate_ = 0;
  std::int32_t channels_ = 0;
  std::optional<SampleFormat> format_;
  std::int32_t lineFrames_ = 0;
  bool bypass_ = false;
  int voiceCount_ = 1;
  double inGain_ = 0, dryGain_ = 0, feedbackGain_ = 0;
  double cycleSeconds_ = 1;
  double delayFrames_ = 0, depthFrames_ = 0;
  double lowPassIn_ = 1, lowPassBack_ = 0;
  bool wild_ = false;  // a sample came in that is no number, or so large that sums may not stay one
  std::array<double, 2> pan_{};
  std::array<Voice, kVoices> voices_;
};

}  // namespace korva
