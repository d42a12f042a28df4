#pragma once

#include <cstdint>

#include "pitchtime/anti_alias.h"
#include "pitchtime/pitchs_block.h"
#include "pitchtime/resampler.h"
#include "pitchtime/stretch_core.h"
#include "pitchtime/stretch_engine.h"

namespace korva {

/// Shifts pitch by resampling; with the duration kept, the overlap-add core stretches the result back.
///
///     in ─▶ anti-alias low-pass (where pitch rises) ─▶ interpolator ─┬─────────────────▶ out     length changes
///                                                                    └─▶ overlap-add ──▶ out     length kept
///
/// The interpolator is the table of one sinc at any ratio, as in J. O. Smith and P. Gossett, "A Flexible Sampling-Rate
/// Conversion Method", Proc. ICASSP (1984).
///
/// With the duration kept, the output of a stream is as long as its input, save that with `resampleRatio` of 1.0 or
/// more an excess of the core is not cut. Without, it ends with the last frame whose taps the input could feed.
///
/// A full configuration follows a change of `accuracy`, `preserveDuration`, `mode` or `antiAlias`.
class PitchsEngine final : public ParamStretchEngine<PitchsParams> {
 public:
  /// `params` must outlive the engine.
  explicit PitchsEngine(ParamSource<PitchsParams>& params) noexcept : ParamStretchEngine(params) {}

  void SetKeepPace(bool on) noexcept override {
    single_.core.SetKeepPace(on);
    wide_.core.SetKeepPace(on);
  }
  /// 0, or out of memory for the stage. A configuration that fails shows at the next buffer.
  std::int32_t Reset() noexcept override { return ResetPitch(); }
  std::int32_t ResetPitch() noexcept;
  void Stop() noexcept override;
  /// Brings the engine in line and runs the anti-alias filter where it applies.
  std::int32_t PrepareInput(ProcessMode mode, void* buffer, std::uint32_t frames) noexcept override;
  /// In line with `params`, by a full configuration or with all audio kept.
  std::int32_t ConfigurePitch(const PitchsParams& params) noexcept;

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

  std::int32_t Update(const PitchsParams& params) noexcept override { return ConfigurePitch(params); }
  std::int32_t Run(ProcessMode mode, const void* source, void* destination, Counts& counts) noexcept override;
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

  // At a rate of 0 the position would never move on.
  std::uint32_t usedRate() const noexcept { return rate_ != 0 ? rate_ : 1; }

  PitchsParams builtFor_{};  // of the last full configuration
  bool preserveDuration_ = false;
  bool antiAlias_ = false;

  Resampler resampler_;
  AntiAliasFilter filter_;
  Lane<float> single_;
  Lane<double> wide_;
  std::uint32_t stageFilled_ = 0, stageTaken_ = 0;
  std::uint64_t totalIn_ = 0, totalOut_ = 0;
};

}  // namespace korva
