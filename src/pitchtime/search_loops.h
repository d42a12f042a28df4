#pragma once

#include <cmath>
#include <cstdint>

// The search's inner loops, which compilers turn into vectors. They are compiled twice, for plain units and for wide
// ones, under two tags that keep the copies apart.
namespace korva {

/// Offsets that are scored together, and whose coarse products are summed together.
template <class Real>
inline constexpr std::int32_t kSearchLanes = sizeof(Real) == sizeof(float) ? 16 : 8;
inline constexpr std::int32_t kCoarseOffsets = 4;

template <class Real>
struct SearchLoops {
  void (*score)(const Real* tail, const Real* trial, std::int32_t taps, Real (&scores)[kSearchLanes<Real>]) noexcept;
  void (*coarseProducts)(const std::int16_t* tail, const std::int16_t* trial, std::int32_t taps,
                         std::int32_t (&products)[kCoarseOffsets]) noexcept;
  std::int64_t (*roundSpan)(const Real* from, std::int32_t count, double scale, std::int16_t* to) noexcept;
  double (*energy)(const Real* from, std::int32_t count) noexcept;
};

/// Those for wide units. The arguments only pick the type.
const SearchLoops<float>& WideSearchLoops(float /*type*/) noexcept;
const SearchLoops<double>& WideSearchLoops(double /*type*/) noexcept;

/// The scores of neighbouring offsets, each summed in index order. Several frames are taken in one pass over the lanes:
/// that keeps the lanes' loop one that compilers turn into vectors.
template <class Unit, class Real>
void ScoreLanes(const Real* tail, const Real* trial, std::int32_t taps, Real (&scores)[kSearchLanes<Real>]) noexcept {
  constexpr std::int32_t kLanes = kSearchLanes<Real>;
  Real sums[kLanes] = {};
  std::int32_t k = 0;
  for (; k + 4 <= taps; k += 4) {
    const Real old0 = tail[k], old1 = tail[k + 1], old2 = tail[k + 2], old3 = tail[k + 3];
    const Real* const fresh = trial + k;
    for (std::int32_t lane = 0; lane < kLanes; ++lane) {
      const Real mix0 = old0 + fresh[lane], mix1 = old1 + fresh[lane + 1];
      const Real mix2 = old2 + fresh[lane + 2], mix3 = old3 + fresh[lane + 3];
      sums[lane] = sums[lane] + mix0 * mix0 + mix1 * mix1 + mix2 * mix2 + mix3 * mix3;
    }
  }
  for (; k < taps; ++k) {
    const Real old = tail[k];
    for (std::int32_t lane = 0; lane < kLanes; ++lane) {
      const Real mix = old + trial[k + lane];
      sums[lane] += mix * mix;
    }
  }
  for (std::int32_t lane = 0; lane < kLanes; ++lane) scores[lane] = sums[lane];
}

/// Products of the coarse spans at `kCoarseOffsets` neighbouring offsets; `taps` is a multiple of 8.
template <class Unit>
void CoarseProducts(const std::int16_t* tail, const std::int16_t* trial, std::int32_t taps,
                    std::int32_t (&products)[kCoarseOffsets]) noexcept {
  std::int32_t sum0 = 0, sum1 = 0, sum2 = 0, sum3 = 0;
  for (std::int32_t k = 0; k < taps; ++k) {
    const std::int16_t old = tail[k];
    sum0 += old * trial[k];
    sum1 += old * trial[k + 1];
    sum2 += old * trial[k + 2];
    sum3 += old * trial[k + 3];
  }
  products[0] = sum0;
  products[1] = sum1;
  products[2] = sum2;
  products[3] = sum3;
}

/// Scales a span, rounds it to 16 bits and answers the sum of the magnitudes.
template <class Unit, class Real>
std::int64_t RoundSpan(const Real* from, std::int32_t count, double scale, std::int16_t* to) noexcept {
  std::int64_t sum = 0;
  for (std::int32_t i = 0; i < count; ++i) {
    const double value = static_cast<double>(from[i]) * scale;
    const auto rounded = static_cast<std::int32_t>(value + std::copysign(0.5, value));
    to[i] = static_cast<std::int16_t>(rounded);
    sum += std::abs(rounded);
  }
  return sum;
}

/// The energy of a span. In parts, so that no sum waits on the one before: the bounds hold for any order.
template <class Unit, class Real>
double Energy(const Real* from, std::int32_t count) noexcept {
  double parts[8] = {};
  std::int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    for (std::int32_t part = 0; part < 8; ++part) {
      const auto value = static_cast<double>(from[i + part]);
      parts[part] += value * value;
    }
  }
  for (; i < count; ++i) parts[i % 8] += static_cast<double>(from[i]) * static_cast<double>(from[i]);
  return ((parts[0] + parts[1]) + (parts[2] + parts[3])) + ((parts[4] + parts[5]) + (parts[6] + parts[7]));
}

template <class Unit, class Real>
constexpr SearchLoops<Real> SearchLoopsOf() noexcept {
  return {&ScoreLanes<Unit, Real>, &CoarseProducts<Unit>, &RoundSpan<Unit, Real>, &Energy<Unit, Real>};
}

}  // namespace korva
