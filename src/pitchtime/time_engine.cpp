#include "pitchtime/time_engine.h"

namespace korva {

template <class Visitor>
decltype(auto) TimeEngine::WithCore(Visitor&& visitor) noexcept {
  return format_ && NeedsDoubles(*format_) ? visitor(wide_) : visitor(single_);
}

void TimeEngine::SetFormat(const FormatRecord& format) noexcept {
  const auto sampleFormat =
      format.channels >= 1 && format.channels <= kMaxChannels ? SampleFormatOf(format) : std::nullopt;
  if (sampleFormat == format_ && format.samplesPerSecond == rate_ && format.channels == channels_) return;
  Release();
  format_ = sampleFormat;
  rate_ = format.samplesPerSecond;
  channels_ = format.channels;
}

void TimeEngine::Release() noexcept {
  single_.Free();
  wide_.Free();
  reserved_ = false;
  engineReady_ = false;
  RaiseRebuild();
}

std::int32_t TimeEngine::ConfigureTime(const TimeParams& params) noexcept {
  const double stretchRatio = params.percentTimes100 / 10000.0;
  // The comparison catches a setter that raised the flag between the snapshot and here.
  const bool raised = rebuildNeeded_.exchange(false, std::memory_order_relaxed);
  if (!raised && engineReady_ && params.mode == builtForMode_) {
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

std::int32_t TimeEngine::Process(ProcessMode mode, const void* source, std::uint32_t* sourceFrames, void* destination,
                                 std::uint32_t* destinationFrames) noexcept {
  std::uint32_t taken = sourceFrames != nullptr && source != nullptr ? *sourceFrames : 0;
  std::uint32_t written = destinationFrames != nullptr && destination != nullptr ? *destinationFrames : 0;
  if (sourceFrames != nullptr) *sourceFrames = 0;
  if (destinationFrames != nullptr) *destinationFrames = 0;

  TimeParams params;
  const bool changed = params_.FetchParams(params);
  if (mode == ModeRestart && hasRun_) {
    const std::int32_t result = ResetTime();
    if (result < 0) return result;
  } else if ((changed || !engineReady_) && mode != ModeFlush) {
    const std::int32_t result = ConfigureTime(params);
    if (result < 0) return result;
  }
  hasRun_ = true;
  if (!engineReady_) return kFinished;

  const std::int32_t result = WithCore([&](auto& core) {
    core.SetEndOfInput(mode == ModeFlush);
    return core.RunStretch(source, taken, destination, written);
  });
  if (sourceFrames != nullptr) *sourceFrames = taken;
  if (destinationFrames != nullptr) *destinationFrames = written;
  return result;
}

}  // namespace korva
