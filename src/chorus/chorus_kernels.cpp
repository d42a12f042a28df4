#include <algorithm>
#include <bit>
#include <cmath>

#include "audio/narrow.h"
#include "audio/process_mode.h"
#include "audio/sample_lanes.h"
#include "chorus/chorus_engine.h"

// The signal path. What a voice gives in a frame was in its line before that frame came, so the voices, which stand in
// series, are worked in one loop and wait on their filters side by side.
namespace korva {
namespace {

// Below this a filter memory counts as silence: it keeps a recursive filter clear of denormals when the input ends.
constexpr double kFlushBelow = 2e-11;

// No sum of samples below this comes near the end of the range in any time that a stream can last.
constexpr double kTame = 1e100;

bool AllTame(const double* samples, int count) noexcept {
  const Pair tame = Pair::Broadcast(kTame);
  Pair all = Less(Pair::Broadcast(0.0), tame);
  int i = 0;
  for (; i + 2 <= count; i += 2) all = all & Less(Magnitude(Pair::Load(samples + i)), tame);
  return all.AllSet() && (i == count || std::fabs(samples[i]) < kTame);
}

}  // namespace

// The mirror follows whenever the line's first frame is written.
void ChorusEngine::Mirror(Voice& voice) const noexcept {
  if (voice.line.empty()) return;
  const auto channels = static_cast<std::size_t>(channels_);
  std::copy_n(voice.line.data(), channels, voice.line.data() + static_cast<std::size_t>(lineFrames_) * channels);
}

/// Finds the places of `frames` frames from `first` on, and perhaps of one more. Without `kWraps` the whole swing lies
/// inside of the line.
template <bool kWraps>
void ChorusEngine::PlaceRun(const CountedSine::Row<Pair>& sines, Pair centre, int frames, Places& places,
                            int first) const noexcept {
  const Pair depth = Pair::Broadcast(depthFrames_), length = Pair::Broadcast(lineFrames_), zero = Pair::Broadcast(0.0);
  const Pair bias = Pair::Broadcast(kRoundingBias), downwards = Pair::Broadcast(kDownwards), two = Pair::Broadcast(2.0);
  for (int i = 0; i < frames; i += 2, centre = centre - two) {
    Pair at = centre;
    if constexpr (kWraps) at = at + (Less(at, zero) & length);
    Pair position = sines.At(i) * depth + at;
    if constexpr (kWraps) {
      const Pair up = Less(position, zero) & length;
      position = position - (AtLeast(position, length) & length) + up;
    }
    Pair biased = position - downwards + bias;
    Pair index = biased - bias;
    const Pair fraction = position - index;
    if constexpr (kWraps) {
      index = index - (AtLeast(index, length) & length) + (Less(index, zero) & length);
      biased = index + bias;
    }
    biased.Store(places.index + first + i);
    double* const fractions = places.fraction + std::ptrdiff_t{2} * (first + i);
    Lows(fraction, fraction).Store(fractions);
    Highs(fraction, fraction).Store(fractions + 2);
  }
}

void ChorusEngine::Place(Voice& voice, Places& places, int frames) const noexcept {
  const double length = lineFrames_;
  // A cycle longer than the counter can count wraps at its end.
  const auto lastPhase = Truncate<std::int32_t>(voice.period - 1.0);
  const bool wraps = voice.readPos - frames - depthFrames_ < 1.0 || voice.readPos + depthFrames_ >= length - 1.0;
  std::int32_t phase = voice.phase;
  for (int done = 0; done < frames;) {
    const std::int32_t untilLast = phase < lastPhase ? lastPhase - phase : 0;
    const int run = std::min({frames - done, CountedSine::CountsLeft(phase), std::min(untilLast, kBlockFrames) + 1});
    const CountedSine::Row<Pair> sines = voice.sine.From<Pair>(phase);
    const double centre = voice.readPos - done;
    const Pair centres = Pair::Of(centre, centre - 1.0);
    if (wraps) {
      PlaceRun<true>(sines, centres, run, places, done);
    } else {
      PlaceRun<false>(sines, centres, run, places, done);
    }
    done += run;
    phase = phase + (run - 1) >= lastPhase ? 0 : phase + run;
  }
  voice.phase = phase;
  voice.readPos -= frames;
  if (voice.readPos < 0) voice.readPos += length;
}

/// Works the channels from `channel` on, as many as there are lanes, through all voices.
template <class Lanes, int kChannels, int kVoices, bool kLowPass>
void ChorusEngine::RunLanes(double* block, int frames, const Places* places, std::size_t channel) noexcept {
  constexpr bool kStereo = kChannels == 2;
  const auto channels = static_cast<std::ptrdiff_t>(kChannels != 0 ? kChannels : channels_);
  const Lanes in = Lanes::Broadcast(lowPassIn_), back = Lanes::Broadcast(lowPassBack_),
              floor = Lanes::Broadcast(kFlushBelow);
  const Lanes feedback = Lanes::Broadcast(feedbackGain_), dry = Lanes::Broadcast(dryGain_);
  const Lanes pan = Lanes::Load(pan_.data());
  struct {
    const double* line;
    double* write;
    Lanes memory, gain;
  } voices[kVoices];
  for (std::size_t v = 0; v < kVoices; ++v) {
    Voice& voice = voices_[v];
    double* const line = voice.line.data() + channel;
    // The stereo form is not the mono one twice: its first voice takes the wet gain a second time with the pan, and the
    // later voices take no fade of their own.
    const Lanes gain = kStereo && v != 0 ? pan : Lanes::Broadcast(voice.gain);
    voices[v] = {line, line + voice.writePos * channels, Lanes::Load(&voice.memory[channel]), gain};
  }
  double* frame = block + channel;
  for (int i = 0; i < frames; ++i, frame += channels) {
    Lanes x = Lanes::Load(frame);
    for (std::size_t v = 0; v < kVoices; ++v) {
      auto& voice = voices[v];
      const auto index = static_cast<std::int32_t>(std::bit_cast<std::uint64_t>(places[v].index[i]));
      const double* const at = voice.line + index * channels;
      // The tap may lie on the frame about to be written, so it is read before that.
      const Lanes a = Lanes::Load(at), b = Lanes::Load(at + channels);
      Lanes y = (b - a) * Lanes::Load(places[v].fraction + std::ptrdiff_t{2} * i) + a;
      if constexpr (kLowPass) y = y * in + voice.memory * back;
      // With one voice the filter's own wait is all there is, and a jump that is foreseen does not lengthen it.
      const Lanes small = Less(Magnitude(y), floor);
      if (kVoices != 1 || small.AnySet()) y = Without(y, small);
      voice.memory = y;
      Lanes wet = y * voice.gain;
      if constexpr (kStereo) wet = v == 0 ? wet * pan : wet;
      const Lanes fed = y * feedback + x;
      x = wet + (v == 0 ? x * dry : x);
      fed.Store(voice.write);
      voice.write -= channels;
    }
    x.Store(frame);
  }
  for (std::size_t v = 0; v < kVoices; ++v) voices[v].memory.Store(&voices_[v].memory[channel]);
}

template <int kChannels, int kVoices>
void ChorusEngine::RunVoices(double* block, int frames) noexcept {
  Places places[kVoices];
  for (std::size_t v = 0; v < kVoices; ++v) Place(voices_[v], places[v], frames);
  // Switched off, the filter passes its tap, unless something that is no number may have come into its memory.
  const bool lowPass = lowPassBack_ != 0.0 || wild_;
  const auto channels = static_cast<std::size_t>(kChannels != 0 ? kChannels : channels_);
  const auto runLanes = [&]<class Lanes>(Lanes /*type*/, std::size_t channel) {
    if (lowPass) {
      RunLanes<Lanes, kChannels, kVoices, true>(block, frames, places, channel);
    } else {
      RunLanes<Lanes, kChannels, kVoices, false>(block, frames, places, channel);
    }
  };
  std::size_t channel = 0;
  if constexpr (kChannels != 1) {
    for (; channel + 2 <= channels; channel += 2) runLanes(Pair{}, channel);
  }
  if constexpr (kChannels != 2) {
    if (channel < channels) runLanes(Single{}, channel);
  }
  for (std::size_t v = 0; v < kVoices; ++v) {
    Voice& voice = voices_[v];
    voice.writePos -= frames;
    if (voice.writePos >= 0) continue;
    voice.writePos += lineFrames_;
    Mirror(voice);
  }
}

template <class Format, int kChannels>
void ChorusEngine::Run(typename Format::Sample* buffer, std::uint32_t frames) noexcept {
  constexpr bool kFloat = IsFloat(Format::kFormat);
  const int channels = kChannels != 0 ? kChannels : channels_;
  alignas(16) double block[kBlockFrames * (kChannels != 0 ? kChannels : int{kMaxChannels})];
  while (frames != 0) {
    // A block ends where a line is written to its end.
    int count = static_cast<int>(std::min<std::uint32_t>(frames, kBlockFrames));
    for (int v = 0; v < voiceCount_; ++v) count = std::min(count, voices_[static_cast<std::size_t>(v)].writePos + 1);
    const auto samples = static_cast<std::size_t>(count) * static_cast<std::size_t>(channels);
    ReadSamples<Format>(buffer, samples, inGain_, block);
    if (kFloat && !wild_) wild_ = !AllTame(block, count * channels);
    switch (voiceCount_) {
      case 1:
        RunVoices<kChannels, 1>(block, count);
        break;
      case 2:
        RunVoices<kChannels, 2>(block, count);
        break;
      default:
        RunVoices<kChannels, 3>(block, count);
        break;
    }
    WriteSamples<Format>(block, samples, buffer);
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
