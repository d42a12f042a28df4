#pragma once

#include <array>
#include <cstdint>

#include "audio/format_record.h"

namespace korva {

/// An eight-pole Chebyshev low-pass of 0.1 dB ripple that keeps a raised pitch from aliasing.
///
/// One section of order eight in direct form II, in doubles: steep enough to put its corner at 90 % of the output's
/// Nyquist frequency. It works in place in the stream's own format, so an integer stream is rounded once more.
class AntiAliasFilter {
 public:
  /// Computes the filter and clears its history. `cutoff` is the output's Nyquist frequency in cycles per sample,
  /// above 0 and below 0.5.
  void DesignAntiAlias(double cutoff) noexcept;

  /// Filters `frames` interleaved frames of `channels` (1 to 32) channels in place.
  void FilterInPlace(SampleFormat format, void* buffer, std::uint32_t channels, std::size_t frames) noexcept;

 private:
  static constexpr std::size_t kPoles = 8;
  using Taps = std::array<double, kPoles>;

  static constexpr std::size_t kBlockFrames = 64;

  template <class Lanes, std::size_t kGroups>
  void Run(double* samples, std::size_t channel, std::size_t channels, std::size_t frames) noexcept;

  Taps recursive_{};
  Taps forward_{};
  double forwardNewest_ = 1.0;
  std::array<std::array<double, kMaxChannels>, kPoles> history_{};  // the newest first
};

}  // namespace korva
