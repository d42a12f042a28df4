#include "reverb/reverb_engine.h"

#include <algorithm>

#include "audio/sample_lanes.h"
#include "platform/cpu.h"
#include "platform/services.h"
#include "reverb/reverb_team.h"

namespace korva {
namespace {

// Samples below which a buffer is sooner done by the calling thread than shared out.
constexpr std::size_t kTeamWorth = 4096;

}  // namespace

ReverbEngine::ReverbEngine(ParamSource<ReverbParams>& source) noexcept
    : source_(source),
      useVectorKernel_(QvGetCPUSupport(kCpuVectorMask) & kCpuSse2),
      threads_(platform::ProcessorCount()) {}

ReverbEngine::~ReverbEngine() {
  ReverbRelease();
}

void ReverbEngine::SetFormat(const FormatRecord& format) noexcept {
  const bool usable = format.channels >= 1 && format.channels <= kMaxChannels;
  rate_ = format.samplesPerSecond;
  channels_ = usable ? format.channels : 0;
  format_ = usable ? SampleFormatOf(format) : std::nullopt;
  ringsFit_ = false;
  engineReady_ = false;
  tailOnly_.ClearDone();
  MarkLinesStale(true);
}

std::int32_t ReverbEngine::ReverbReset() noexcept {
  streaming_ = true;
  MarkLinesStale(true);
  team_.Start(SharesChannels() && !reserve_ ? std::min(threads_, (channels_ + 1) / 2) : 1);
  ReverbParams params{};
  source_.FetchParams(params);
  const std::int32_t result = UpdateEngine(params, ModeRestart);
  hasRun_ = false;
  tailOnly_.ClearDone();
  return result;
}

void ReverbEngine::ReverbRelease() noexcept {
  FreeRings();
  streaming_ = false;
  engineReady_ = false;
  team_.Stop();
}

std::int32_t ReverbEngine::ReverbProcess(ProcessMode mode, void* buffer, std::uint32_t& frames,
                                         bool tailOnly) noexcept {
  if (tailOnly_.done()) {
    if (tailOnly) {
      frames = 0;
      return kFinished;
    }
    tailOnly_.ClearDone();
    engineReady_ = false;
  }
  ReverbParams params{};
  const bool changed = source_.FetchParams(params);
  std::int32_t result = kGoOn;
  if (mode == ModeRestart && hasRun_) {
    result = ReverbReset();
  } else if ((changed || !engineReady_) && mode != ModeFlush) {
    result = UpdateEngine(params, mode);
  }
  if (result < 0) {
    frames = 0;
    return result;
  }
  hasRun_ = true;
  if (!ringsFit_) {
    // Flushed with nothing to ring out, or run without a start.
    frames = 0;
    return mode == ModeFlush ? kFinished : kEngineFailed;
  }
  if (mode == ModeFlush) {
    frames = TakeFrames(tailLeft_, frames);
    if (tailLeft_ == 0) result = kFinished;
  }
  if (tailOnly) {
    frames = tailOnly_.Take(frames);
  } else {
    tailOnly_.Arm(tailLength_);
  }
  if (bypass_) return result;
  if (mode == ModeRestart && channels_ == 2 && useVectorKernel_) platform::SetFlushDenormals();
  VisitFormat(*format_, [&](auto policy) {
    using Format = decltype(policy);
    Run<Format>(static_cast<typename Format::Sample*>(buffer), frames);
  });
  return result;
}

template <class Format>
void ReverbEngine::Run(typename Format::Sample* samples, std::uint32_t frames) noexcept {
  if (channels_ == 2) return RunStereo<Format>(samples, frames);
  if (team_.size() > 1 && !reserve_ && channels_ * frames >= kTeamWorth) return RunTeam<Format>(samples, frames);
  while (frames != 0) {
    const std::uint32_t run = std::min<std::uint32_t>(frames, kReverbBlock);
    for (std::size_t c = 0; c < channels_; c += 2) RunChannels<Format>(c, samples, run);
    samples += run * channels_;
    frames -= run;
  }
}

template <class Format>
void ReverbEngine::RunStereo(typename Format::Sample* samples, std::uint32_t frames) noexcept {
  const auto kernel = useVectorKernel_ ? &RunReverbStereoVector : &RunReverbStereoPlain;
  double block[2 * kReverbBlock];
  while (frames != 0) {
    const std::uint32_t run = std::min<std::uint32_t>(frames, kReverbBlock);
    ReadSamples<Format>(samples, std::size_t{2} * run, 1.0, block);
    kernel(network_[0], network_[1], mix_, block, run);
    WriteSamples<Format>(block, std::size_t{2} * run, samples);
    samples += 2 * run;
    frames -= run;
  }
}

/// Channel `first`, and its neighbour where there is one.
template <class Format>
void ReverbEngine::RunChannels(std::size_t first, typename Format::Sample* samples, std::uint32_t frames) noexcept {
  const std::size_t stride = channels_;
  const bool alone = first + 1 == stride;
  samples += first;
  double block[2 * kReverbBlock];
  while (frames != 0) {
    const std::size_t run = std::min<std::size_t>(frames, kReverbBlock);
    if (alone) {
      for (std::size_t i = 0; i < run; ++i) block[i] = Format::Read(samples[i * stride]);
      RunReverbChannel(network_[first], mix_, block, run);
      for (std::size_t i = 0; i < run; ++i) samples[i * stride] = Format::Write(block[i]);
    } else {
      for (std::size_t i = 0; i < run; ++i) {
        block[2 * i] = Format::Read(samples[i * stride]);
        block[2 * i + 1] = Format::Read(samples[i * stride + 1]);
      }
      RunReverbTwoChannels(network_[first], network_[first + 1], mix_, block, run);
      for (std::size_t i = 0; i < run; ++i) {
        samples[i * stride] = Format::Write(block[2 * i]);
        samples[i * stride + 1] = Format::Write(block[2 * i + 1]);
      }
    }
    samples += run * stride;
    frames -= static_cast<std::uint32_t>(run);
  }
}

// Whole-number streams are not shared out. Nor is mono: it would be a team with one busy worker.
bool ReverbEngine::SharesChannels() const noexcept {
  return channels_ > 2 && format_ && IsFloat(*format_);
}

template <class Format>
void ReverbEngine::RunTeam(typename Format::Sample* samples, std::uint32_t frames) noexcept {
  struct Job {
    ReverbEngine* engine;
    typename Format::Sample* samples;
    std::uint32_t frames;
  } job{this, samples, frames};
  // Each channel has its own frame counter, so the samples are those of one thread whatever the size of the team.
  team_.Run((channels_ + 1) / 2,
            [](void* context, std::size_t first, std::size_t last) {
              const Job& shared = *static_cast<const Job*>(context);
              for (std::size_t item = first; item < last; ++item) {
                shared.engine->template RunChannels<Format>(2 * item, shared.samples, shared.frames);
              }
            },
            &job);
}

}  // namespace korva
