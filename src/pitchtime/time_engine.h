#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "audio/param_source.h"
#include "pitchtime/stretch_core.h"
#include "pitchtime/stretch_engine.h"
#include "pitchtime/time_block.h"

namespace korva {

/// Changes a stream's length and keeps its pitch: the overlap-add core run on the stream itself.
///
/// The output comes close to the input's length times the ratio and is not trimmed to it: hops are whole frames.
/// Threads: `RaiseRebuild` from any thread, all else as `StretchEngine` says. Nothing here locks; the parameters come
/// through the source, under its owner's lock.
class TimeEngine final : public StretchEngine {
 public:
  /// `params` must outlive the engine.
  explicit TimeEngine(ParamSource<TimeParams>& params) noexcept : params_(params) {}

  /// The next configuration is a full one: raised by setters of `mode` and of the whole block.
  void RaiseRebuild() noexcept { rebuildNeeded_.store(true, std::memory_order_relaxed); }

  void SetFormat(const FormatRecord& format) noexcept override;
  void SetKeepPace(bool on) noexcept override {
    single_.SetKeepPace(on);
    wide_.SetKeepPace(on);
  }
  void ReserveForRows(bool on) noexcept override { reserve_ = on; }
  std::int32_t Reset() noexcept override { return ResetTime(); }
  void Release() noexcept override;
  std::int32_t PrepareInput(ProcessMode, void*, std::uint32_t) noexcept override { return kGoOn; }
  std::int32_t Process(ProcessMode mode, const void* source, std::uint32_t* sourceFrames, void* destination,
                       std::uint32_t* destinationFrames) noexcept override;

 private:
  template <class Visitor>
  decltype(auto) WithCore(Visitor&& visitor) noexcept;
  std::int32_t ResetTime() noexcept;
  std::int32_t ConfigureTime(const TimeParams& params) noexcept;

  ParamSource<TimeParams>& params_;
  std::atomic<bool> rebuildNeeded_{true};
  bool engineReady_ = false;
  bool hasRun_ = true;
  bool reserve_ = false, reserved_ = false;
  std::int32_t builtForMode_ = 0;

  std::uint32_t rate_ = 0;
  std::uint32_t channels_ = 0;
  std::optional<SampleFormat> format_;
  StretchCore<float> single_{StretchCore<float>::LastBlock::kStretchedLength};
  StretchCore<double> wide_{StretchCore<double>::LastBlock::kStretchedLength};
};

}  // namespace korva
