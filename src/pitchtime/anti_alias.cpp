#include "pitchtime/anti_alias.h"

#include <bit>
#include <cmath>
#include <complex>

namespace korva {
namespace {

constexpr double kPi = 3.14159265356;

// Upper half of the pole pairs, for a corner at 1 radian.
struct Pole {
  double real, imaginary;
};
constexpr Pole kPolePairs[] = {{-0.32165, 0.205314}, {-0.272682, 0.584684}, {-0.1822, 0.875041}, {-0.06398, 1.032181}};

constexpr std::array<double, 9> kBinomials = {1, 8, 28, 56, 70, 56, 28, 8, 1};

/// Magnitudes below 2^-32 become 0: they would fade into denormals when the input ends.
double FlushSmall(double value) noexcept {
  const std::uint64_t exponent = std::bit_cast<std::uint64_t>(value) >> 52 & 0x7FF;
  return exponent < 0x3DF ? 0.0 : value;
}

}  // namespace

void AntiAliasFilter::DesignAntiAlias(double cutoff) noexcept {
  using Complex = std::complex<double>;
  const double corner = 2 * std::tan(cutoff * 0.9 * kPi);
  Complex product = 1.0, denominator = 1.0;
  // Coefficients of the product of (1 - z x), by power of x.
  std::array<Complex, kPoles + 1> polynomial{};
  polynomial[0] = 1.0;
  std::size_t degree = 0;
  for (const Pole& pair : kPolePairs) {
    for (const double side : {1.0, -1.0}) {
      const Complex pole = corner * Complex{pair.real, side * pair.imaginary};
      product *= pole;
      denominator *= 2.0 - pole;
      const Complex digital = (2.0 + pole) / (2.0 - pole);
      ++degree;
      for (std::size_t k = degree; k > 0; --k) polynomial[k] -= digital * polynomial[k - 1];
    }
  }
  const double gain = std::abs(product) * std::pow(10.0, 0.005) / denominator.real();
  forwardNewest_ = gain * kBinomials[0];
  for (std::size_t k = 0; k < kPoles; ++k) {
    forward_[k] = gain * kBinomials[k + 1];
    recursive_[k] = -polynomial[k + 1].real();
  }
  history_.fill(Taps{});
}

template <class Format, std::size_t kLanes>
void AntiAliasFilter::Run(typename Format::Sample* samples, Taps* history, std::size_t channels,
                          std::size_t frames) const noexcept {
  double held[kPoles][kLanes];
  for (std::size_t k = 0; k < kPoles; ++k) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) held[k][lane] = FlushSmall(history[lane][k]);
  }
  const Taps recursive = recursive_, forward = forward_;
  const double forwardNewest = forwardNewest_;
  for (std::size_t i = 0; i < frames; ++i, samples += channels) {
    double newest[kLanes], sum[kLanes];
    for (std::size_t lane = 0; lane < kLanes; ++lane) newest[lane] = Format::Read(samples[lane]);
    for (std::size_t k = 0; k < kPoles; ++k) {
      for (std::size_t lane = 0; lane < kLanes; ++lane) newest[lane] += recursive[k] * held[k][lane];
    }
    for (std::size_t lane = 0; lane < kLanes; ++lane) sum[lane] = forwardNewest * newest[lane];
    for (std::size_t k = 0; k < kPoles; ++k) {
      for (std::size_t lane = 0; lane < kLanes; ++lane) sum[lane] += forward[k] * held[k][lane];
    }
    for (std::size_t k = kPoles - 1; k > 0; --k) {
      for (std::size_t lane = 0; lane < kLanes; ++lane) held[k][lane] = held[k - 1][lane];
    }
    for (std::size_t lane = 0; lane < kLanes; ++lane) held[0][lane] = newest[lane];
    for (std::size_t lane = 0; lane < kLanes; ++lane) samples[lane] = Format::Write(sum[lane]);
  }
  for (std::size_t k = 0; k < kPoles; ++k) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) history[lane][k] = held[k][lane];
  }
}

void AntiAliasFilter::FilterInPlace(SampleFormat format, void* buffer, std::uint32_t channels,
                                    std::size_t frames) noexcept {
  VisitFormat(format, [&](auto policy) {
    using Format = decltype(policy);
    auto* const samples = static_cast<typename Format::Sample*>(buffer);
    // Each sum waits on the one before it, so two channels side by side cost what one does.
    std::uint32_t c = 0;
    for (; c + 2 <= channels; c += 2) Run<Format, 2>(samples + c, &history_[c], channels, frames);
    if (c < channels) Run<Format, 1>(samples + c, &history_[c], channels, frames);
  });
}

}  // namespace korva
