#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

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
inline Bytes NoiseBuffer(const FormatRecord& record, std::uint32_t frames, double level = 0.4) {
  return Encode(record, GridNoise(std::size_t{frames} * record.channels, level, 1, 0x1p31));
}

template <class Run>
void Add(const std::string& name, Run run) {
  benchmark::RegisterBenchmark(name.c_str(), run);
}

/// Counter "ns_per_frame": the least that any slice of the run took, so that what else the machine does counts little.
/// Made before the loop of a run. A slice has to be long beside a look at the clock, and of even work.
class FrameTimer {
 public:
  explicit FrameTimer(std::uint32_t sliceFrames = kFrames) noexcept : sliceFrames_(sliceFrames) {}

  /// At the end of each round.
  void Worked(std::uint32_t frames) noexcept {
    frames_ += frames;
    if (frames_ < sliceFrames_) return;
    const auto now = std::chrono::steady_clock::now();
    const std::chrono::duration<double, std::nano> taken = now - start_;
    least_ = std::min(least_, taken.count() / frames_);
    start_ = now;
    frames_ = 0;
  }
  void Report(benchmark::State& state) const { state.counters["ns_per_frame"] = least_; }

 private:
  const std::uint32_t sliceFrames_;
  std::uint32_t frames_ = 0;
  double least_ = std::numeric_limits<double>::infinity();
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// Rounds of `work` on a fresh copy of `input`: kernels work in place. The copy counts.
template <class Work>
void RunInPlace(benchmark::State& state, const Bytes& input, const Work& work) {
  auto buffer = input;
  FrameTimer timer;
  for (auto _ : state) {
    std::memcpy(buffer.data(), input.data(), input.size());
    work(buffer.data());
    benchmark::DoNotOptimize(buffer.data());
    timer.Worked(kFrames);
  }
  timer.Report(state);
}

}  // namespace korva::bench
