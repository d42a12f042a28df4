#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "audio/param_source.h"
#include "pitchtime/anti_alias.h"
#include "pitchtime/pitchs_block.h"
#include "pitchtime/resampler.h"
#include "pitchtime/stretch_core.h"
#include "pitchtime/stretch_engine.h"

namespace korva {

/// Shifts pitch by resampling; with the duration kept, the overlap-add core stretches the result back.
///
/// With the duration kept, the output of a stream is as long as its input, save that with `resampleRatio` of 1.0 or
/// more an excess of the core is not cut. Without, it ends with the last frame whose taps the input could feed.
///
/// Threads: `RaiseRebuild` from any thread, all else as `StretchEngine` says. Nothing here locks; the parameters come
/// through the source, under its owner's lock.
class PitchsEngine final : public StretchEngine {
 public:
  /// `params` must outlive the engine.
  explicit PitchsEngine(ParamSource<PitchsParams>& params) noexcept : params_(params) {}

  /// The next configuration is a full one: raised by setters of `accuracy`, `preserveDuration`, `mode` and `antiAlias`
  /// and of the whole block.
  void RaiseRebuild() noexcept { rebuildNeeded_.store(true, std::memory_order_relaxed); }

  void SetFormat(const FormatRecord& format) noexcept override;
  void SetKeepPace(bool on) noexcept override {
    single_.core.SetKeepPace(on);
    wide_.core.SetKeepPace(on);
  }
  void ReserveForRows(bool on) noexcept override { reserve_ = on; }
  /// 0, or out of memory for the stage. A configuration that fails shows at the next buffer.
  std::int32_t Reset() noexcept override { return ResetPitch(); }
  void Release() noexcept override;
  /// Brings the engine in line and runs the anti-alias filter where it applies.
  std::int32_t PrepareInput(ProcessMode mode, void* buffer, std::uint32_t frames) noexcept override;
  std::int32_t Process(ProcessMode mode, const void* source, std::uint32_t* sourceFrames, void* destination,
                       std::uint32_t* destinationFrames) noexcept override;

  /// Input frames per output frame of the interpolator in force.
  double resampleRatio() const noexcept { return resampler_.ratio(); }

 private:
  static constexpr std::uint32_t kStageFrames = 2048;

  // What works in one precision of blocks.
  template <class Real>
  struct Lane {
    StretchCore<Real> core{StretchCore<Real>::LastBlock::kInputLength};
    ZeroedBuffer<Real> stage;  // kStageFrames frames
  };
  template <class Real>
  Lane<Real>& GetLane() noexcept;
  /// Calls `visitor` with the lane of the stream's precision.
  template <class Visitor>
  decltype(auto) WithLane(Visitor&& visitor) noexcept;

  struct Counts {
    std::uint32_t source, destination;
  };

  std::int32_t ResetPitch() noexcept;
  std::int32_t ConfigurePitch(const PitchsParams& params) noexcept;
  std::int32_t Rebuild(const PitchsParams& params) noexcept;
  void RenewRatio(const PitchsParams& params) noexcept;
  double RatioFor(double transposition) const noexcept;
  bool IsBuiltFor(const PitchsParams& params) const noexcept;
  void DesignFilterIfUsed() noexcept;
  bool UsesFilter() const noexcept;
  std::int32_t ProcessDirect(ProcessMode mode, const void* source, void* destination, Counts& counts) noexcept;
  template <class Real>
  void FillStage(Lane<Real>& lane, ProcessMode mode, const void* source, std::uint32_t& taken) noexcept;
  template <class Real>
  std::int32_t ProcessKept(Lane<Real>& lane, ProcessMode mode, const void* source, void* destination,
                           Counts& counts) noexcept;

  ParamSource<PitchsParams>& params_;
  std::atomic<bool> rebuildNeeded_{true};
  PitchsParams builtFor_{};  // of the last full configuration
  bool engineReady_ = false;
  bool hasRun_ = true;
  bool reserve_ = false, reserved_ = false;
  bool preserveDuration_ = false;
  bool antiAlias_ = false;

  std::uint32_t rate_ = 1;
  std::uint32_t channels_ = 0;
  std::uint32_t frameBytes_ = 0;
  std::optional<SampleFormat> format_;

  Resampler resampler_;
  AntiAliasFilter filter_;
  Lane<float> single_;
  Lane<double> wide_;
  std::uint32_t stageFilled_ = 0, stageTaken_ = 0;
  std::uint64_t totalIn_ = 0, totalOut_ = 0;
};

}  // namespace korva
