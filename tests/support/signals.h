#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "audio/format_record.h"

// Test signals as doubles in the range of -1 to 1, and as bytes of a stream.
namespace korva {

using Bytes = std::vector<std::uint8_t>;

/// "2 x 16 bits at 44100", for messages.
inline std::string Describe(const FormatRecord& format) {
  return std::to_string(format.channels) + " x " + std::to_string(format.bitsPerSample) +
         (format.formatTag == kTagFloat ? " float" : " bits") + " at " + std::to_string(format.samplesPerSecond);
}

/// Noise on the grid of 8-bit samples, which every format holds exactly, or on one of so many `steps` to full scale.
inline std::vector<double> GridNoise(std::size_t samples, double level = 0.5, std::uint32_t seed = 1,
                                     double steps = 128) {
  std::minstd_rand random(seed);
  std::vector<double> noise(samples);
  for (double& x : noise) {
    x = std::floor((static_cast<double>(random()) / 2147483647.0 * 2 - 1) * level * steps) / steps;
  }
  return noise;
}

/// The same as floats.
inline std::vector<float> FloatNoise(std::size_t samples, double level = 0.5, std::uint32_t seed = 1) {
  const auto noise = GridNoise(samples, level, seed, 0x1p20);
  return {noise.begin(), noise.end()};
}

inline Bytes Encode(const FormatRecord& format, std::span<const double> samples) {
  Bytes bytes(samples.size() * format.bitsPerSample / 8U);
  VisitFormat(*SampleFormatOf(format), [&](auto policy) {
    auto* const to = reinterpret_cast<typename decltype(policy)::Sample*>(bytes.data());
    for (std::size_t i = 0; i < samples.size(); ++i) to[i] = decltype(policy)::Write(samples[i]);
  });
  return bytes;
}

inline std::vector<double> Decode(const FormatRecord& format, std::span<const std::uint8_t> bytes) {
  std::vector<double> samples(bytes.size() / (format.bitsPerSample / 8U));
  VisitFormat(*SampleFormatOf(format), [&](auto policy) {
    const auto* const from = reinterpret_cast<const typename decltype(policy)::Sample*>(bytes.data());
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = decltype(policy)::Read(from[i]);
  });
  return samples;
}

/// Bytes of `frames` frames of grid noise.
inline Bytes NoiseBytes(const FormatRecord& format, std::size_t frames, double level = 0.5, std::uint32_t seed = 1) {
  return Encode(format, GridNoise(frames * format.channels, level, seed));
}

/// The largest difference of two runs; infinite if they differ in length or one of them is no number where the other
/// is.
inline double LargestDifference(std::span<const double> left, std::span<const double> right) {
  double largest = left.size() == right.size() ? 0.0 : HUGE_VAL;
  for (std::size_t i = 0; i < std::min(left.size(), right.size()); ++i) {
    if (left[i] == right[i] || (std::isnan(left[i]) && std::isnan(right[i]))) continue;
    const double difference = std::fabs(left[i] - right[i]);
    largest = std::isnan(difference) ? HUGE_VAL : std::max(largest, difference);
  }
  return largest;
}

}  // namespace korva
