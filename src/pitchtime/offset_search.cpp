#include "pitchtime/offset_search.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "pitchtime/search_loops.h"
#include "platform/cpu.h"

namespace korva {
namespace {

// Below this the screen costs more than it saves.
constexpr std::int32_t kScreenFromTaps = 192;

// Frames in one step of a sum of coarse products.
constexpr std::int32_t kCoarseFrames = 8;

// The norm that a span is scaled to before it is rounded to 16 bits: no value passes 32767, and by the inequality of
// Cauchy and Schwarz no sum of products passes 31 bits.
constexpr double kCoarseNorm = 30000.0;

// Energies outside these leave the range in which the bounds hold for float sums.
constexpr double kLeastEnergy = 1e-26, kMostEnergy = 1e30;

constexpr std::size_t RoundUp(std::size_t value, std::size_t step) noexcept {
  return (value + step - 1) / step * step;
}

struct Plain {};
template <class Real>
constexpr SearchLoops<Real> kPlainLoops = SearchLoopsOf<Plain, Real>();

template <class Real>
bool IsZero(Real value) noexcept {
  return value == 0;
}

}  // namespace

template <class Real>
OffsetSearch<Real>::OffsetSearch() noexcept {
  SetWide(true);
}

template <class Real>
void OffsetSearch<Real>::SetWide(bool on) noexcept {
  loops_ = on && HasWideUnits() ? &WideSearchLoops(Real{}) : &kPlainLoops<Real>;
}

template <class Real>
bool OffsetSearch<Real>::Allocate(std::int32_t searchLength, std::int32_t searchStep, std::uint32_t channels,
                                  StreamBudget& budget) noexcept {
  Release();
  if (searchLength <= 0) return true;
  const auto taps = (static_cast<std::size_t>(searchLength) - 1) / static_cast<std::size_t>(searchStep) + 1;
  const std::size_t coarseTaps = RoundUp(taps, kCoarseFrames);
  const std::size_t coarseOffsets = RoundUp(taps, kCoarseOffsets);
  tailStride_ = taps;
  trialStride_ = RoundUp(taps, kLanes) + taps;
  if (!tail_.Allocate(tailStride_ * channels, budget) || !trial_.Allocate(trialStride_ * channels, budget) ||
      !coarseTail_.Allocate(coarseTaps, budget) || !coarseTrial_.Allocate(coarseTaps + coarseOffsets, budget) ||
      !lowest_.Allocate(taps, budget) || !highest_.Allocate(taps, budget) || !mayAccept_.Allocate(taps, budget)) {
    Release();
    return false;
  }
  taps_ = static_cast<std::int32_t>(taps);
  step_ = searchStep;
  channels_ = channels;
  return true;
}

template <class Real>
void OffsetSearch<Real>::Release() noexcept {
  taps_ = 0;
  tail_.Release();
  trial_.Release();
  coarseTail_.Release();
  coarseTrial_.Release();
  lowest_.Release();
  highest_.Release();
  mayAccept_.Release();
}

template <class Real>
void OffsetSearch<Real>::KeepMemory(bool on) noexcept {
  tail_.KeepMemory(on);
  trial_.KeepMemory(on);
  coarseTail_.KeepMemory(on);
  coarseTrial_.KeepMemory(on);
  lowest_.KeepMemory(on);
  highest_.KeepMemory(on);
  mayAccept_.KeepMemory(on);
}

/// Splits both spans by channel and keeps one frame in `step_`.
template <class Real>
void OffsetSearch<Real>::Thin(const Real* overlap, const Real* input) noexcept {
  const std::size_t stride = static_cast<std::size_t>(step_) * channels_;
  const auto taps = static_cast<std::size_t>(taps_);
  for (std::size_t c = 0; c < channels_; ++c) {
    Real* const tail = tail_.data() + c * tailStride_;
    Real* const trial = trial_.data() + c * trialStride_;
    for (std::size_t k = 0; k < taps; ++k) tail[k] = overlap[k * stride + c];
    for (std::size_t k = 0; k < 2 * taps - 1; ++k) trial[k] = input[k * stride + c];
  }
}

/// Bounds on one channel's scores, added to those of the whole. False where they cannot be given.
template <class Real>
bool OffsetSearch<Real>::ScreenChannel(std::uint32_t channel) noexcept {
  const Real* const tail = Tail(channel);
  const Real* const trial = Trial(channel);
  const std::int32_t taps = taps_;
  const auto square = [](Real value) { return static_cast<double>(value) * static_cast<double>(value); };

  const double tailEnergy = loops_->energy(tail, taps);
  double window = loops_->energy(trial, taps);
  const double total = window + loops_->energy(trial + taps, taps - 1);
  double widest = window, next = window;
  for (std::int32_t m = 1; m < taps; ++m) {
    next += square(trial[m + taps - 1]) - square(trial[m - 1]);
    widest = next > widest ? next : widest;
  }
  // A channel that is silent on one side needs no products. Written so that not-a-number fails.
  const bool flat =
      std::all_of(tail, tail + taps, IsZero<Real>) || std::all_of(trial, trial + 2 * taps - 1, IsZero<Real>);
  if (!(tailEnergy < kMostEnergy && total < kMostEnergy)) return false;
  if (!flat && !(tailEnergy > kLeastEnergy && widest > kLeastEnergy)) return false;

  const double tailScale = flat ? 0.0 : kCoarseNorm / std::sqrt(tailEnergy);
  const double trialScale = flat ? 0.0 : kCoarseNorm / std::sqrt(widest);
  const std::int64_t tailSum = loops_->roundSpan(tail, taps, tailScale, coarseTail_.data());
  loops_->roundSpan(trial, 2 * taps - 1, trialScale, coarseTrial_.data());
  std::int64_t trialSum = 0;
  const std::int16_t* const coarse = coarseTrial_.data();
  for (std::int32_t k = 0; k < taps; ++k) trialSum += std::abs(static_cast<std::int32_t>(coarse[k]));

  // A rounded value is off by a half at most, so a product by half the sum of both, and a quarter.
  const double unit = flat ? 0.0 : 2.0 / (tailScale * trialScale);
  const double roundings =
      2.0 * (taps + static_cast<double>(channels_) + 8.0) * static_cast<double>(std::numeric_limits<Real>::epsilon());
  const double windowError = 8.0 * taps * std::numeric_limits<double>::epsilon() * (tailEnergy + total);
  const double least = windowError + 8.0 * taps * static_cast<double>(std::numeric_limits<Real>::min());
  const auto reference = static_cast<double>(reference_[channel]);
  const auto coarseTaps = static_cast<std::int32_t>(coarseTail_.size());
  for (std::int32_t first = 0; first < taps; first += kCoarseOffsets) {
    std::int32_t products[kCoarseOffsets];
    loops_->coarseProducts(coarseTail_.data(), coarse + first, flat ? 0 : coarseTaps, products);
    const std::int32_t count = std::min(kCoarseOffsets, taps - first);
    for (std::int32_t lane = 0; lane < count; ++lane) {
      const std::int32_t m = first + lane;
      const double energy = tailEnergy + window;
      const double score = energy + unit * products[lane];
      const double coarseError = 0.5000001 * static_cast<double>(tailSum + trialSum) + 0.25 * taps + 1.0;
      const double error = unit * coarseError + roundings * energy + least;
      lowest_[static_cast<std::size_t>(m)] += score - error;
      highest_[static_cast<std::size_t>(m)] += score + error;
      if (score + error < reference) mayAccept_[static_cast<std::size_t>(m)] = 0;
      if (m + 1 == taps) break;
      window += square(trial[m + taps]) - square(trial[m]);
      trialSum +=
          std::abs(static_cast<std::int32_t>(coarse[m + taps])) - std::abs(static_cast<std::int32_t>(coarse[m]));
    }
  }
  return true;
}

/// Bounds on the scores of every offset, all channels taken together. False where they cannot be given.
template <class Real>
bool OffsetSearch<Real>::Screen() noexcept {
  const auto taps = static_cast<std::size_t>(taps_);
  std::fill_n(lowest_.data(), taps, 0.0);
  std::fill_n(highest_.data(), taps, 0.0);
  std::fill_n(mayAccept_.data(), taps, std::uint8_t{1});
  for (std::uint32_t c = 0; c < channels_; ++c) {
    if (!ScreenChannel(c)) return false;
  }
  bestLowest_ = *std::max_element(lowest_.data(), lowest_.data() + taps);
  return true;
}

/// Whether a group of offsets from `first` on must be scored in full.
template <class Real>
bool OffsetSearch<Real>::MayHoldAnswer(std::int32_t first) const noexcept {
  const std::int32_t end = std::min(first + kLanes, taps_);
  for (auto m = static_cast<std::size_t>(first); m < static_cast<std::size_t>(end); ++m) {
    if (mayAccept_[m] != 0 || highest_[m] >= bestLowest_) return true;
  }
  return false;
}

template <class Real>
bool OffsetSearch<Real>::Accepts(const Real (&scores)[kMaxChannels][kLanes], std::int32_t lane) const noexcept {
  if (channels_ <= 2) {
    for (std::size_t c = 0; c < channels_; ++c) {
      if (!(scores[c][lane] > reference_[c])) return false;
    }
    return true;
  }
  // Here alone equality passes.
  for (std::size_t c = 0; c < channels_; ++c) {
    if (scores[c][lane] < reference_[c]) return false;
  }
  return true;
}

template <class Real>
std::int32_t OffsetSearch<Real>::FindBestOffset(const Real* overlap, const Real* input, float matchThreshold) noexcept {
  if (taps_ == 0) return 0;
  Thin(overlap, input);
  bool silent = true;
  for (std::uint32_t c = 0; c < channels_; ++c) {
    const Real* const tail = Tail(c);
    const Real* const trial = Trial(c);
    Real energy = 0;
    for (std::int32_t k = 0; k < taps_; ++k) energy += tail[k] * tail[k];
    reference_[c] = static_cast<Real>(matchThreshold) * energy;
    silent = silent && std::all_of(tail, tail + taps_, IsZero<Real>) &&
             std::all_of(trial, trial + 2 * taps_ - 1, IsZero<Real>);
  }
  if (silent) return 0;

  const bool screened = screenOn_ && taps_ >= kScreenFromTaps && Screen();
  Real best = 0;
  std::int32_t bestOffset = 0;
  Real scores[kMaxChannels][kLanes];
  for (std::int32_t first = 0; first < taps_; first += kLanes) {
    if (screened && !MayHoldAnswer(first)) continue;
    for (std::uint32_t c = 0; c < channels_; ++c) loops_->score(Tail(c), Trial(c) + first, taps_, scores[c]);
    const std::int32_t count = std::min(kLanes, taps_ - first);
    for (std::int32_t lane = 0; lane < count; ++lane) {
      if (Accepts(scores, lane)) return (first + lane) * step_;
      Real sum = 0;
      for (std::uint32_t c = 0; c < channels_; ++c) sum += scores[c][lane];
      if (sum > best) {
        best = sum;
        bestOffset = (first + lane) * step_;
      }
    }
  }
  return bestOffset;
}

template class OffsetSearch<float>;
template class OffsetSearch<double>;

}  // namespace korva
