#include "pitchtime/pitchs_engine.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "audio/narrow.h"

namespace korva {
namespace {

// The filter's corner lies at 0.45 of the output's rate: below this ratio it would hardly cut anything.
constexpr double kFilterFromRatio = 1.1;

// The core moves on by at most a whole block.
constexpr double kLeastKeptRatio = 0.5;

}  // namespace

template <class Real>
PitchsEngine::Lane<Real>& PitchsEngine::GetLane() noexcept {
  if constexpr (std::is_same_v<Real, float>) {
    return single_;
  } else {
    return wide_;
  }
}

template <class Visitor>
decltype(auto) PitchsEngine::WithLane(Visitor&& visitor) noexcept {
  return usesDoubles() ? visitor(GetLane<double>()) : visitor(GetLane<float>());
}

void PitchsEngine::Stop() noexcept {
  resampler_.Free();
  single_.core.Free();
  wide_.core.Free();
  single_.stage.Release();
  single_.stage.KeepMemory(false);
  wide_.stage.Release();
  wide_.stage.KeepMemory(false);
  reserved_ = false;
  engineReady_ = false;
  RaiseRebuild();
}

double PitchsEngine::RatioFor(double transposition) const noexcept {
  const double pitch = ActingTransposition(transposition);
  const std::int64_t virtualRate = std::max<std::int64_t>(Truncate<std::int64_t>(usedRate() / pitch), 1);
  const double ratio = usedRate() / static_cast<double>(virtualRate);
  return preserveDuration_ && ratio < kLeastKeptRatio ? kLeastKeptRatio : ratio;
}

bool PitchsEngine::UsesFilter() const noexcept {
  return antiAlias_ && resampleRatio() > kFilterFromRatio;
}

void PitchsEngine::DesignFilterIfUsed() noexcept {
  if (UsesFilter()) filter_.DesignAntiAlias(0.5 / resampleRatio());
}

std::int32_t PitchsEngine::Rebuild(const PitchsParams& params) noexcept {
  engineReady_ = false;
  if (!format_) return kEngineFailed;
  const std::int32_t granted = resampler_.Configure(params.accuracy, channels_);
  if (granted < 0) return granted;
  resampler_.SetRatio(RatioFor(params.transposition));
  const std::int32_t result = WithLane([&](auto& lane) -> std::int32_t {
    using Real = std::remove_reference_t<decltype(lane.stage[0])>;
    if (!preserveDuration_) {
      resampler_.SetKernels(*format_, *format_);
      return kGoOn;
    }
    resampler_.SetKernels(*format_, kPlainFormat<Real>);
    if (lane.stage.empty() && !lane.stage.Allocate(std::size_t{kStageFrames} * channels_)) return kEngineOutOfMemory;
    lane.core.SetKernels(kPlainFormat<Real>, *format_);
    lane.core.MarkFirstBlock();
    return lane.core.ConfigureStretch(FindStretchMode(params.mode), usedRate(), channels_, resampleRatio());
  });
  if (result < 0) return result;
  DesignFilterIfUsed();
  builtFor_ = params;
  totalIn_ = 0;
  totalOut_ = 0;
  engineReady_ = true;
  return kGoOn;
}

/// Takes a new ratio up and keeps the audio in the history, the stage and the core.
void PitchsEngine::RenewRatio(const PitchsParams& params) noexcept {
  resampler_.SetRatio(RatioFor(params.transposition));
  if (preserveDuration_) {
    WithLane([&](auto& lane) {
      if (lane.core.ready()) lane.core.UpdateStretchRatio(resampleRatio());
    });
  }
  DesignFilterIfUsed();
}

bool PitchsEngine::IsBuiltFor(const PitchsParams& params) const noexcept {
  return params.accuracy == builtFor_.accuracy && params.preserveDuration == builtFor_.preserveDuration &&
         params.mode == builtFor_.mode && params.antiAlias == builtFor_.antiAlias;
}

std::int32_t PitchsEngine::ConfigurePitch(const PitchsParams& params) noexcept {
  // The comparison catches a setter that raised the flag between the snapshot and here: its value comes with the next
  // snapshot, when the flag is gone.
  const bool rebuild = TakeRebuild() || !IsBuiltFor(params);
  preserveDuration_ = params.preserveDuration != 0;
  antiAlias_ = params.antiAlias != 0;
  if (!rebuild) {
    RenewRatio(params);
    return kGoOn;
  }
  const std::int32_t result = Rebuild(params);
  if (result < 0) RaiseRebuild();
  return result;
}

std::int32_t PitchsEngine::ResetPitch() noexcept {
  RaiseRebuild();
  // Full and not empty: a stream that ends before it began plays the new, silent stage.
  stageFilled_ = kStageFrames;
  const bool reserve = reserve_ && !reserved_ && format_.has_value();
  const bool granted = WithLane([&](auto& lane) {
    lane.core.ClearLastBlockTaken();
    if (reserve) {
      lane.stage.KeepMemory(true);
      reserved_ =
          lane.core.ReserveForModes(usedRate(), channels_) >= 0 && resampler_.ReserveForAccuracies(channels_) >= 0;
      if (!reserved_) return false;
    }
    return lane.stage.Allocate(std::size_t{kStageFrames} * channels_);
  });
  if (!granted) {
    engineReady_ = false;
    return kEngineOutOfMemory;
  }
  PitchsParams params;
  params_.FetchParams(params);
  // A failure leaves the engine not ready, and the next buffer tries again.
  static_cast<void>(ConfigurePitch(params));
  hasRun_ = false;
  return kGoOn;
}

std::int32_t PitchsEngine::PrepareInput(ProcessMode mode, void* buffer, std::uint32_t frames) noexcept {
  // Before the filter runs: its history is part of the audio that a restart drops.
  if (mode == ModeRestart && hasRun_) {
    if (const std::int32_t result = ResetPitch(); result < 0) return result;
  }
  PitchsParams params;
  if (params_.FetchParams(params) || !engineReady_) {
    const std::int32_t result = ConfigurePitch(params);
    if (result < 0) return result;
  }
  if (UsesFilter()) filter_.FilterInPlace(*format_, buffer, channels_, frames);
  return kGoOn;
}

std::int32_t PitchsEngine::ProcessDirect(ProcessMode mode, const void* source, void* destination,
                                         Counts& counts) noexcept {
  // What lies in the taps is not drained; what found no room before is still made.
  if (mode == ModeFlush && !resampler_.holdsFrames()) {
    counts = {};
    return kFinished;
  }
  if (mode == ModeFlush) counts.source = 0;
  resampler_.ResamplePitch(source, counts.source, destination, counts.destination);
  return kGoOn;
}

template <class Real>
void PitchsEngine::FillStage(Lane<Real>& lane, ProcessMode mode, const void* source, std::uint32_t& taken) noexcept {
  if (mode == ModeFlush) taken = 0;
  // No further than the next block needs: then what `totalIn_` says while a block is emitted, and with it what is cut
  // of the block, does not hang on the size of buffers.
  std::uint32_t filled = std::min(kStageFrames, lane.core.missing());
  resampler_.ResamplePitch(source, taken, lane.stage.data(), filled);
  totalIn_ += taken;
  stageFilled_ = filled;
  stageTaken_ = 0;
}

template <class Real>
std::int32_t PitchsEngine::ProcessKept(Lane<Real>& lane, ProcessMode mode, const void* source, void* destination,
                                       Counts& counts) noexcept {
  const std::uint32_t room = counts.destination;
  std::uint32_t taken = 0, written = 0;
  std::int32_t result = kGoOn;
  // Once more where all that was written is cut: a call that gives nothing and takes nothing would look like the last.
  for (bool cut = true; cut && written == 0 && taken == 0 && result == kGoOn;) {
    if (!lane.core.emitting() && (mode != ModeFlush || (stageTaken_ == stageFilled_ && resampler_.holdsFrames()))) {
      taken = counts.source;
      FillStage(lane, mode, source, taken);
    }
    lane.core.SetEndOfInput(mode == ModeFlush && stageFilled_ == stageTaken_ && !resampler_.holdsFrames());

    std::uint32_t staged = stageFilled_ - stageTaken_;
    written = room;
    result =
        lane.core.RunStretch(lane.stage.data() + std::size_t{stageTaken_} * channels_, staged, destination, written);
    stageTaken_ += staged;
    totalOut_ += written;
    cut = totalOut_ > totalIn_ && resampleRatio() < 1.0;
    if (cut) {
      written -= static_cast<std::uint32_t>(std::min<std::uint64_t>(totalOut_ - totalIn_, written));
      totalOut_ = totalIn_;
      if (mode == ModeFlush) result = kFinished;
    } else if (result == kFinished && totalIn_ > totalOut_ && written == 0) {
      // Zero bytes also in 8 bits, where they are not silence.
      written = static_cast<std::uint32_t>(std::min<std::uint64_t>(totalIn_ - totalOut_, room));
      if (written != 0) std::memset(destination, 0, std::size_t{written} * SampleBytes(*format_) * channels_);
      totalOut_ += written;
      result = totalOut_ >= totalIn_ ? kFinished : kGoOn;
    }
  }
  counts = {taken, written};
  return result;
}

std::int32_t PitchsEngine::Run(ProcessMode mode, const void* source, void* destination, Counts& counts) noexcept {
  resampler_.SetPrimeRing(mode == ModeRestart);
  return preserveDuration_ ? WithLane([&](auto& lane) { return ProcessKept(lane, mode, source, destination, counts); })
                           : ProcessDirect(mode, source, destination, counts);
}

}  // namespace korva
