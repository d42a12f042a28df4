#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "audio/format_record.h"
#include "audio/param_source.h"
#include "audio/process_mode.h"
#include "pitchtime/sample_kernels.h"

namespace korva {

/// What the streaming loop of the two effects of variable length sees of an engine.
///
/// Frames are interleaved, in the stream's format. Every call comes from the streaming thread, or from the thread that
/// starts and stops the stream while none runs. Results: 0 go on, 1 no more to give, negative a failure.
class StretchEngine {
 public:
  StretchEngine() = default;
  StretchEngine(const StretchEngine&) = delete;
  StretchEngine& operator=(const StretchEngine&) = delete;
  virtual ~StretchEngine() = default;

  /// Makes the engine ready for a stream of `format`, on both sides; then as `Reset`. Outside 1 to 32 channels or the
  /// five sample formats nothing is run.
  virtual std::int32_t Start(const FormatRecord& format) noexcept = 0;

  /// Frees all memory.
  virtual void Stop() noexcept = 0;

  /// Keeps pace with the ratio over any time; see `StretchCore::SetKeepPace`. Between streams.
  virtual void SetKeepPace(bool on) noexcept = 0;

  /// From the next stream on: memory for every mode and quality is taken with the stream, and no change while it runs
  /// asks for any.
  virtual void ReserveForRows(bool on) noexcept = 0;

  /// Full restart: when streaming starts, and on a discontinuity in a running stream (`Process` does that one itself).
  virtual std::int32_t Reset() noexcept = 0;

  /// Works on a whole input buffer in place, once, before any of it goes to `Process`. `mode` is that of the first call
  /// of `Process` for it. A failure ends the buffer.
  virtual std::int32_t PrepareInput(ProcessMode mode, void* buffer, std::uint32_t frames) noexcept = 0;

  /// Takes up to `*sourceFrames` frames and writes up to `*destinationFrames`; both come back as what was taken and
  /// written. A null count is 0, and nothing is reported.
  ///
  /// Given a source and room for a frame, every call takes or writes frames. In `ModeFlush`, given room for a frame,
  /// the result comes to be 1, and at most two calls in a row write nothing before it does; such a call is not yet the
  /// end.
  virtual std::int32_t Process(ProcessMode mode, const void* source, std::uint32_t* sourceFrames, void* destination,
                               std::uint32_t* destinationFrames) noexcept = 0;
};

/// What the two engines share: the format, when the parameters are fetched, and what each of them asks for.
///
/// Threads: `RaiseRebuild` from any thread, all else as `StretchEngine` says. Nothing here locks; the parameters come
/// through the source, under its owner's lock.
template <class Params>
class ParamStretchEngine : public StretchEngine {
 public:
  /// The next update is a full one: for setters of what the engine is built from, and of the whole block.
  void RaiseRebuild() noexcept { rebuildNeeded_.store(true, std::memory_order_relaxed); }

  void ReserveForRows(bool on) noexcept final { reserve_ = on; }
  std::int32_t Start(const FormatRecord& format) noexcept final {
    SetFormat(format);
    return Reset();
  }
  std::int32_t Process(ProcessMode mode, const void* source, std::uint32_t* sourceFrames, void* destination,
                       std::uint32_t* destinationFrames) noexcept final;

 protected:
  struct Counts {
    std::uint32_t source, destination;
  };

  /// `params` must outlive the engine.
  explicit ParamStretchEngine(ParamSource<Params>& params) noexcept : params_(params) {}

  /// Brings the engine in line with `params`, by a full configuration where one is needed. 0 or a negative code.
  virtual std::int32_t Update(const Params& params) noexcept = 0;
  /// `Process` of an engine that is ready.
  virtual std::int32_t Run(ProcessMode mode, const void* source, void* destination, Counts& counts) noexcept = 0;

  /// Takes the mark; what is asked for after this waits for the next update.
  bool TakeRebuild() noexcept { return rebuildNeeded_.exchange(false, std::memory_order_relaxed) || !engineReady_; }
  bool usesDoubles() const noexcept { return format_ && NeedsDoubles(*format_); }

  ParamSource<Params>& params_;
  bool engineReady_ = false;
  bool hasRun_ = true;
  bool reserve_ = false, reserved_ = false;  // memory for all that rows can ask for: wanted, and there
  std::uint32_t rate_ = 0;
  std::uint32_t channels_ = 0;
  std::optional<SampleFormat> format_;

 private:
  void SetFormat(const FormatRecord& format) noexcept;

  std::atomic<bool> rebuildNeeded_{true};
};

/// Another format than before drops what is held; the next call rebuilds.
template <class Params>
void ParamStretchEngine<Params>::SetFormat(const FormatRecord& format) noexcept {
  const auto sampleFormat =
      format.channels >= 1 && format.channels <= kMaxChannels ? SampleFormatOf(format) : std::nullopt;
  if (sampleFormat == format_ && format.samplesPerSecond == rate_ && format.channels == channels_) return;
  Stop();
  format_ = sampleFormat;
  rate_ = format.samplesPerSecond;
  channels_ = format.channels;
}

template <class Params>
std::int32_t ParamStretchEngine<Params>::Process(ProcessMode mode, const void* source, std::uint32_t* sourceFrames,
                                                 void* destination, std::uint32_t* destinationFrames) noexcept {
  Counts counts{sourceFrames != nullptr && source != nullptr ? *sourceFrames : 0,
                destinationFrames != nullptr && destination != nullptr ? *destinationFrames : 0};
  if (sourceFrames != nullptr) *sourceFrames = 0;
  if (destinationFrames != nullptr) *destinationFrames = 0;

  Params params;
  const bool changed = params_.FetchParams(params);
  std::int32_t result = kGoOn;
  if (mode == ModeRestart && hasRun_) {
    result = Reset();
  } else if ((changed || !engineReady_) && mode != ModeFlush) {
    result = Update(params);
  }
  if (result < 0) return result;
  hasRun_ = true;
  if (!engineReady_) return mode == ModeFlush ? kFinished : format_ ? kEngineOutOfMemory : kEngineFailed;

  result = Run(mode, source, destination, counts);
  if (sourceFrames != nullptr) *sourceFrames = counts.source;
  if (destinationFrames != nullptr) *destinationFrames = counts.destination;
  return result;
}

}  // namespace korva
