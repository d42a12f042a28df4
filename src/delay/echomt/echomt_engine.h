#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>

#include "audio/delay_line.h"
#include "audio/format_record.h"
#include "audio/param_source.h"
#include "audio/process_mode.h"
#include "audio/tail_frames.h"
#include "delay/echomt/echomt_block.h"
#include "delay/echomt/echomt_loops.h"

namespace korva {

/// Up to eight taps on one delay line, all moved by one sine and each by an amount of its own, with a one-pole
/// low-pass before and after the line and a feedback scaled by the sum of the tap gains.
///
///     in x input gain ─┬───────────────────────────────────────── x dry ──▶ + ──▶ out
///                      ▼                                                    ▲
///                  low-pass ─▶ + ─▶ line ═▶ taps x gain, pan ─▶ low-pass ─┬─┴ x wet
///                              ▲                                          │
///                              └──────────────── x feedback ◀─────────────┘
///
/// What goes into the line is held to a limit, so a feedback of 100 % and more stays bounded.
///
/// A stereo stream shares one mono line and is panned where taps are read, so an echo can come from elsewhere than
/// its sound. Any other number of channels has a line each, and no pan.
///
/// The kernels work in blocks: where the taps read depends on the sine alone, and what they read was written long ago
/// as a rule. A block is cut short where a tap could meet a frame that the same block writes, down to a single frame,
/// so samples never depend on it.
///
/// Latency: none on the dry path. Tail: as long as the feedback takes to die down, at most twenty seconds for one that
/// never does.
/// Threads: one at a time, `MarkLinesStale` aside, which any thread may call. Parameters are fetched at the head of
/// each `Process`, under their owner's lock; all in range, or a block of zeros. All arithmetic is in doubles.
class EchomtEngine {
 public:
  /// `source` must outlive the engine.
  explicit EchomtEngine(ParamSource<EchomtParams>& source) noexcept : source_(source) { SetWide(true); }

  /// For tests: whether the loops for wide units are taken where the processor has them. Samples are the same.
  void SetWide(bool on) noexcept;

  /// From the next stream on: memory for the longest line that the rows can ask for is taken with the stream, and no
  /// change while it runs asks for any.
  void ReserveForRows(bool on) noexcept { reserve_ = on; }

  /// Takes the stream's format and builds everything for the parameters of the moment. 0 or a negative code.
  std::int32_t Start(const FormatRecord& format) noexcept {
    SetFormat(format);
    return RestartEngine();
  }
  void Stop() noexcept { FreeLines(); }

  /// The format alone; takes effect with the next build.
  void SetFormat(const FormatRecord& format) noexcept;

  /// For a change of anything but gains of input, dry and wet, modulation rate, low-pass and page choices:
  /// the next update then builds positions, tap gains and, if its length changed, the line anew.
  void MarkLinesStale() noexcept { linesStale_.store(true, std::memory_order_relaxed); }

  /// Fetches parameters and builds everything with empty lines. 0 or a negative code.
  std::int32_t RestartEngine() noexcept;

  /// Brings a waiting change in between buffers; with `rewind` empties the lines too. 1 when there was nothing to do.
  std::int32_t Reset(bool rewind) noexcept;

  /// Frees the lines. The next update builds them again.
  void FreeLines() noexcept;

  /// Runs interleaved frames of the stream's format in place, bringing changed parameters in first. `frameCount` is the
  /// frames offered, then those produced: a flush and a buffer that asks for `tailOnly` may yield fewer. 0 to go on,
  /// 1 when the tail has ended, negative (and no frames) without memory for the lines. A flush brings no change in.
  std::int32_t Process(ProcessMode mode, void* buffer, std::uint32_t& frameCount, bool tailOnly) noexcept;

  bool tailOnlyDone() const noexcept { return tailOnly_.done(); }
  bool engineReady() const noexcept { return engineReady_; }
  std::int32_t lineLength() const noexcept { return lineLength_; }  ///< frames
  std::uint32_t tailLeft() const noexcept { return tailLeft_; }     ///< frames

 private:
  friend struct PlainEchomt;  // the same frame by frame, which tests hold it against

  // The parameters, and whether they or what the lines are built from changed since the last time.
  struct Fetched {
    EchomtParams params;
    bool dirty, stale;
  };

  Fetched Fetch() noexcept;
  std::int32_t UpdateEngine(const EchomtParams& params, ProcessMode mode, bool stale) noexcept;
  std::int32_t BuildEngine(const EchomtParams& params, ProcessMode mode) noexcept;
  void SetLight(const EchomtParams& params) noexcept;
  double SetTapGains(const EchomtParams& params) noexcept;
  bool HasLines() const noexcept;
  bool ReserveLines() noexcept;
  void CleanAhead(DelayLine& line, const EchomtSwing& swing, int frames) noexcept;

  template <class Format>
  std::int32_t Kernel(ProcessMode mode, typename Format::Sample* buffer, std::uint32_t& frameCount,
                      bool tailOnly) noexcept;
  template <class Format>
  void Run(typename Format::Sample* buffer, std::uint32_t frames) noexcept;
  template <class Format, int kSides>
  void RunBlock(typename Format::Sample* buffer, std::uint32_t channel, int frames, const EchomtSwing& swing,
                int together) noexcept;
  void NextSwing(EchomtSwing& swing, int frames) noexcept;
  int IndependentFrames(const EchomtSwing& swing) const noexcept;
  void LowPass(double* block, int frames, double& memory) const noexcept;
  template <int kSides>
  int ReadTaps(const double* line, std::array<std::int32_t, kEchomtTaps>& positions, const EchomtSwing& swing, int end,
               int frames, double (*sums)[kEchomtBlock]) const noexcept;

  ParamSource<EchomtParams>& source_;
  const EchomtLoops* loops_;
  std::atomic<bool> linesStale_{true};
  bool hasRun_ = true;
  bool engineReady_ = false;
  bool reserve_ = false;
  std::uint32_t rate_ = 0;
  std::uint32_t channels_ = 0;
  std::optional<SampleFormat> format_;

  double wetGain_ = 0, dryGain_ = 0, inputGain_ = 0, feedbackGain_ = 0;
  double lowPassBack_ = 0, lowPassIn_ = 1;
  int tapCount_ = 0;
  bool modulated_ = false;
  std::array<std::array<double, kEchomtTaps>, 2> tapGains_{};  // left (or every channel), right
  std::array<double, kEchomtTaps> tapModDepth_{};              // frames, peak
  std::array<std::int32_t, kEchomtTaps> tapPosition_{};        // index into a line; runs down
  std::int32_t writePosition_ = 0;
  double modPhase_ = 0, modStep_ = 0;  // radians
  std::int32_t lineLength_ = 0;        // frames
  std::uint32_t tailLeft_ = 0;         // frames
  TailOnlyBudget tailOnly_;
  std::array<double, kMaxChannels> inputState_{};
  std::array<double, kMaxChannels> outputState_{};
  std::array<DelayLine, kMaxChannels> lines_;
};

}  // namespace korva
