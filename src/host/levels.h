#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "audio/sample_format.h"

namespace korva {

/// How loud a stream is, over all its samples that are numbers: 1.0 is full scale.
class Levels {
 public:
  void Add(SampleFormat format, const void* data, std::size_t samples) noexcept {
    VisitFormat(format, [&](auto policy) {
      using Policy = decltype(policy);
      const auto* in = static_cast<const typename Policy::Sample*>(data);
      double peak = peak_, sum = 0;
      std::uint64_t unreal = 0;
      for (std::size_t i = 0; i < samples; ++i) {
        const double size = std::fabs(Policy::Read(in[i]));
        const bool real = size <= std::numeric_limits<double>::max();
        const double counted = real ? size : 0.0;
        unreal += real ? 0U : 1U;
        peak = counted > peak ? counted : peak;
        sum += counted * counted;
      }
      peak_ = peak;
      sum_ += sum;
      unreal_ += unreal;
    });
    count_ += samples;
  }

  double peak() const noexcept { return peak_; }
  /// How many samples are infinite or no number.
  std::uint64_t unreal() const noexcept { return unreal_; }
  double rms() const noexcept { return count_ != 0 ? std::sqrt(sum_ / static_cast<double>(count_)) : 0; }

 private:
  double peak_ = 0, sum_ = 0;
  std::uint64_t count_ = 0, unreal_ = 0;
};

}  // namespace korva
