#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <random>
#include <vector>

#include "audio/format_record.h"
#include "audio/process_mode.h"
#include "audio/zeroed_buffer.h"

namespace korva {

inline constexpr SampleFormat kFormats[] = {SampleFormat::kPcm8, SampleFormat::kPcm16, SampleFormat::kPcm32,
                                            SampleFormat::kFloat32, SampleFormat::kFloat64};

using Channels = std::initializer_list<std::uint16_t>;

/// Interleaved samples of one format, written and read as doubles.
struct Samples {
  Samples(const FormatRecord& record, const std::vector<double>& values)
      : format(*SampleFormatOf(record)),
        bytes(values.size() * record.bitsPerSample / 8),
        blockAlign(record.blockAlign) {
    VisitFormat(format, [&](auto policy) {
      auto* out = reinterpret_cast<typename decltype(policy)::Sample*>(bytes.data());
      for (const double value : values) *out++ = decltype(policy)::Write(value);
    });
  }
  std::vector<double> Values() const {
    return VisitFormat(format, [&](auto policy) {
      using Sample = typename decltype(policy)::Sample;
      std::vector<double> values(bytes.size() / sizeof(Sample));
      const auto* in = reinterpret_cast<const Sample*>(bytes.data());
      for (double& value : values) value = decltype(policy)::Read(*in++);
      return values;
    });
  }
  std::uint32_t frames() const { return static_cast<std::uint32_t>(bytes.size() / blockAlign); }
  void* Frame(std::uint32_t index) { return bytes.data() + std::size_t{index} * blockAlign; }

  SampleFormat format;
  std::vector<std::uint8_t> bytes;
  std::size_t blockAlign;
};

inline std::vector<double> Noise(std::size_t count, unsigned seed, double level = 0.4) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> distribution(-level, level);
  std::vector<double> values(count);
  for (double& value : values) value = distribution(random);
  return values;
}

inline std::vector<double> Impulse(std::size_t frames, std::size_t channels) {
  std::vector<double> values(frames * channels);
  for (std::size_t c = 0; c < channels; ++c) values[c] = 0.5 + 0.25 * static_cast<double>(c % 3);
  return values;
}

/// Runs all of `samples` in buffers of `size` frames; each must be taken whole.
template <class Engine>
void RunCut(Engine& engine, Samples& samples, std::uint32_t size) {
  for (std::uint32_t at = 0; at < samples.frames(); at += size) {
    const std::uint32_t offered = std::min(size, samples.frames() - at);
    std::uint32_t count = offered;
    ASSERT_EQ(engine.Process(ModeContinue, samples.Frame(at), count, false), kGoOn);
    ASSERT_EQ(count, offered);
  }
}

/// Half a step of the coarser of two formats, and a little for each format's own rounding on the way in.
inline double Tolerance(SampleFormat format) {
  switch (format) {
    case SampleFormat::kPcm8:
      return 1.0 / 64;
    case SampleFormat::kPcm16:
      return 1.0 / 16384;
    default:
      return 1e-6;
  }
}

}  // namespace korva
