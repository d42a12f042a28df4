#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "audio/format_record.h"

namespace korva::bench {

inline constexpr std::uint32_t kRate = 44100;
inline constexpr std::uint32_t kFrames = 4096;

inline constexpr std::uint16_t kChannelCounts[] = {1, 2, 6};

/// "NAME/f32/2".
inline std::string KernelName(const std::string& name, SampleFormat format, std::uint16_t channels) {
  return name + "/" + FormatName(format) + "/" + std::to_string(channels);
}

/// `frames` interleaved frames of noise of `level` in the record's format; a level of 0 is silence.
inline std::vector<std::uint8_t> NoiseBuffer(const FormatRecord& record, std::uint32_t frames, double level = 0.4) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> distribution(-1.0, 1.0);
  std::vector<std::uint8_t> bytes(std::size_t{frames} * record.blockAlign);
  VisitFormat(*SampleFormatOf(record), [&](auto policy) {
    using Sample = typename decltype(policy)::Sample;
    auto* samples = reinterpret_cast<Sample*>(bytes.data());
    const std::size_t count = bytes.size() / sizeof(Sample);
    for (std::size_t i = 0; i < count; ++i) samples[i] = decltype(policy)::Write(level * distribution(random));
  });
  return bytes;
}

/// Counter "ns_per_frame", in processor time: made before the loop of a run, told after it how many frames each round
/// worked.
class FrameTimer {
 public:
  void Report(benchmark::State& state, std::uint32_t frames) const {
    const double nanoseconds = static_cast<double>(std::clock() - start_) * 1e9 / CLOCKS_PER_SEC;
    state.counters["ns_per_frame"] = nanoseconds / (static_cast<double>(state.iterations()) * frames);
  }

 private:
  std::clock_t start_ = std::clock();
};

}  // namespace korva::bench
