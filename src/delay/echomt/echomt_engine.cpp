#include "delay/echomt/echomt_engine.h"

#include <algorithm>
#include <cmath>

#include "audio/gain.h"
#include "audio/narrow.h"
#include "audio/pi.h"

namespace korva {
namespace {

constexpr std::int32_t kShortestLine = 2;
constexpr double kEndlessTailSeconds = 20.0;
constexpr std::int32_t kLongestTapMs = 2500, kMostModDepth = 100;
constexpr double kMostOffsetMs = 0.457;

// The character of the effect: no two taps move alike, and each lies a fraction of a millisecond off the grid that
// the user sets.
constexpr std::array<double, kEchomtTaps> kModFactor = {0.7, 0.9, 0.4, 0.6, 0.8, 0.9, 0.1, 0.9};
constexpr std::array<double, kEchomtTaps> kOffsetMs = {0.123, 0.377, -0.411, 0.095, -0.301, -0.253, 0.457, 0.179};

// The line that a longest tap of `frames` needs, with room to swing.
double LineReach(std::int64_t frames, double modBase) noexcept {
  return static_cast<double>(frames) * 1.05 + modBase * 4.0;
}

double ModBase(std::int32_t depth, std::uint32_t rate) noexcept {
  return depth * 3e-5 * rate;
}

// Passes over the line until the feedback has taken the sound down by e to the -3, times the line.
std::uint32_t TailLength(double loop, std::int32_t lineLength, std::uint32_t rate) noexcept {
  if (!(loop > 0.0)) return TailFrames(static_cast<std::uint32_t>(lineLength));
  if (loop >= 1.0) return TailFrames(Truncate<std::uint64_t>(rate * kEndlessTailSeconds + 0.5));
  const auto passes = Truncate<std::uint32_t>(1.0 - 3.0 / std::log(loop) + 0.5);
  return TailFrames(std::uint64_t{passes} * static_cast<std::uint32_t>(lineLength));
}

}  // namespace

void EchomtEngine::SetFormat(const FormatRecord& format) noexcept {
  rate_ = format.samplesPerSecond;
  channels_ = std::min(format.channels, kMaxChannels);
  format_ = SampleFormatOf(format);
}

bool EchomtEngine::HasLines() const noexcept {
  if (lineLength_ < kShortestLine || channels_ == 0) return false;
  return std::all_of(lines_.begin(), lines_.begin() + channels_,
                     [this](const auto& line) { return line.size() == static_cast<std::size_t>(lineLength_); });
}

// The mark is cleared before the parameters are copied and looked at again after it: a writer in between is then met
// twice at worst, never missed.
EchomtEngine::Fetched EchomtEngine::Fetch() noexcept {
  Fetched fetched{};
  const bool before = linesStale_.exchange(false, std::memory_order_relaxed);
  fetched.dirty = source_.FetchParams(fetched.params);
  fetched.stale = linesStale_.load(std::memory_order_relaxed) || before;
  return fetched;
}

void EchomtEngine::SetLight(const EchomtParams& params) noexcept {
  modStep_ = kTwoPi / ((10.0 / params.modRate) * rate_);
  if (!std::isfinite(modStep_)) modStep_ = 0.0;
  wetGain_ = GainFromTenths(params.wetOut);
  dryGain_ = GainFromTenths(params.dryOut);
  inputGain_ = GainFromTenths(params.inputGain);
  const bool on = params.lowPassEnabled != 0 && params.lowPassHz <= static_cast<std::int64_t>(rate_ / 2);
  lowPassBack_ = on && rate_ != 0 ? std::exp(-kTwoPi * params.lowPassHz / rate_) : 0.0;
  lowPassIn_ = 1.0 - lowPassBack_;
}

// Answers the sum of the gains, which the feedback is scaled by. A centred tap of a stereo stream counts twice in it.
double EchomtEngine::SetTapGains(const EchomtParams& params) noexcept {
  double sum = 0.0;
  for (std::size_t i = 0; i < static_cast<std::size_t>(tapCount_); ++i) {
    const double gain = params.tapGain[i] / 100.0;
    const std::int32_t pan = channels_ == 2 ? params.tapPan[i] : 0;
    tapGains_[0][i] = pan > 0 ? (100 - pan) / 100.0 * gain : gain;
    tapGains_[1][i] = pan > 0 ? gain : (pan + 100) / 100.0 * gain;
    sum += tapGains_[0][i];
    if (channels_ == 2) sum += tapGains_[1][i];
  }
  return sum;
}

bool EchomtEngine::ReserveLines() noexcept {
  const std::int64_t frames =
      std::int64_t{rate_ / 1000} * kLongestTapMs + Truncate<std::int64_t>(rate_ * kMostOffsetMs / 1000.0);
  const double reach = LineReach(frames, ModBase(kMostModDepth, rate_));
  const auto longest = static_cast<std::size_t>(std::max(Truncate<std::int32_t>(reach), kShortestLine));
  return std::all_of(lines_.begin(), lines_.begin() + channels_,
                     [longest](DelayLine& line) { return line.capacity() == longest || line.Reserve(longest); });
}

std::int32_t EchomtEngine::BuildEngine(const EchomtParams& params, ProcessMode mode) noexcept {
  SetLight(params);
  tapCount_ = std::clamp(params.tapCount, 0, kEchomtTaps);
  const double modBase = ModBase(params.modDepth, rate_);
  modulated_ = modBase != 0.0;
  const double normaliser = std::max(1.0, SetTapGains(params));
  feedbackGain_ = params.feedback / (normaliser * 100.0);

  // Whole frames to the millisecond: at 44.1 kHz there are 44 of them.
  const std::int64_t perMs = rate_ / 1000;
  std::array<std::int64_t, kEchomtTaps> positions{};
  std::int64_t longest = 0;
  for (std::size_t i = 0; i < positions.size(); ++i) {
    tapModDepth_[i] = modBase * kModFactor[i];
    if (i >= static_cast<std::size_t>(tapCount_)) continue;
    positions[i] = perMs * params.tapDelayMs[i] + Truncate<std::int64_t>(rate_ * kOffsetMs[i] / 1000.0);
    longest = std::max(longest, positions[i]);
  }
  const std::int32_t newLength = std::max(Truncate<std::int32_t>(LineReach(longest, modBase)), kShortestLine);

  // A position is a delay only while the write head is at 0. An edit that keeps the line moves every tap that is
  // in use by as far as the head has gone since: kept on purpose, it is what such an edit sounds like.
  for (std::size_t i = 0; i < static_cast<std::size_t>(tapCount_); ++i) {
    tapPosition_[i] = static_cast<std::int32_t>(std::max<std::int64_t>(positions[i], 0) % newLength);
  }
  if (newLength == lineLength_ && mode != ModeRestart && HasLines()) return 0;

  for (std::size_t c = 0; c < channels_; ++c) lines_[c].Release();
  if (reserve_ && !ReserveLines()) return kEngineOutOfMemory;
  lineLength_ = newLength;
  tailLeft_ = TailLength(params.feedback / 100.0, lineLength_, rate_);
  tailOnly_.Arm(tailLeft_);
  StreamBudget budget;
  for (std::size_t c = 0; c < channels_; ++c) {
    if (!lines_[c].Allocate(static_cast<std::size_t>(lineLength_), budget)) return kEngineOutOfMemory;
  }
  writePosition_ = 0;
  modPhase_ = 0.0;
  inputState_.fill(0.0);
  outputState_.fill(0.0);
  return 0;
}

std::int32_t EchomtEngine::UpdateEngine(const EchomtParams& params, ProcessMode mode, bool stale) noexcept {
  if (!stale && mode != ModeRestart) {
    SetLight(params);
    return 0;
  }
  const std::int32_t result = BuildEngine(params, mode);
  engineReady_ = result >= 0;
  // Without its lines the engine must not take the light way next time.
  if (!engineReady_) MarkLinesStale();
  return result;
}

std::int32_t EchomtEngine::RestartEngine() noexcept {
  const Fetched fetched = Fetch();
  const std::int32_t result = UpdateEngine(fetched.params, ModeRestart, true);
  hasRun_ = false;
  tailOnly_.ClearDone();
  return result;
}

std::int32_t EchomtEngine::Reset(bool rewind) noexcept {
  const Fetched fetched = Fetch();
  if (!rewind && !fetched.dirty) {
    if (fetched.stale) MarkLinesStale();
    return kFinished;
  }
  return UpdateEngine(fetched.params, rewind ? ModeRestart : ModeContinue, fetched.stale);
}

void EchomtEngine::FreeLines() noexcept {
  for (auto& line : lines_) line.Free();
  MarkLinesStale();
}

}  // namespace korva
