#include "host/plot/plot_runs.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <sstream>

#include "host/automation_text.h"
#include "host/number_text.h"
#include "host/parameter_text.h"

namespace korva {
namespace {

constexpr double kMostSeconds = 1200;

class MemoryInput final : public SampleInput {
 public:
  MemoryInput(const PlainSound& sound, double gain, std::size_t silence)
      : sound_(sound), gain_(gain), frames_(sound.frames() + silence) {}

  Outcome<std::size_t> Read(SampleFormat format, void* target, std::size_t frames) override {
    const std::size_t count = std::min(frames, frames_ - at_);
    VisitFormat(format, [&](auto policy) {
      using Policy = decltype(policy);
      auto* const out = static_cast<typename Policy::Sample*>(target);
      for (std::size_t i = 0; i < count * sound_.channels; ++i) {
        const std::size_t from = at_ * sound_.channels + i;
        const double value = from < sound_.samples.size() ? static_cast<double>(sound_.samples[from]) * gain_ : 0.0;
        out[i] = Policy::Write(value);
      }
    });
    at_ += count;
    return count;
  }

 private:
  const PlainSound& sound_;
  const double gain_;
  const std::size_t frames_;
  std::size_t at_ = 0;
};

class MemoryOutput final : public SampleOutput {
 public:
  MemoryOutput(SampleFormat format, PlainSound& sound) : format_(format), sound_(sound) {}

  MaybeExit Write(const void* data, std::size_t frames) override {
    if (static_cast<double>(sound_.frames() + frames) > kMostSeconds * sound_.rate) {
      return Failed("what comes back lasts longer than " + DurationText(kMostSeconds) +
                    ", the most that a picture shows; --trim or --tail makes it shorter");
    }
    VisitFormat(format_, [&](auto policy) {
      using Policy = decltype(policy);
      const auto* const in = static_cast<const typename Policy::Sample*>(data);
      for (std::size_t i = 0; i < frames * sound_.channels; ++i) {
        sound_.samples.push_back(static_cast<float>(Policy::Read(in[i])));
      }
    });
    return std::nullopt;
  }

 private:
  const SampleFormat format_;
  PlainSound& sound_;
};

FormatRecord FormatOf(const RenderRequest& call, const PlainSound& sound) {
  return MakeFormat(call.format.value_or(SampleFormat::kFloat32), static_cast<std::uint16_t>(sound.channels),
                    sound.rate);
}

PlainSound Silence(const RenderRequest& call, double seconds) {
  PlainSound sound;
  sound.channels = call.shape.channels;
  sound.rate = call.rate;
  sound.samples.resize(static_cast<std::size_t>(std::llround(seconds * sound.rate)) * sound.channels);
  return sound;
}

}  // namespace

Outcome<double> AutomationSeconds(const RenderRequest& call) {
  double seconds = 0;
  for (const EffectRequest& effect : call.effects) {
    for (const std::string& text : effect.automations) {
      const Outcome<AutomatedSpan> span = ParseAutomation(*effect.effect, text);
      if (!span) return span.earlyExit();
      seconds = std::max(seconds, static_cast<double>(span->segment.rtEnd) / 1e7);
    }
  }
  return seconds;
}

namespace {

/// What is asked about the chain before it runs.
struct ChainNature {
  bool movesTime = false;   ///< what comes in at one time goes out at several
  double cycleSeconds = 0;  ///< of the slowest swing; 0 where nothing swings
};
Outcome<ChainNature> NatureOf(const PlotRun& run) {
  std::vector<std::string> unused;  // the run itself makes the same
  std::istringstream in(run.standardInput);
  const Outcome<double> moves = AutomationSeconds(run.call);
  if (!moves) return moves.earlyExit();
  const Outcome<std::optional<SongMap>> song = ReadSong(run.call);
  if (!song) return song.earlyExit();
  const SongMap* const map = *song ? &**song : nullptr;
  const Outcome<std::vector<PreparedEffect>> effects =
      PrepareEffects(run.call, {(*moves + 1) * run.call.rate, run.call.rate}, map, in, unused);
  if (!effects) return effects.earlyExit();
  ChainNature nature;
  for (const PreparedEffect& effect : *effects) {
    nature.movesTime = nature.movesTime || effect.instance.stretch != nullptr;
    const EffectHabits* const habits = effect.request->effect->habits;
    if (habits == nullptr || habits->cycleSeconds == nullptr) continue;
    const double cycle = habits->cycleSeconds(ReadBlock(effect.instance).data(), map);
    nature.cycleSeconds = std::max(nature.cycleSeconds, cycle);
  }
  return nature;
}

PlainSound Noise(std::uint32_t rate, std::uint32_t channels) {
  constexpr double kSeconds = 6;
  constexpr float kSize = 0.25F;
  PlainSound sound;
  sound.rate = rate;
  sound.channels = channels;
  const auto frames = static_cast<std::size_t>(kSeconds * rate);
  sound.samples.reserve(frames * channels);
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < frames; ++i) {
    state = state * 1664525U + 1013904223U;
    const float value = static_cast<float>(static_cast<std::int32_t>(state)) / 2147483648.0F * kSize;
    sound.samples.insert(sound.samples.end(), channels, value);
  }
  return sound;
}

void RemarkNoNumbers(PlainSound& sound, const std::string& name, std::vector<std::string>& remarks) {
  const auto count = static_cast<std::int64_t>(SilenceNoNumbers(sound));
  if (count == 0) return;
  remarks.push_back(CountText(count, "sample") + " of " + name + (count == 1 ? " is" : " are") +
                    " infinite or no number, and drawn as silence");
}

/// Adds what was not said yet: one chain runs several times for some pictures.
void AddNew(std::vector<std::string>& remarks, std::vector<std::string> told) {
  for (std::string& one : told) {
    if (std::find(remarks.begin(), remarks.end(), one) == remarks.end()) remarks.push_back(std::move(one));
  }
}

constexpr std::size_t kCurvePoints = 480;

/// What noise gains and loses, over a stretch of several seconds.
Outcome<FrequencyCurves> NoiseResponse(const PlotRun& run, std::vector<std::string>& remarks) {
  const PlainSound noise = Noise(run.call.rate, run.call.shape.channels);
  const Outcome<PlainSound> back = RunSound(run, noise, 0, remarks);
  if (!back) return back.earlyExit();
  const std::vector<double> frequencies = ShownFrequencies(run.call.rate, kCurvePoints);
  const std::vector<PlotPoint> before = SpectrumOf(noise.Channel(0), noise.rate, frequencies);
  FrequencyCurves curves{"from noise", {}};
  for (std::size_t channel = 0; channel < back->channels; ++channel) {
    std::vector<PlotPoint> after = SpectrumOf(back->Channel(channel), back->rate, frequencies);
    for (std::size_t i = 0; i < after.size(); ++i) after[i].y = std::max(after[i].y - before[i].y, kSilentDb);
    curves.channels.push_back(std::move(after));
  }
  return curves;
}

}  // namespace

Outcome<PlainSound> RunSound(const PlotRun& run, const PlainSound& sound, double silence,
                             std::vector<std::string>& remarks) {
  std::istringstream in(run.standardInput);
  const auto silentFrames = static_cast<std::size_t>(std::llround(silence * sound.rate));
  const FormatRecord format = FormatOf(run.call, sound);
  const double frames = static_cast<double>(sound.frames() + silentFrames);
  const Outcome<PreparedChain> prepared = PrepareChain(run.call, {frames, sound.rate}, format, in, remarks);
  if (!prepared) return prepared.earlyExit();
  const Outcome<GaugedChain> chain = GaugeChain(run.call, prepared->effects, format, false);
  if (!chain) return chain.earlyExit();
  MemoryInput input(sound, run.call.shape.gain, silentFrames);
  PlainSound back;
  back.channels = sound.channels;
  back.rate = sound.rate;
  MemoryOutput output(run.call.format.value_or(SampleFormat::kFloat32), back);
  const Outcome<ChainResult> result =
      RunChain(input, output, format, prepared->cut, chain->links, !run.call.noTail, [](std::int64_t) {});
  if (!result) return result.earlyExit();
  RemarkNoNumbers(back, "what comes back", remarks);
  return back;
}

Outcome<ImpulseRun> RunImpulse(const PlotRun& run, double lead, std::vector<std::string>& remarks) {
  const Outcome<ChainNature> nature = NatureOf(run);
  if (!nature) return nature.earlyExit();
  const Outcome<double> moves = AutomationSeconds(run.call);
  if (!moves) return moves.earlyExit();
  // What moves sound in time needs some before the impulse, or it would stand in its first block alone.
  constexpr double kLead = 0.25;
  if (nature->movesTime) lead += kLead;
  PlainSound sound = Silence(run.call, lead + 1.0 / run.call.rate);
  std::fill(sound.samples.end() - sound.channels, sound.samples.end(), 1.0F);
  // As much silence as it takes, for effects that have no tail of their own.
  constexpr double kLeastSilence = 2, kMostSilence = 32, kLonger = 4, kQuiet = 0.1;
  double silence = run.call.tail.value_or(std::max(kLeastSilence, *moves + kLeastSilence - lead));
  for (;;) {
    std::vector<std::string> told;
    Outcome<PlainSound> back = RunSound(run, sound, silence, told);
    if (!back) return back.earlyExit();
    // Echoes far apart leave long pauses.
    const std::size_t pause = LongestPause(*back, kSilentLevel) * 3 / 2;
    const std::size_t quiet = std::max(static_cast<std::size_t>(kQuiet * back->rate), pause);
    const bool isOver = FramesAbove(*back, kSilentLevel) + quiet <= back->frames();
    if (isOver || run.call.tail || silence >= kMostSilence) {
      AddNew(remarks, std::move(told));
      return ImpulseRun{{"", std::move(*back)}, lead, 20 * std::log10(run.call.shape.gain), !isOver};
    }
    silence = std::min(silence * kLonger, kMostSilence);
  }
}

Outcome<std::vector<FrequencyCurves>> RunResponse(const PlotRun& run, std::size_t moments,
                                                  std::vector<std::string>& remarks) {
  const Outcome<ChainNature> nature = NatureOf(run);
  if (!nature) return nature.earlyExit();
  std::vector<FrequencyCurves> all;
  if (nature->movesTime) {
    Outcome<FrequencyCurves> curves = NoiseResponse(run, remarks);
    if (!curves) return curves.earlyExit();
    all.push_back(std::move(*curves));
    return all;
  }
  if (nature->cycleSeconds == 0) moments = 1;
  // Very slow swings are looked at over their first minute.
  constexpr double kMostCycle = 60;
  const double cycle = std::min(nature->cycleSeconds, kMostCycle);
  const std::vector<double> frequencies = ShownFrequencies(run.call.rate, kCurvePoints);
  for (std::size_t moment = 0; moment < moments; ++moment) {
    const double lead = cycle * static_cast<double>(moment) / static_cast<double>(moments);
    const Outcome<ImpulseRun> impulse = RunImpulse(run, lead, remarks);
    if (!impulse) return impulse.earlyExit();
    const PlainSound& back = impulse->back.sound;
    FrequencyCurves curves{moments > 1 ? "at " + ShortNumber(lead, 2) + " s" : "", {}};
    const auto from = static_cast<std::size_t>(std::llround(lead * back.rate));
    for (std::size_t channel = 0; channel < back.channels; ++channel) {
      const std::vector<float> samples = back.Channel(channel);
      const std::span<const float> part = std::span<const float>(samples).subspan(std::min(from, samples.size()));
      curves.channels.push_back(ResponseOf(part, back.rate, frequencies));
    }
    all.push_back(std::move(curves));
  }
  return all;
}

PlainSound Sweep(std::uint32_t rate, std::uint32_t channels) {
  constexpr double kSeconds = 4, kLow = 20, kHigh = 20000, kSize = 0.5;
  const double high = std::min(kHigh, rate * 0.45);
  const double rise = std::log(high / kLow) / kSeconds;
  PlainSound sound;
  sound.rate = rate;
  sound.channels = channels;
  const auto frames = static_cast<std::size_t>(kSeconds * rate);
  for (std::size_t i = 0; i < frames; ++i) {
    const double time = static_cast<double>(i) / rate;
    const double phase = 2 * std::numbers::pi * kLow * std::expm1(time * rise) / rise;
    sound.samples.insert(sound.samples.end(), channels, static_cast<float>(kSize * std::sin(phase)));
  }
  return sound;
}

Outcome<PlainSound> LoadSound(const std::string& path, const RenderRequest& call, std::istream& in,
                              std::vector<std::string>& remarks) {
  const RawSound* const raw = call.rawIn ? &*call.rawIn : nullptr;
  Outcome<SoundReader> reader = path == "-" ? SoundReader::OpenStream(in, raw) : SoundReader::Open(path, raw);
  if (!reader) return reader.earlyExit();
  if (MaybeExit check = ShapedInput::CheckChannels(*reader, call.shape)) return *check;
  InputShape shape = call.shape;
  shape.gain = 1;
  ShapedInput input(*reader, shape);
  PlainSound sound;
  sound.rate = reader->traits().rate;
  sound.channels = input.channels();
  constexpr std::size_t kAtOnce = 16384;
  std::vector<float> part(kAtOnce * sound.channels);
  for (;;) {
    const Outcome<std::size_t> got = input.Read(SampleFormat::kFloat32, part.data(), kAtOnce);
    if (!got) return got.earlyExit();
    if (*got == 0) break;
    sound.samples.insert(sound.samples.end(), part.begin(),
                         part.begin() + static_cast<std::ptrdiff_t>(*got * sound.channels));
    if (sound.seconds() > kMostSeconds) {
      return Failed(reader->name() + " is longer than " + DurationText(kMostSeconds) +
                    ", the most that a picture shows; --trim takes a part of it");
    }
  }
  if (sound.samples.empty()) return Failed(reader->name() + " holds no audio");
  RemarkNoNumbers(sound, reader->name(), remarks);
  return sound;
}

}  // namespace korva
