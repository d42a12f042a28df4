#include "chorus/chorus_engine.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "audio/gain.h"
#include "audio/narrow.h"

namespace korva {
namespace {

constexpr double kTwoPi = 6.28318530718;
constexpr std::int32_t kSilence = -600;

// Factors on each voice's delay and period. No simple fractions of one another, so that the voices never lock.
constexpr std::array<double, ChorusEngine::kVoices> kRatio = {1.0, 0.811731, 1.132329};
constexpr std::array<double, ChorusEngine::kVoices> kVoiceFade = {0.9, 0.81, 0.729};
// All voices of a stereo stream take the first voice's place.
constexpr std::array<double, 2> kPan = {0.9, 0.95};

// Below this a filter memory counts as silence: it keeps a recursive filter clear of denormals when the input ends.
constexpr double kFlushBelow = 2e-11;

// Frames that one voice works before the next one starts. The voices meet at whole blocks only, so positions of many
// frames can be worked out together; samples do not depend on the size.
constexpr int kBlockFrames = 64;

}  // namespace

std::int32_t ChorusEngine::Start(const FormatRecord& format) noexcept {
  rate_ = format.samplesPerSecond;
  channels_ = format.channels;
  format_ = SampleFormatOf(format);
  lineFrames_ = Truncate<std::int32_t>(std::ceil(2.0 * rate_ / 10.0 + 100.0));
  for (Voice& voice : voices_) {
    if (!voice.line.Allocate(static_cast<std::size_t>(lineFrames_) * format.channels)) return kEngineOutOfMemory;
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
  if ((mask & kFull) == 0) {
    CheapRecompute(block, tempo);
    return kGoOn;
  }
  const std::int32_t result = FullRecompute(block, (mask & kWipe) != 0, tempo);
  changeMask_.store(kCheap, std::memory_order_relaxed);
  engineReady_ = result >= 0;
  return result;
}

void ChorusEngine::SetGains(const ChorusParams& block) noexcept {
  bypass_ = block.bypass != 0;
  inGain_ = GainFromTenths(block.inputGain, kSilence);
  dryGain_ = GainFromTenths(block.dryOut, kSilence);
  double wet = GainFromTenths(block.chorusOut, kSilence);
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
    voices_[v].phaseStep = kTwoPi / voices_[v].period;
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

template <int kChannels>
void ChorusEngine::RunVoice(Voice& voice, double* block, int frames, const Mix& mix) noexcept {
  const int channels = kChannels != 0 ? kChannels : channels_;
  const std::int32_t lineFrames = lineFrames_;
  std::int32_t index[kBlockFrames];
  double fraction[kBlockFrames];

  // Where the tap reads does not depend on the signal.
  {
    const double length = lineFrames;
    const double depth = depthFrames_;
    const double step = voice.phaseStep;
    // A cycle longer than the counter can count wraps at its end.
    const auto lastPhase = Truncate<std::int32_t>(std::ceil(voice.period) - 1.0);
    double readPos = voice.readPos;
    std::int32_t phase = voice.phase;
    for (int i = 0; i < frames; ++i) {
      double position = std::sin(phase * step) * depth + readPos;
      if (position >= length) {
        position -= length;
      } else if (position < 0) {
        position += length;
      }
      std::int32_t at = RoundToInt32(position - 0.499999985);
      fraction[i] = position - at;
      if (at >= lineFrames) at -= lineFrames;
      if (at < 0) at += lineFrames;
      index[i] = at;
      readPos -= 1.0;
      if (readPos < 0) readPos = length - 1.0;
      phase = phase >= lastPhase ? 0 : phase + 1;
    }
    voice.readPos = readPos;
    voice.phase = phase;
  }

  double* const line = voice.line.data();
  double* const memory = voice.memory.data();
  const double lowPassIn = lowPassIn_, lowPassBack = lowPassBack_, feedback = feedbackGain_;
  const double wet = mix.wet, dry = mix.dry;
  const double pan[2] = {mix.pan[0], mix.pan[1]};
  std::int32_t writePos = voice.writePos;
  for (int i = 0; i < frames; ++i) {
    const std::int32_t next = index[i] + 1 == lineFrames ? 0 : index[i] + 1;
    const double* const a = line + static_cast<std::ptrdiff_t>(index[i]) * channels;
    const double* const b = line + static_cast<std::ptrdiff_t>(next) * channels;
    double* const write = line + static_cast<std::ptrdiff_t>(writePos) * channels;
    double* const frame = block + static_cast<std::ptrdiff_t>(i) * channels;
    // The tap may lie on the frame about to be written, so a channel is read whole before it is written.
    for (int c = 0; c < channels; ++c) {
      const double tap = (b[c] - a[c]) * fraction[i] + a[c];
      double y = tap * lowPassIn + memory[c] * lowPassBack;
      if (std::fabs(y) < kFlushBelow) y = 0.0;
      memory[c] = y;
      const double x = frame[c];
      frame[c] = wet * y * pan[kChannels == 2 ? c : 0] + dry * x;
      write[c] = y * feedback + x;
    }
    writePos = writePos == 0 ? lineFrames - 1 : writePos - 1;
  }
  voice.writePos = writePos;
}

template <class Format, int kChannels>
void ChorusEngine::Run(typename Format::Sample* buffer, std::uint32_t frames) noexcept {
  const int channels = kChannels != 0 ? kChannels : channels_;
  double block[kBlockFrames * (kChannels != 0 ? kChannels : int{kMaxChannels})];
  while (frames != 0) {
    const int count = static_cast<int>(std::min<std::uint32_t>(frames, kBlockFrames));
    const int samples = count * channels;
    const double inGain = inGain_;
    for (int i = 0; i < samples; ++i) block[i] = Format::Read(buffer[i]) * inGain;
    for (int v = 0; v < voiceCount_; ++v) {
      Voice& voice = voices_[static_cast<std::size_t>(v)];
      const double dry = v == 0 ? dryGain_ : 1.0;
      // The stereo kernel is not the mono one twice: its first voice takes the wet gain a second time with the pan,
      // and the later voices take no fade of their own.
      const Mix mix = kChannels == 2 ? Mix{v == 0 ? voice.gain : 1.0, dry, pan_} : Mix{1.0, dry, {voice.gain, 0.0}};
      RunVoice<kChannels>(voice, block, count, mix);
    }
    for (int i = 0; i < samples; ++i) buffer[i] = Format::Write(block[i]);
    buffer += samples;
    frames -= static_cast<std::uint32_t>(count);
  }
}

std::int32_t ChorusEngine::Process(void* buffer, std::uint32_t frames) noexcept {
  if (!format_) return kGoOn;
  VisitFormat(*format_, [&](auto policy) {
    using Format = decltype(policy);
    auto* samples = static_cast<typename Format::Sample*>(buffer);
    switch (channels_) {
      case 1:
        return Run<Format, 1>(samples, frames);
      case 2:
        return Run<Format, 2>(samples, frames);
      default:
        return Run<Format, 0>(samples, frames);
    }
  });
  return kGoOn;
}

}  // namespace korva
