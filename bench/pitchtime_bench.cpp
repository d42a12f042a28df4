#include <cmath>

#include "bench_shared.h"
#include "pitchtime/anti_alias.h"
#include "pitchtime/offset_search.h"
#include "pitchtime/pitchs_engine.h"
#include "pitchtime/pitchs_params.h"
#include "pitchtime/time_engine.h"
#include "pitchtime/time_params.h"
#include "support/held_params.h"

// Per input frame throughout: that is what a stream brings, whatever its length becomes.
namespace korva::bench {
namespace {

// Long enough that blocks of every mode come round many times.
constexpr std::uint32_t kStreamFrames = 10 * kRate;

/// Voices that drift over a little noise: noise alone has no best offset, and a plain tone too many.
Bytes MusicBuffer(const FormatRecord& record, std::uint32_t frames) {
  Bytes bytes = NoiseBuffer(record, frames, 0.03);
  VisitFormat(*SampleFormatOf(record), [&](auto policy) {
    using Format = decltype(policy);
    auto* sample = reinterpret_cast<typename Format::Sample*>(bytes.data());
    for (std::uint32_t i = 0; i < frames; ++i) {
      const double t = i * 6.283185307179586 / kRate;
      for (int c = 0; c < record.channels; ++c, ++sample) {
        double voices = 0;
        for (const double hz : {110.0, 164.8, 220.7, 329.6, 987.8}) voices += std::sin(t * hz * (1 + t * 1e-4) + c);
        *sample = Format::Write(0.1 * voices * (0.7 + 0.3 * std::sin(t * 3)) + Format::Read(*sample));
      }
    }
  });
  return bytes;
}

void Stretch(benchmark::State& state, StretchEngine& engine, const FormatRecord& record) {
  const Bytes source = MusicBuffer(record, kStreamFrames);
  Bytes buffer(std::size_t{kFrames} * record.blockAlign), out(4 * buffer.size());
  engine.Start(record);
  std::size_t at = 0;
  const auto work = [&] {
    std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(at), buffer.size(), buffer.begin());
    at += buffer.size();
    if (at + buffer.size() > source.size()) at = 0;
    engine.PrepareInput(ModeContinue, buffer.data(), kFrames);
    std::uint32_t left = kFrames;
    const std::uint8_t* from = buffer.data();
    while (left != 0) {
      std::uint32_t taken = left, written = 4 * kFrames;
      engine.Process(ModeContinue, from, &taken, out.data(), &written);
      from += std::size_t{taken} * record.blockAlign;
      left -= taken;
    }
  };
  // Whole passes: the work comes in hops.
  RunRounds(state, kFrames, work, kStreamFrames / kFrames * kFrames);
}

void Time(benchmark::State& state, const FormatRecord& record, std::int32_t mode) {
  HeldParams held(PresetBlock<TimeParams>(kTimeEffect, 0));
  held.block.mode = mode;
  held.block.percentTimes100 = 15000.0;
  TimeEngine engine(held);
  Stretch(state, engine, record);
}

void Pitch(benchmark::State& state, const FormatRecord& record, std::int32_t accuracy, bool keep) {
  HeldParams held(PresetBlock<PitchsParams>(kPitchsEffect, 0));
  held.block.transposition = TranspositionOf(4, 0);
  held.block.accuracy = accuracy;
  held.block.preserveDuration = keep ? 1 : 0;
  held.block.antiAlias = 0;
  PitchsEngine engine(held);
  Stretch(state, engine, record);
}

void Filter(benchmark::State& state, const FormatRecord& record) {
  AntiAliasFilter filter;
  filter.DesignAntiAlias(0.4);
  Bytes buffer = NoiseBuffer(record);
  RunRounds(state, kFrames,
            [&] { filter.FilterInPlace(*SampleFormatOf(record), buffer.data(), record.channels, kFrames); });
}

const bool kRegistered = [] {
  for (const std::int32_t mode : {0, 1, 6, 15}) {
    AddStreams("time-stretch/150%/mode " + std::to_string(mode),
               [=](auto& state, const auto& record) { Time(state, record, mode); });
  }
  for (const std::int32_t accuracy : {1, 2, 3}) {
    AddStreams("pitch-shift/+4/accuracy " + std::to_string(accuracy),
               [=](auto& state, const auto& record) { Pitch(state, record, accuracy, false); });
  }
  AddStreams("pitch-shift/+4/kept", [](auto& state, const auto& record) { Pitch(state, record, 2, true); });
  AddStreams("pitch-shift/filter", Filter);
  return true;
}();

}  // namespace
}  // namespace korva::bench
