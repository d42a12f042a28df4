#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <span>
#include <utility>
#include <vector>

#include "pitchtime/pitchs_engine.h"
#include "pitchtime/pitchs_params.h"
#include "pitchtime/time_engine.h"
#include "pitchtime/time_params.h"
#include "support/signals.h"

namespace korva {

/// Parameters as a filter would hand them over.
template <class Block>
struct StandInStore : ParamSource<Block> {
  Block block;
  bool changed = true;
  explicit StandInStore(const EffectDescription& effect) : block(*static_cast<const Block*>(effect.recordStart)) {}
  bool FetchParams(Block& out) noexcept override {
    out = block;
    return std::exchange(changed, false);
  }
};

/// An engine on a stream, driven as a filter drives it.
template <class Engine, class Block>
struct StretchRig {
  StretchRig(const EffectDescription& effect, SampleFormat sampleFormat, std::uint16_t channelCount, std::uint32_t rate)
      : store(effect), format(MakeFormat(sampleFormat, channelCount, rate)), channels(channelCount) {}

  std::int32_t Start() { return result = engine.Start(format); }

  void Change() {
    store.changed = true;
    engine.RaiseRebuild();
  }

  /// One buffer, as `Receive` does it: every frame is offered until it is taken.
  void Receive(std::span<const double> input, std::size_t outFrames, ProcessMode mode = ModeContinue) {
    Bytes in = Encode(format, input), out(outFrames * format.blockAlign);
    auto left = static_cast<std::uint32_t>(in.size() / format.blockAlign);
    if ((result = engine.PrepareInput(mode, in.data(), left)) < 0) return;
    const std::uint8_t* at = in.data();
    for (int idle = 0; idle < 100; ++idle) {
      std::uint32_t taken = left, written = static_cast<std::uint32_t>(outFrames);
      result = engine.Process(mode, at, &taken, out.data(), &written);
      if (result < 0) return;
      Keep(out, written);
      if (taken >= left) return;
      if (taken != 0 || written != 0) idle = 0;
      at += std::size_t{taken} * format.blockAlign;
      left -= taken;
      if (mode == ModeRestart) mode = ModeContinue;
    }
    hung = true;
  }

  /// The end of the stream.
  void Drain(std::size_t outFrames) {
    Bytes out(outFrames * format.blockAlign);
    for (int idle = 0; idle <= 2; ++idle) {
      auto written = static_cast<std::uint32_t>(outFrames);
      result = engine.Process(ModeFlush, nullptr, nullptr, out.data(), &written);
      Keep(out, written);
      if (result != kGoOn) return;
      if (written != 0) idle = -1;
    }
    hung = true;
  }

  /// A whole stream in buffers of these sizes.
  const std::vector<double>& Run(std::span<const double> input, std::size_t inFrames, std::size_t outFrames) {
    output.clear();
    if (Start() < 0) return output;
    ProcessMode mode = ModeRestart;
    for (std::size_t at = 0; at < input.size() && result >= 0; at += inFrames * channels) {
      Receive(input.subspan(at, std::min(inFrames * channels, input.size() - at)), outFrames, mode);
      mode = ModeContinue;
    }
    Drain(outFrames);
    return output;
  }

  std::size_t frames() const { return output.size() / channels; }

  StandInStore<Block> store;
  Engine engine{store};
  FormatRecord format;
  std::uint16_t channels;
  std::vector<double> output;  // interleaved
  std::int32_t result = 0;
  bool hung = false;

 private:
  void Keep(const Bytes& out, std::uint32_t written) {
    ASSERT_LE(std::size_t{written} * format.blockAlign, out.size());
    const auto samples = Decode(format, std::span(out).first(std::size_t{written} * format.blockAlign));
    output.insert(output.end(), samples.begin(), samples.end());
  }
};

struct PitchRig : StretchRig<PitchsEngine, PitchsParams> {
  explicit PitchRig(double transposition, bool keep, SampleFormat f = SampleFormat::kFloat32, std::uint16_t c = 1,
                    std::uint32_t rate = 44100)
      : StretchRig(kPitchsEffect, f, c, rate) {
    store.block.transposition = transposition;
    store.block.preserveDuration = keep ? 1 : 0;
  }
};

struct TimeRig : StretchRig<TimeEngine, TimeParams> {
  explicit TimeRig(double percent, std::int32_t mode = 0, SampleFormat f = SampleFormat::kFloat32, std::uint16_t c = 1,
                   std::uint32_t rate = 44100)
      : StretchRig(kTimeEffect, f, c, rate) {
    store.block.percentTimes100 = percent * 100;
    store.block.mode = mode;
  }
};

inline std::vector<double> Sine(double hz, std::size_t frames, double level = 0.5, double rate = 44100) {
  std::vector<double> sine(frames);
  for (std::size_t i = 0; i < frames; ++i)
    sine[i] = level * std::sin(6.283185307179586 * hz * static_cast<double>(i) / rate);
  return sine;
}

/// Tones that drift, with noise, another mixture in every channel, on the grid of 8-bit samples.
inline std::vector<double> Music(std::size_t frames, std::size_t channels, std::uint32_t seed = 1) {
  std::minstd_rand random(seed);
  std::vector<double> music(frames * channels);
  for (std::size_t i = 0; i < frames; ++i) {
    const auto t = static_cast<double>(i);
    for (std::size_t c = 0; c < channels; ++c) {
      const double noise = static_cast<double>(random()) / 2147483647.0 - 0.5;
      const double tone = std::sin(t * (0.031 + t * 1e-8)) + 0.6 * std::sin(t * 0.0713 + static_cast<double>(c));
      music[i * channels + c] = std::floor((0.3 * tone + 0.1 * noise) * 128) / 128;
    }
  }
  return music;
}

/// The frequency of one tone, from its rising zero crossings between two places.
inline double FrequencyOf(std::span<const double> tone, std::size_t from, std::size_t to, double rate = 44100) {
  double first = -1, last = -1;
  int periods = -1;
  for (std::size_t i = from; i + 1 < to; ++i) {
    if (!(tone[i] < 0 && tone[i + 1] >= 0)) continue;
    last = static_cast<double>(i) + tone[i] / (tone[i] - tone[i + 1]);
    if (first < 0) first = last;
    ++periods;
  }
  return periods * rate / (last - first);
}

inline double CentsBetween(double hz, double target) {
  return 1200 * std::log2(hz / target);
}

/// Root mean square between two places.
inline double LevelOf(std::span<const double> samples, std::size_t from, std::size_t to) {
  double sum = 0;
  for (std::size_t i = from; i < to; ++i) sum += samples[i] * samples[i];
  return std::sqrt(sum / static_cast<double>(to - from));
}

}  // namespace korva
