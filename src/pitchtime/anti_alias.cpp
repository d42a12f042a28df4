#include "pitchtime/anti_alias.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>

#include "audio/pi.h"
#include "audio/sample_lanes.h"
#include "audio/single.h"

namespace korva {
namespace {

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
  for (auto& values : history_) values.fill(0.0);
}

/// Filters `frames` frames (up to a block) of kGroups times as many channels as there are lanes.
template <class Lanes, std::size_t kGroups>
void AntiAliasFilter::Run(double* samples, std::size_t channel, std::size_t channels, std::size_t frames) noexcept {
  Lanes recursive[kPoles], forward[kPoles];
  for (std::size_t k = 0; k < kPoles; ++k) {
    recursive[k] = Lanes::Broadcast(recursive_[k]);
    forward[k] = Lanes::Broadcast(forward_[k]);
  }
  const Lanes forwardNewest = Lanes::Broadcast(forwardNewest_);
  // The newest values stand first; the window moves down a frame at a time instead of every value up.
  Lanes held[(kBlockFrames + kPoles) * kGroups];
  for (std::size_t k = 0; k < kPoles; ++k) {
    for (std::size_t g = 0; g < kGroups; ++g)
      held[(frames + k) * kGroups + g] = Lanes::Load(&history_[k][channel + g * Lanes::kLanes]);
  }
  // The one value that the next frame waits for stays out of memory.
  Lanes last[kGroups];
  std::copy_n(held + frames * kGroups, kGroups, last);
  for (std::size_t i = 0; i < frames; ++i) {
    double* const frame = samples + i * channels + channel;
    Lanes* const now = held + (frames - 1 - i) * kGroups;
    Lanes newest[kGroups], sum[kGroups];
    for (std::size_t g = 0; g < kGroups; ++g) {
      newest[g] = Lanes::Load(frame + g * Lanes::kLanes) + recursive[0] * last[g];
    }
    for (std::size_t k = 1; k < kPoles; ++k) {
      for (std::size_t g = 0; g < kGroups; ++g) newest[g] = newest[g] + recursive[k] * now[(k + 1) * kGroups + g];
    }
    for (std::size_t g = 0; g < kGroups; ++g) {
      now[g] = newest[g];
      sum[g] = forwardNewest * newest[g] + forward[0] * last[g];
      last[g] = newest[g];
    }
    for (std::size_t k = 1; k < kPoles; ++k) {
      for (std::size_t g = 0; g < kGroups; ++g) sum[g] = sum[g] + forward[k] * now[(k + 1) * kGroups + g];
    }
    for (std::size_t g = 0; g < kGroups; ++g) sum[g].Store(frame + g * Lanes::kLanes);
  }
  for (std::size_t k = 0; k < kPoles; ++k) {
    for (std::size_t g = 0; g < kGroups; ++g) held[k * kGroups + g].Store(&history_[k][channel + g * Lanes::kLanes]);
  }
}

void AntiAliasFilter::FilterInPlace(SampleFormat format, void* buffer, std::uint32_t channels,
                                    std::size_t frames) noexcept {
  for (auto& values : history_) {
    for (double& value : values) value = FlushSmall(value);
  }
  VisitFormat(format, [&](auto policy) {
    using Format = decltype(policy);
    auto* samples = static_cast<typename Format::Sample*>(buffer);
    double block[kBlockFrames * kMaxChannels];
    for (std::size_t left = frames; left != 0;) {
      const std::size_t run = std::min(left, kBlockFrames);
      ReadSamples<Format>(samples, run * channels, 1.0, block);
      // Each sum waits on the one before it, so several channels side by side cost what one does.
      std::size_t c = 0;
      for (; c + 6 <= channels; c += 6) Run<Pair, 3>(block, c, channels, run);
      for (; c + 4 <= channels; c += 4) Run<Pair, 2>(block, c, channels, run);
      for (; c + 2 <= channels; c += 2) Run<Pair, 1>(block, c, channels, run);
      if (c < channels) Run<Single, 1>(block, c, channels, run);
      WriteSamples<Format>(block, run * channels, samples);
      samples += run * channels;
      left -= run;
    }
  });
}

}  // namespace korva
