#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "audio/delay_line.h"
#include "audio/format_record.h"
#include "audio/process_mode.h"
#include "audio/tail_frames.h"
#include "audio/tempo_info.h"
#include "delay/echos/echos_block.h"

namespace korva {

/// One delay with one feedback coefficient: each frame is read, rewritten and passed on at a single point of its line.
///
///     in ─┬──────────────────────── x dry ──▶ + ──▶ out
///         ▼                                   ▲
///         + ──▶ line of one delay ──┬─ x wet ─┘
///         ▲                         │
///         └────── x feedback ◀──────┘
///
/// The feedback comb of M. R. Schroeder, "Natural Sounding Artificial Reverberation", J. Audio Eng. Soc. 10 (1962),
/// with the feedback worked out from the time in which echoes fall by 30 dB.
///
/// Nothing that a pass over the line reads was written in the same pass, so between two ends of the line all samples
/// are independent of one another, whatever their channel. The memory therefore follows the interleaved stream and a
/// kernel is one straight loop for any number of channels.
///
/// Latency: none on the dry path. Tail: the delay and, with feedback, the decay.
/// Threads: one at a time; nothing here locks. All arithmetic is in doubles, samples are rewritten in place.
class EchosEngine {
 public:
  /// From the next stream on: memory for the longest line that the rows can ask for is taken with the stream, and no
  /// change while it runs asks for any. A note longer than twelve seconds is then held to that.
  void ReserveForRows(bool on) noexcept { reserve_ = on; }

  /// Takes the stream's format. The lines are built by the update that must follow.
  std::int32_t Start(const FormatRecord& format) noexcept {
    SetFormat(format);
    LeaveBypass();
    return kGoOn;
  }
  void Stop() noexcept { FreeDelayLines(); }

  /// The format alone.
  void SetFormat(const FormatRecord& format) noexcept;

  /// Gains, lengths and feedback from `params`; `tempo` may be null. A new length, in any mode, drops all that the
  /// lines hold; at an unchanged one `ModeRestart` wipes them and any other mode leaves them running. 0, or out of
  /// memory, which leaves the engine not ready; then no samples are processed until an update succeeds.
  std::int32_t UpdateEngine(const EchosParams& params, ProcessMode mode, const TempoInfo* tempo) noexcept;

  /// Frees the lines. The next update builds them again.
  void FreeDelayLines() noexcept;

  /// For a buffer that is passed by: wipes the lines at the first one, and nothing more until `LeaveBypass`.
  void EnterBypass() noexcept;
  void LeaveBypass() noexcept { bypassCleared_ = false; }

  /// Runs interleaved frames of the stream's format in place. `frameCount` is the frames offered, then those produced:
  /// a flush and a buffer that asks for `tailOnly` may yield fewer. 0 to go on, 1 when there is no more to give. A
  /// negative code, and no frames, without lines.
  ///
  /// A flush answers 1 at once on every format but 32-bit float, so that its tail ends with one buffer: kept on
  /// purpose.
  std::int32_t Process(ProcessMode mode, void* buffer, std::uint32_t& frameCount, bool tailOnly) noexcept;

  bool engineReady() const noexcept { return engineReady_; }
  bool tailOnlyDone() const noexcept { return tailOnly_.done(); }
  std::uint32_t delayLength() const noexcept { return delayLength_; }  ///< frames

 private:
  std::uint32_t LineLength(const EchosParams& params, const TempoInfo* tempo) const noexcept;
  std::uint32_t DecayLength(const EchosParams& params, const TempoInfo* tempo) const noexcept;
  std::uint32_t TailOnlyFrames() const noexcept;
  std::int32_t BuildDelayLines(const EchosParams& params, ProcessMode mode, const TempoInfo* tempo) noexcept;
  std::int32_t StartLines(std::uint32_t length, bool fresh) noexcept;
  std::int32_t ReserveLines() noexcept;
  bool HasLines() const noexcept;
  void WipeLines() noexcept;

  template <class Format>
  std::int32_t Kernel(ProcessMode mode, typename Format::Sample* buffer, std::uint32_t& frameCount,
                      bool tailOnly) noexcept;
  template <class Format, bool kReadInput>
  void Run(typename Format::Sample* buffer, std::size_t samples) noexcept;

  std::uint32_t rate_ = 0;
  std::uint32_t channels_ = 0;
  std::optional<SampleFormat> format_;
  double delayOutGain_ = 0, dryOutGain_ = 0, feedbackGain_ = 0;
  std::uint32_t delayLength_ = 0;  // frames
  std::uint32_t decayLength_ = 0;  // samples of all channels
  std::uint32_t tailLeft_ = 0;     // frames
  TailOnlyBudget tailOnly_;
  bool engineReady_ = false;
  bool bypassCleared_ = false;
  bool reserve_ = false;
  // One line of `delayLength_` values for each channel, end to end one ring that holds the interleaved stream.
  std::array<DelayLine, kMaxChannels> lines_;
  std::size_t line_ = 0;  // the line and the place in it of the next sample
  std::size_t position_ = 0;
};

}  // namespace korva
