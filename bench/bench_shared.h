#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "audio/process_mode.h"
#include "support/signals.h"

namespace korva::bench {

inline constexpr std::uint32_t kRate = 44100;
inline constexpr std::uint32_t kFrames = 4096;
inline constexpr std::uint16_t kChannelCounts[] = {1, 2, 6};

/// "NAME/f32/2".
inline std::string KernelName(const std::string& name, SampleFormat format, std::uint16_t channels) {
  return name + "/" + FormatName(format) + "/" + std::to_string(channels);
}

/// `frames` interleaved frames of noise of `level` in the record's format; a level of 0 is silence.
inline Bytes NoiseBuffer(const FormatRecord& record, std::uint32_t frames = kFrames, double level = 0.4) {
  return Encode(record, GridNoise(std::size_t{frames} * record.channels, level, 1, 0x1p31));
}

template <class Run>
void Add(const std::string& name, Run run) {
  benchmark::RegisterBenchmark(name.c_str(), run);
}

/// The same for streams of each format in mono, stereo and six channels: `run(state, record)`.
template <class Run>
void AddStreams(const std::string& name, Run run) {
  for (const SampleFormat format : kAllFormats) {
    for (const std::uint16_t channels : kChannelCounts) {
      Add(KernelName(name, format, channels),
          [=](benchmark::State& state) { run(state, MakeFormat(format, channels, kRate)); });
    }
  }
}

/// Rounds of `work`, of `frames` frames each. Counter "ns_per_frame": the least that any slice of the run took, so that
/// what else the machine does counts little. A slice has to be long beside a look at the clock, and of even work.
template <class Work>
void RunRounds(benchmark::State& state, std::uint32_t frames, const Work& work, std::uint32_t sliceFrames = kFrames) {
  double least = std::numeric_limits<double>::infinity();
  std::uint32_t done = 0;
  auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    work();
    benchmark::ClobberMemory();
    done += frames;
    if (done < sliceFrames) continue;
    const auto now = std::chrono::steady_clock::now();
    least = std::min(least, std::chrono::duration<double, std::nano>(now - start).count() / done);
    start = now;
    done = 0;
  }
  state.counters["ns_per_frame"] = least;
}

/// Rounds on a fresh copy of `input` in `buffer`: kernels work in place. The copy counts.
template <class Work>
void RunInPlace(benchmark::State& state, std::uint32_t frames, Bytes& buffer, const Work& work) {
  const Bytes input = buffer;
  RunRounds(state, frames, [&] {
    std::memcpy(buffer.data(), input.data(), input.size());
    work();
  });
}

/// A buffer through an engine.
template <class Engine>
void RunBuffer(Engine& engine, Bytes& buffer, std::uint32_t frames = kFrames, ProcessMode mode = ModeContinue) {
  engine.Process(mode, buffer.data(), frames, false);
}

/// Rounds of an engine on noise or, with a level of 0, on silence.
template <class Engine>
void RunEngine(benchmark::State& state, Engine& engine, const FormatRecord& record, double level = 0.4) {
  Bytes buffer = NoiseBuffer(record, kFrames, level);
  RunInPlace(state, kFrames, buffer, [&] { RunBuffer(engine, buffer); });
}

}  // namespace korva::bench
