#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>

#include "audio/format_record.h"
#include "audio/param_source.h"
#include "audio/process_mode.h"
#include "audio/tail_frames.h"
#include "reverb/reverb_block.h"
#include "reverb/reverb_network.h"
#include "reverb/reverb_team.h"

namespace korva {

/// Parallel damped combs, fed from a low-passed and high-passed copy of the input, behind a pre-delay; and three early
/// taps on the dry input.
///
///     in ─┬───────────────────────────────────────────── x dry ──▶ + ──▶ out
///         ├─▶ early line ═▶ three taps x gain, pan ──── x early ──▶ +
///         ▼                                                         ▲
///     low-pass ─▶ bass taken away ─▶ 8 to 10 combs ─▶ pre-delay ─ x reverb
///
///     a comb:    + ─▶ x gain ─▶ ring ─┬─▶ sum of the combs
///                ▲                    │
///                └──── low-pass ◀─────┘
///
/// Combs with a low-pass in their loops and early taps on the dry sound come from J. A. Moorer, "About This
/// Reverberation Business", Computer Music Journal 3 (1979).
///
/// Stereo takes one bank of combs for the sum of both sides: only combs 0 and 1 stand twice, the right ones detuned,
/// which makes width at a fifth more work where two banks would double it. Mono and three to 32 channels take one whole
/// network a channel. All arithmetic is in doubles, in place.
///
/// Latency: none on the dry path. Tail: whole seconds of the decay time.
/// Threads: `MarkLinesStale` from any, everything else from one at a time. `ReverbProcess` on float streams of three
/// and more channels shares them out among a team that lives from reset to release; samples do not depend on its size.
class ReverbEngine {
 public:
  /// `source` gives the parameters whenever the engine refreshes itself; it must outlive the engine.
  explicit ReverbEngine(ParamSource<ReverbParams>& source) noexcept;
  ReverbEngine(const ReverbEngine&) = delete;
  ReverbEngine& operator=(const ReverbEngine&) = delete;
  ~ReverbEngine();

  /// From the next stream on: memory for every mode, style and pre-delay is taken with the stream, no change while it
  /// runs asks for any, and the calling thread does all the work.
  void ReserveForRows(bool on) noexcept { reserve_ = on; }

  /// Takes the stream's format and builds everything for the parameters of the moment. As `ReverbReset`.
  std::int32_t Start(const FormatRecord& format) noexcept {
    SetFormat(format);
    return ReverbReset();
  }
  void Stop() noexcept { ReverbRelease(); }
  std::int32_t Process(ProcessMode mode, void* buffer, std::uint32_t& frames, bool tailOnly) noexcept {
    return ReverbProcess(mode, buffer, frames, tailOnly);
  }

  /// Takes the stream's format. The rings fit it no more and wait for the next update while streaming, so that a format
  /// costs nothing until a stream with it starts. Outside 1 to 32 channels or the five sample formats nothing is run.
  void SetFormat(const FormatRecord& format) noexcept;

  /// Starts from nothing: new rings, all zero, for the parameters of the moment. From here to `ReverbRelease` the
  /// engine holds memory. 0, or out of memory with no ring held.
  std::int32_t ReverbReset() noexcept;

  /// Frees all rings, and joins the team.
  void ReverbRelease() noexcept;

  /// Brings the network in line with `params`. Rebuilds it, with new rings, when the lines are stale or the engine is
  /// not ready; otherwise refreshes gains and filters and leaves the rings, and with them delays and comb count, as
  /// they are. `ModeRestart` also clears filter memories. 0, or out of memory with no ring held and the engine not
  /// ready. While not streaming there is nothing to bring in line, and the answer is 0.
  std::int32_t UpdateEngine(const ReverbParams& params, ProcessMode mode) noexcept;

  /// Runs interleaved frames of the stream's format in place. `frames` gives those offered and returns those that
  /// count. With `ModeFlush` the buffer holds silence. `tailOnly` says that the caller
  /// limits the tail. 0; 1 when there is no more to come; a failure, with 0 frames.
  std::int32_t ReverbProcess(ProcessMode mode, void* buffer, std::uint32_t& frames, bool tailOnly) noexcept;

  /// Whether the next update rebuilds. Any thread.
  void MarkLinesStale(bool stale) noexcept { linesStale_.store(stale, std::memory_order_relaxed); }

  /// Makes the next update rebuild whatever the flag above says: for a stream that resumes after skipped samples.
  void MarkNotReady() noexcept { engineReady_ = false; }

  bool tailOnlyDone() const noexcept { return tailOnly_.done(); }
  bool engineReady() const noexcept { return engineReady_; }
  bool bypass() const noexcept { return bypass_; }

  /// How many threads a float stream of three and more channels asks for from its next start on, the calling one
  /// counted. The processors decide at construction; tests overrule it.
  void UseThreads(std::size_t count) noexcept { threads_ = count; }

  /// Which of the two stereo kernels runs. The processor decides at construction; tests overrule it.
  void UseVectorKernel(bool use) noexcept { useVectorKernel_ = use; }

 private:
  std::int32_t Rebuild(const ReverbParams& params, bool clearHigh) noexcept;
  std::int32_t BuildCombs(const ReverbModeRow& row, double decay, StreamBudget& budget) noexcept;
  std::int32_t BuildLines(const ReverbParams& params, StreamBudget& budget) noexcept;
  void RefreshGains(const ReverbModeRow& row, double decay) noexcept;
  void SetFilters(const ReverbParams& params, bool clearBass) noexcept;
  void SetTail(double decay) noexcept;
  /// Values that an entry of channel `c`'s lines holds: its neighbour's too, or none where the neighbour's hold its
  /// own.
  std::size_t LineWidth(std::size_t c) const noexcept { return c % 2 != 0 ? 0 : c + 1 < channels_ ? 2 : 1; }
  std::size_t CombWidth(std::size_t c) const noexcept { return channels_ == 2 ? 1 : LineWidth(c); }
  std::int32_t ReserveRings() noexcept;
  void ReleaseRings() noexcept;
  void FreeRings() noexcept;

  template <class Format>
  void Run(typename Format::Sample* samples, std::uint32_t frames) noexcept;
  template <class Format>
  void RunStereo(typename Format::Sample* samples, std::uint32_t frames) noexcept;
  template <class Format>
  void RunChannels(std::size_t first, typename Format::Sample* samples, std::uint32_t frames) noexcept;
  bool SharesChannels() const noexcept;
  template <class Format>
  void RunTeam(typename Format::Sample* samples, std::uint32_t frames) noexcept;

  ParamSource<ReverbParams>& source_;
  std::atomic<bool> linesStale_{true};
  bool hasRun_ = true;
  bool engineReady_ = false;
  bool useVectorKernel_;
  std::size_t threads_;
  bool streaming_ = false;
  bool ringsFit_ = false;  // rings are there, and made for the format
  bool bypass_ = false;
  bool reserve_ = false;
  bool bassOn_ = false, highOn_ = false;
  std::uint32_t rate_ = 0;
  std::size_t channels_ = 0;
  std::optional<SampleFormat> format_;
  std::uint32_t tailLength_ = 0, tailLeft_ = 0;  // frames
  TailOnlyBudget tailOnly_;
  ReverbTeam team_;
  ReverbMix mix_;
  // Inline, so that the hot path follows no pointer but those of the rings.
  std::array<ReverbChannel, kMaxChannels> network_;
};

}  // namespace korva
