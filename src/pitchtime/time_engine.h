#pragma once

#include <cstdint>

#include "pitchtime/stretch_core.h"
#include "pitchtime/stretch_engine.h"
#include "pitchtime/time_block.h"

namespace korva {

/// Changes a stream's length and keeps its pitch: the overlap-add core run on the stream itself.
///
/// The output comes close to the input's length times the ratio and is not trimmed to it: hops are whole frames.
/// A full configuration follows a change of `mode`.
class TimeEngine final : public ParamStretchEngine<TimeParams> {
 public:
  /// `params` must outlive the engine.
  explicit TimeEngine(ParamSource<TimeParams>& params) noexcept : ParamStretchEngine(params) {}

  void SetKeepPace(bool on) noexcept override {
    single_.SetKeepPace(on);
    wide_.SetKeepPace(on);
  }
  std::int32_t Reset() noexcept override { return ResetTime(); }
  std::int32_t ResetTime() noexcept;
  void Stop() noexcept override;
  std::int32_t PrepareInput(ProcessMode, void*, std::uint32_t) noexcept override { return kGoOn; }
  std::int32_t ConfigureTime(const TimeParams& params) noexcept;

 private:
  template <class Visitor>
  decltype(auto) WithCore(Visitor&& visitor) noexcept;
  std::int32_t Update(const TimeParams& params) noexcept override { return ConfigureTime(params); }
  std::int32_t Run(ProcessMode mode, const void* source, void* destination, Counts& counts) noexcept override;

  std::int32_t builtForMode_ = 0;
  StretchCore<float> single_{StretchCore<float>::LastBlock::kStretchedLength};
  StretchCore<double> wide_{StretchCore<double>::LastBlock::kStretchedLength};
};

}  // namespace korva
