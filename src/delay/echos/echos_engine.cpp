#include "delay/echos/echos_engine.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "audio/gain.h"
#include "audio/narrow.h"
#include "audio/sample_lanes.h"

namespace korva {
namespace {

constexpr std::uint32_t kShortestLine = 2;
constexpr std::int32_t kLastDelayNote = 17;
constexpr std::uint32_t kLongestReserve = 12;  // seconds: the longest note times its most, at 60 beats a minute

// Echoes fall to this level, about -30 dB, in the decay time.
constexpr double kDecayLevel = 0.0316;
constexpr double kShortestDecay = 0.1;  // of the delay; below it there is no feedback

struct PairGains {
  Pair feedback, dry, wet;
};

template <class Format, bool kReadInput>
void EchoFour(double* line, typename Format::Sample* samples, const PairGains& gains) noexcept {
  const Pair delayedA = Pair::Load(line), delayedB = Pair::Load(line + 2);
  const Four x = kReadInput ? ReadFour(Format{}, samples) : Four{Pair::Broadcast(0.0), Pair::Broadcast(0.0)};
  (delayedA * gains.feedback + x.a).Store(line);
  (delayedB * gains.feedback + x.b).Store(line + 2);
  WriteFour(Format{}, {x.a * gains.dry + delayedA * gains.wet, x.b * gains.dry + delayedB * gains.wet}, samples);
}

template <class Format, bool kReadInput>
void Echo(double* line, typename Format::Sample* samples, std::size_t count, const PairGains& gains) noexcept {
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4) EchoFour<Format, kReadInput>(line + i, samples + i, gains);
  if (i == count) return;
  double lastLine[4] = {};
  typename Format::Sample last[4] = {};
  std::copy(line + i, line + count, lastLine);
  std::copy(samples + i, samples + count, last);
  EchoFour<Format, kReadInput>(lastLine, last, gains);
  std::copy_n(lastLine, count - i, line + i);
  std::copy_n(last, count - i, samples + i);
}

}  // namespace

void EchosEngine::SetFormat(const FormatRecord& format) noexcept {
  rate_ = format.samplesPerSecond;
  channels_ = std::min(format.channels, kMaxChannels);
  format_ = SampleFormatOf(format);
  line_ = position_ = 0;
}

std::uint32_t EchosEngine::LineLength(const EchosParams& params, const TempoInfo* tempo) const noexcept {
  std::uint32_t length = 0;
  if (params.tempoSyncDelay != 0 && tempo != nullptr) {
    const double beats = NoteBeats(*tempo, std::min(params.delayNote, kLastDelayNote));
    length = Truncate<std::uint32_t>(BeatSeconds(*tempo) * beats * (params.delayMultiplier / 1000.0) * rate_ + 0.5);
  } else {
    // Cut where it is longer than any memory holds.
    const std::int64_t exact = (std::int64_t{params.delayMs} * rate_ + 500) / 1000;
    length = static_cast<std::uint32_t>(std::clamp<std::int64_t>(exact, 0, std::numeric_limits<std::uint32_t>::max()));
  }
  if (reserve_) length = std::min(length, rate_ * kLongestReserve);
  return std::max(length, kShortestLine);
}

std::uint32_t EchosEngine::DecayLength(const EchosParams& params, const TempoInfo* tempo) const noexcept {
  if (params.multipleDelays == 0) return 0;
  const double samplesPerSecond = static_cast<double>(rate_) * channels_;
  if (params.tempoSyncDecay != 0 && tempo != nullptr) {
    const double seconds = NoteBeats(*tempo, params.decayNote) * BeatSeconds(*tempo);
    return Truncate<std::uint32_t>(samplesPerSecond * seconds * (params.decayMultiplier / 1000.0));
  }
  return Truncate<std::uint32_t>(samplesPerSecond * params.decayTenths / 10.0);
}

// The decay counts the samples of all channels here, so a stereo stream's budget holds it twice.
std::uint32_t EchosEngine::TailOnlyFrames() const noexcept {
  return TailFrames(std::uint64_t{delayLength_} + (feedbackGain_ != 0.0 ? decayLength_ : 0U));
}

bool EchosEngine::HasLines() const noexcept {
  if (delayLength_ == 0 || channels_ == 0) return false;
  return std::all_of(lines_.begin(), lines_.begin() + channels_,
                     [this](const auto& line) { return line.size() == delayLength_; });
}

void EchosEngine::WipeLines() noexcept {
  for (auto& line : lines_) line.Wipe();
}

std::int32_t EchosEngine::ReserveLines() noexcept {
  const std::size_t longest = std::max(std::size_t{rate_} * kLongestReserve, std::size_t{kShortestLine});
  for (std::size_t c = 0; c < channels_; ++c) {
    if (lines_[c].capacity() != longest && !lines_[c].Reserve(longest)) return kEngineOutOfMemory;
  }
  return 0;
}

std::int32_t EchosEngine::StartLines(std::uint32_t length, bool fresh) noexcept {
  if (reserve_ && ReserveLines() < 0) return kEngineOutOfMemory;
  StreamBudget budget;
  for (std::size_t c = 0; c < channels_; ++c) {
    auto& line = lines_[c];
    if (!fresh && line.size() == length && budget.Take(length, sizeof(double))) {
      line.Wipe();
    } else if (!line.Allocate(length, budget)) {
      return kEngineOutOfMemory;
    }
  }
  line_ = position_ = 0;
  tailLeft_ = TailFrames(std::uint64_t{decayLength_} / channels_ + length);
  return 0;
}

std::int32_t EchosEngine::BuildDelayLines(const EchosParams& params, ProcessMode mode,
                                          const TempoInfo* tempo) noexcept {
  if (channels_ == 0) return kEngineFailed;
  const std::uint32_t length = LineLength(params, tempo);
  decayLength_ = DecayLength(params, tempo);
  const double ratio = decayLength_ / (static_cast<double>(channels_) * length);
  feedbackGain_ = ratio < kShortestDecay ? 0.0 : std::pow(kDecayLevel, 1.0 / ratio);

  if (length == delayLength_) {
    // Lines may be missing in any mode: freed at a stop, or lost to an update that ran out of memory.
    return mode == ModeRestart || !HasLines() ? StartLines(length, false) : 0;
  }
  if (const std::int32_t result = StartLines(length, true); result != 0) return result;
  delayLength_ = length;
  tailOnly_.Arm(TailOnlyFrames());
  tailOnly_.ClearDone();
  return 0;
}

std::int32_t EchosEngine::UpdateEngine(const EchosParams& params, ProcessMode mode, const TempoInfo* tempo) noexcept {
  delayOutGain_ = GainFromTenths(params.delayOut);
  dryOutGain_ = GainFromTenths(params.dryOut);
  const std::int32_t result = BuildDelayLines(params, mode, tempo);
  engineReady_ = result >= 0;
  return result;
}

void EchosEngine::FreeDelayLines() noexcept {
  for (auto& line : lines_) line.Free();
}

void EchosEngine::EnterBypass() noexcept {
  if (!bypassCleared_) WipeLines();
  bypassCleared_ = true;
}

template <class Format, bool kReadInput>
void EchosEngine::Run(typename Format::Sample* buffer, std::size_t samples) noexcept {
  const PairGains gains{Pair::Broadcast(feedbackGain_), Pair::Broadcast(dryOutGain_), Pair::Broadcast(delayOutGain_)};
  while (samples != 0) {
    const std::size_t run = std::min(samples, delayLength_ - position_);
    lines_[line_].Clean(position_, run);
    Echo<Format, kReadInput>(lines_[line_].data() + position_, buffer, run, gains);
    buffer += run;
    samples -= run;
    position_ += run;
    if (position_ == delayLength_) {
      position_ = 0;
      line_ = line_ + 1 == channels_ ? 0 : line_ + 1;
    }
  }
}

template <class Format>
std::int32_t EchosEngine::Kernel(ProcessMode mode, typename Format::Sample* buffer, std::uint32_t& frameCount,
                                 bool tailOnly) noexcept {
  if (tailOnly_.done() && tailOnly) {
    frameCount = 0;
    return kFinished;
  }
  if (!HasLines()) {
    frameCount = 0;
    return kEngineFailed;
  }
  std::uint32_t frames = frameCount;
  if (tailOnly) {
    frames = tailOnly_.Take(frames);
  } else {
    if (tailOnly_.done()) engineReady_ = false;
    tailOnly_.ClearDone();
    tailOnly_.Arm(TailOnlyFrames());
  }

  std::int32_t result = kGoOn;
  if (mode == ModeFlush) {
    frames = TakeFrames(tailLeft_, frames);
    if (tailLeft_ == 0 || !std::is_same_v<Format, Float32>) result = kFinished;
  }
  frameCount = frames;
  const std::size_t samples = static_cast<std::size_t>(frames) * channels_;
  // A flushed 8-bit buffer is not read: its silence is taken for granted.
  if (std::is_same_v<Format, Pcm8> && mode == ModeFlush) {
    Run<Format, false>(buffer, samples);
  } else {
    Run<Format, true>(buffer, samples);
  }
  return result;
}

std::int32_t EchosEngine::Process(ProcessMode mode, void* buffer, std::uint32_t& frameCount, bool tailOnly) noexcept {
  if (!format_) {
    frameCount = 0;
    return kEngineFailed;
  }
  return VisitFormat(*format_, [&](auto policy) {
    using Format = decltype(policy);
    return Kernel<Format>(mode, static_cast<typename Format::Sample*>(buffer), frameCount, tailOnly);
  });
}

}  // namespace korva
