#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "audio/pair.h"
#include "audio/sample_format.h"
#include "audio/sample_lanes.h"

namespace korva {

/// How loud a stream is, over all its samples that are numbers: 1.0 is full scale.
class Levels {
 public:
  void Add(SampleFormat format, const void* data, std::size_t samples) noexcept {
    VisitFormat(format, [&](auto policy) {
      using Policy = decltype(policy);
      const auto* in = static_cast<const typename Policy::Sample*>(data);
      const Pair largest = Pair::Broadcast(std::numeric_limits<double>::max());
      Pair peak = Pair::Broadcast(peak_), sums[2] = {Pair::Broadcast(0.0), Pair::Broadcast(0.0)},
           real = Pair::Broadcast(0.0);
      for (std::size_t i = 0; i < samples; i += 4) {
        const Four four = samples - i >= 4 ? ReadFour(Policy{}, in + i) : ReadSome<Policy>(in + i, samples - i);
        std::size_t half = 0;
        for (const Pair value : {four.a, four.b}) {
          const Pair size = Magnitude(value), isReal = AtLeast(largest, size), counted = size & isReal;
          real = real + (Pair::Broadcast(1.0) & isReal);
          peak = Larger(counted, peak);
          sums[half] = sums[half] + counted * counted;
          ++half;
        }
      }
      peak_ = std::max(peak.low(), peak.high());
      const Pair sum = sums[0] + sums[1];
      sum_ += sum.low() + sum.high();
      // What was made up to fill the last four is real.
      notFinite_ += (samples + 3) / 4 * 4 - static_cast<std::uint64_t>(real.low() + real.high());
    });
    count_ += samples;
  }

  double peak() const noexcept { return peak_; }
  /// How many samples are infinite or no number.
  std::uint64_t notFinite() const noexcept { return notFinite_; }
  double rms() const noexcept { return count_ != 0 ? std::sqrt(sum_ / static_cast<double>(count_)) : 0; }

 private:
  double peak_ = 0, sum_ = 0;
  std::uint64_t count_ = 0, notFinite_ = 0;
};

}  // namespace korva
