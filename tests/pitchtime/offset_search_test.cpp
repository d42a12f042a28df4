#include "pitchtime/offset_search.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace korva {
namespace {

/// The definition: two plain loops.
template <class Real>
int PlainBestOffset(const std::vector<Real>& overlap, const std::vector<Real>& input, int length, int step,
                    std::size_t channels, float threshold) {
  std::array<Real, kMaxChannels> reference{}, score{};
  const auto at = [&](int frame, std::size_t c) { return static_cast<std::size_t>(frame) * channels + c; };
  for (std::size_t c = 0; c < channels; ++c) {
    Real sum = 0;
    for (int i = 0; i < length; i += step) sum += overlap[at(i, c)] * overlap[at(i, c)];
    reference[c] = static_cast<Real>(threshold) * sum;
  }
  Real best = 0;
  int bestOffset = 0;
  for (int o = 0; o < length; o += step) {
    bool accepted = true;
    Real total = 0;
    for (std::size_t c = 0; c < channels; ++c) {
      Real sum = 0;
      for (int i = 0; i < length; i += step) {
        const Real mix = overlap[at(i, c)] + input[at(o + i, c)];
        sum += mix * mix;
      }
      score[c] = sum;
      total += sum;
      accepted = accepted && (channels <= 2 ? sum > reference[c] : !(sum < reference[c]));
    }
    if (accepted) return o;
    if (total > best) {
      best = total;
      bestOffset = o;
    }
  }
  return bestOffset;
}

constexpr int kKinds = 10;

/// Samples of one kind of sound, or of what is none.
double Sample(int kind, int frame, std::size_t channel, bool tail, std::minstd_rand& random) {
  const double noise = std::uniform_real_distribution<double>(-1, 1)(random);
  constexpr double kTiny[] = {1e-20, 1e-38, 1e-160};
  if (kind == 1) return std::sin(frame * 0.05 + static_cast<double>(channel));
  if (kind == 2) return 0.25;
  if (kind == 3) return frame % 97 == 3 ? 1 : 0;
  if (kind == 4) return channel == 0 ? 0 : noise * (tail ? 1 : 1e-3);
  if (kind == 5) return noise * kTiny[channel % 3];
  if (kind == 6) return noise * 1e19;
  if (kind == 7 && frame == 200) return std::numeric_limits<double>::quiet_NaN();
  if (kind == 7 && frame == 201 && !tail) return std::numeric_limits<double>::infinity();
  if (kind == 8 && (tail || frame < 30)) return 0;
  if (kind == 9) return frame % 64 < 32 ? 0.5 : -0.5;  // many offsets score the same
  return noise;
}

template <class Real>
void CompareWithPlainLoops() {
  std::minstd_rand random(7);
  for (int kind = 0; kind < kKinds; ++kind) {
    for (const auto& [length, step] : {std::pair{0, 2}, {1, 1}, {7, 3}, {64, 1}, {500, 2}, {501, 1}, {970, 8}}) {
      for (const std::size_t channels : {1U, 2U, 3U, 6U}) {
        std::vector<Real> overlap(static_cast<std::size_t>(length) * channels);
        std::vector<Real> input(static_cast<std::size_t>(2 * length) * channels);
        for (int i = 0; i < 2 * length; ++i) {
          for (std::size_t c = 0; c < channels; ++c) {
            const auto s = static_cast<std::size_t>(i) * channels + c;
            const Real fade = Real{1} - static_cast<Real>(i) / static_cast<Real>(length);
            if (i < length) overlap[s] = fade * static_cast<Real>(Sample(kind, i, c, true, random));
            input[s] = static_cast<Real>(Sample(kind, i + 40, c, false, random));
          }
        }
        OffsetSearch<Real> search;
        StreamBudget budget;
        ASSERT_TRUE(search.Allocate(length, step, static_cast<std::uint32_t>(channels), budget));
        for (const float threshold : {0.5F, 3.5F, 4.4F, 6.0F, 7.5F, 100.0F}) {
          const int expected = PlainBestOffset(overlap, input, length, step, channels, threshold);
          for (const int form : {0, 1, 2, 3}) {
            const bool screen = form % 2 == 0;
            search.SetScreen(screen);
            search.SetWide(form < 2);
            EXPECT_EQ(search.FindBestOffset(overlap.data(), input.data(), threshold), expected)
                << "kind " << kind << " length " << length << " step " << step << " channels " << channels
                << " threshold " << threshold << " screen " << screen;
          }
        }
      }
    }
  }
}

TEST(OffsetSearch, FindsTheOffsetOfThePlainLoops) {
  CompareWithPlainLoops<float>();
  CompareWithPlainLoops<double>();
}

}  // namespace
}  // namespace korva
