#include "pitchtime/time_engine.h"

namespace korva {

template <class Visitor>
decltype(auto) TimeEngine::WithCore(Visitor&& visitor) noexcept {
  return usesDoubles() ? visitor(wide_) : visitor(single_);
}

void TimeEngine::Stop() noexcept {
  single_.Free();
  wide_.Free();
  reserved_ = false;
  engineReady_ = false;
  RaiseRebuild();
}

std::int32_t TimeEngine::ConfigureTime(const TimeParams& params) noexcept {
  const double stretchRatio = params.percentTimes100 / 10000.0;
  // The comparison catches a setter that raised the flag between the snapshot and here.
  if (!TakeRebuild() && params.mode == builtForMode_) {
    WithCore([&](auto& core) { core.UpdateStretchRatio(stretchRatio); });
    return kGoOn;
  }
  engineReady_ = false;
  // The next block fades in from silence: unlike the pitch shifter, no first block is marked here.
  const std::int32_t result = !format_ ? kEngineFailed : WithCore([&](auto& core) {
    core.SetKernels(*format_, *format_);
    return core.ConfigureStretch(FindStretchMode(params.mode), rate_, channels_, stretchRatio);
  });
  if (result < 0) {
    RaiseRebuild();
    return result;
  }
  builtForMode_ = params.mode;
  engineReady_ = true;
  return kGoOn;
}

std::int32_t TimeEngine::ResetTime() noexcept {
  RaiseRebuild();
  if (reserve_ && !reserved_ && format_) {
    reserved_ = WithCore([&](auto& core) {
      core.SetKernels(*format_, *format_);
      return core.ReserveForModes(rate_, channels_) >= 0;
    });
    if (!reserved_) return kEngineOutOfMemory;
  }
  TimeParams params;
  params_.FetchParams(params);
  const std::int32_t result = ConfigureTime(params);
  WithCore([](auto& core) {
    core.MarkFirstBlock();
    core.ClearLastBlockTaken();
  });
  hasRun_ = false;
  return result;
}

std::int32_t TimeEngine::Run(ProcessMode mode, const void* source, void* destination, Counts& counts) noexcept {
  return WithCore([&](auto& core) {
    core.SetEndOfInput(mode == ModeFlush);
    return core.RunStretch(source, counts.source, destination, counts.destination);
  });
}

}  // namespace korva
