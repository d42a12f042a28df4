#include "chorus/chorus_engine.h"

#include <algorithm>
#include <cmath>

#include "audio/gain.h"
#include "audio/narrow.h"
#include "audio/pi.h"

namespace korva {
namespace {

// Factors on each voice's delay and period. No simple fractions of one another, so that the voices never lock.
constexpr std::array<double, ChorusEngine::kVoices> kRatio = {1.0, 0.811731, 1.132329};
constexpr std::array<double, ChorusEngine::kVoices> kVoiceFade = {0.9, 0.81, 0.729};
// All voices of a stereo stream take the first voice's place.
constexpr std::array<double, 2> kPan = {0.9, 0.95};

}  // namespace

std::int32_t ChorusEngine::Start(const FormatRecord& format) noexcept {
  rate_ = format.samplesPerSecond;
  channels_ = format.channels;
  format_ = SampleFormatOf(format);
  lineFrames_ = Truncate<std::int32_t>(std::ceil(2.0 * rate_ / 10.0 + 100.0));
  wild_ = false;
  StreamBudget budget;
  for (Voice& voice : voices_) {
    const std::size_t entries = (static_cast<std::size_t>(lineFrames_) + 1) * format.channels;
    // A stream that starts over asks for no memory.
    if (voice.line.size() == entries) {
      std::fill_n(voice.line.data(), entries, 0.0);
    } else if (!voice.line.Allocate(entries, budget)) {
      return kEngineOutOfMemory;
    }
    voice.writePos = 0;
    voice.memory.fill(0.0);
    voice.phase = 0;
  }
  return 0;
}

void ChorusEngine::Stop() noexcept {
  for (Voice& voice : voices_) voice.line.Release();
}

std::int32_t ChorusEngine::UpdateEngine(const ChorusParams& block, bool continuous, const TempoInfo* tempo) noexcept {
  if (!continuous) AskForAll();
  const std::uint32_t mask = changeMask_.load(std::memory_order_relaxed);
  if ((mask & kChangeRebuild) == 0) {
    CheapRecompute(block, tempo);
    return kGoOn;
  }
  const std::int32_t result = FullRecompute(block, (mask & kWipe) != 0, tempo);
  changeMask_.store(kChangeRefresh, std::memory_order_relaxed);
  engineReady_ = result >= 0;
  return result;
}

void ChorusEngine::SetGains(const ChorusParams& block) noexcept {
  bypass_ = block.bypass != 0;
  inGain_ = GainFromTenths(block.inputGain, kChorusSilentTenths);
  dryGain_ = GainFromTenths(block.dryOut, kChorusSilentTenths);
  double wet = GainFromTenths(block.chorusOut, kChorusSilentTenths);
  if (block.invertChorus != 0) wet = -wet;
  for (std::size_t side = 0; side < pan_.size(); ++side) pan_[side] = kPan[side] * wet;
  for (std::size_t v = 0; v < voices_.size(); ++v) voices_[v].gain = kVoiceFade[v] * wet;
  feedbackGain_ = block.feedback / 100.0;
  if (block.invertFeedback != 0) feedbackGain_ = -feedbackGain_;
}

void ChorusEngine::SetCycle(const ChorusParams& block, const TempoInfo* tempo) noexcept {
  if (block.tempoSync != 0 && tempo != nullptr) {
    cycleSeconds_ = NoteBeats(*tempo, block.modPeriodNote) * BeatSeconds(*tempo) * block.modPeriodMultiplier / 1000.0;
  } else {
    cycleSeconds_ = block.modRate != 0 ? 1000.0 / block.modRate : 1.0;
  }
  for (std::size_t v = 0; v < voices_.size(); ++v) {
    const double period = std::trunc(rate_ * cycleSeconds_ * kRatio[v]);
    // At least one frame: a cycle of nothing, or of no number, must not reach the line's indices.
    voices_[v].period = period >= 1.0 ? period : 1.0;
    voices_[v].sine.SetStep(kTwoPi / voices_[v].period);
  }
}

void ChorusEngine::SetLowPass(const ChorusParams& block) noexcept {
  const bool on = block.attenuateHigh != 0 && block.attenuationHz < static_cast<std::int64_t>(rate_ / 2);
  lowPassBack_ = on ? std::exp(block.attenuationHz * -kTwoPi / rate_) : 0.0;
  lowPassIn_ = on ? 1.0 - lowPassBack_ : 1.0;
}

std::int32_t ChorusEngine::FullRecompute(const ChorusParams& block, bool wipe, const TempoInfo* tempo) noexcept {
  if (wipe) {
    // Only as many values as the line has frames: on a stream of several channels old audio stays in the rest.
    for (Voice& voice : voices_) {
      const auto cleared = std::min(voice.line.size(), static_cast<std::size_t>(lineFrames_));
      std::fill_n(voice.line.data(), cleared, 0.0);
      Mirror(voice);
    }
  }
  voiceCount_ = std::clamp(block.chorusSize, 1, kVoices);
  SetGains(block);
  SetLowPass(block);
  delayFrames_ = std::trunc(block.delay * static_cast<double>(rate_) / 10000.0);
  depthFrames_ = std::trunc(block.modDepth / 100.0 * delayFrames_);
  for (std::size_t v = 0; v < voices_.size(); ++v) {
    Voice& voice = voices_[v];
    if (wipe) voice.writePos = 0;
    voice.memory.fill(0.0);
    voice.readPos = std::trunc(kRatio[v] * delayFrames_);
    if (!wipe) {
      voice.readPos += voice.writePos;
      if (voice.readPos > lineFrames_) voice.readPos -= lineFrames_;
    }
  }
  SetCycle(block, tempo);
  return 0;
}

void ChorusEngine::CheapRecompute(const ChorusParams& block, const TempoInfo* tempo) noexcept {
  SetGains(block);
  SetCycle(block, tempo);
  SetLowPass(block);
  depthFrames_ = std::trunc(block.modDepth / 100.0 * delayFrames_);
}

}  // namespace korva
