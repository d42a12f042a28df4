#include <gtest/gtest.h>

#include <limits>

#include "pitchtime/pitchtime_rig.h"

namespace korva {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(PitchShift, LengthIsTheInputsWhereItIsKept) {
  for (const std::size_t frames : {1U, 100U, 5000U, 50000U, 123457U}) {
    for (const double transposition : {0.3, 0.5, 0.66742, 0.9, 1.0, 1.25992, 1.4983, 2.0, 3.5}) {
      for (const std::int32_t mode : {0, 6, 16}) {
        PitchRig kept(transposition, true);
        kept.store.block.mode = mode;
        kept.Run(Music(frames, 1), 4096, 4096);
        EXPECT_EQ(kept.frames(), frames) << transposition << " mode " << mode;
        EXPECT_FALSE(kept.hung);
      }
      // Otherwise as many frames as the input could feed the taps of.
      PitchRig free(transposition, false);
      free.Run(Music(frames, 1), 4096, 4096);
      const double fed = frames < 5 ? 0 : std::ceil((static_cast<double>(frames) - 4) / free.engine.resampleRatio());
      EXPECT_NEAR(static_cast<double>(free.frames()), fed, 1.0) << transposition;
    }
  }
}

TEST(PitchShift, RaisesAToneWithinTwoCentsAndKeepsAliasesOut) {
  // 15 kHz would come back as 21.6 kHz, or where the output's rate is no longer enough for it.
  const double shift = TranspositionOf(7, 0);
  for (const bool keep : {false, true}) {
    for (const std::int32_t accuracy : {1, 2, 3}) {
      for (const std::int32_t filter : {0, 1}) {
        const auto run = [&](double hz, SampleFormat format) {
          PitchRig rig(shift, keep, format);
          rig.store.block.accuracy = accuracy;
          rig.store.block.antiAlias = filter;
          rig.store.block.mode = 6;
          rig.Run(Sine(hz, 100000), 4096, 4096);
          return std::vector(rig.output.begin() + 10000, rig.output.end() - 10000);
        };
        const auto tone = run(440, SampleFormat::kPcm16), aliased = run(18000, SampleFormat::kFloat32);
        EXPECT_LT(std::abs(CentsBetween(FrequencyOf(tone, 0, tone.size()), 440 * shift)), 2) << keep << accuracy;
        EXPECT_NEAR(LevelOf(tone, 0, tone.size()), 0.5 / std::sqrt(2), 0.006);
        const double level = LevelOf(aliased, 0, aliased.size());
        EXPECT_TRUE(filter != 0 ? level < 0.0015 : level > 0.05) << level << " " << keep << accuracy;
      }
    }
  }
}

TEST(PitchShift, UnityReturnsTheInputUpToRounding) {
  const auto input = Music(20000, 2);
  for (const std::int32_t accuracy : {0, 1, 2, 3, 4}) {
    PitchRig rig(1.0, false, SampleFormat::kPcm16, 2);
    rig.store.block.accuracy = accuracy;
    rig.Run(input, 512, 512);
    ASSERT_GT(rig.frames(), 19990U);
    for (std::size_t i = 0; i < rig.output.size(); ++i) ASSERT_NEAR(rig.output[i], input[i], 1.1 / 32768) << i;
  }
}

TEST(PitchShift, StrangeTranspositionsEndAndStayInRange) {
  for (const double transposition : {0.0, -1.0, kInfinity, -kInfinity, kNan, 1e300, 44101.0, 5e-324}) {
    for (const bool keep : {false, true}) {
      PitchRig rig(transposition, keep, SampleFormat::kPcm16, 2);
      rig.store.block.antiAlias = 1;
      rig.Run(Music(500, 2), 77, 555);
      EXPECT_FALSE(rig.hung) << transposition;
      EXPECT_EQ(rig.result, 1);
      const bool asUnity = !(transposition > 0) || std::isinf(transposition);
      const double ratio = asUnity ? 1.0 : transposition > 1 ? 44100.0 : keep ? 0.5 : 0.001;
      EXPECT_EQ(rig.engine.resampleRatio(), ratio) << transposition;
    }
  }
}

TEST(PitchShift, RatioChangesKeepTheAudioHeld) {
  const auto tone = Sine(300, 80000);
  const auto first = std::span(tone).first(40000), second = std::span(tone).last(40000);
  for (const bool keep : {false, true}) {
    PitchRig rig(1.0, keep);
    ASSERT_EQ(rig.Start(), 0);
    rig.Receive(first, 4096, ModeRestart);
    rig.store.block.transposition = 1.3;
    rig.store.changed = true;
    rig.Receive(second, 4096);
    rig.Drain(4096);
    EXPECT_EQ(rig.result, 1);
    for (std::size_t i = 1; i + 1000 < rig.frames(); ++i) {
      ASSERT_LT(std::abs(rig.output[i] - rig.output[i - 1]), 0.08) << keep << " " << i;
    }
  }
}

TEST(PitchShift, PaddingInEightBitsIsNotSilence) {
  PitchRig rig(2.0, true, SampleFormat::kPcm8);
  rig.Run(std::vector<double>(30000, 0.25), 1000, 1000);
  ASSERT_EQ(rig.frames(), 30000U);
  EXPECT_EQ(rig.output.back(), -1.0);
}

TEST(PitchShift, KeepsPaceOverAnyTimeWhereAsked) {
  constexpr std::uint32_t kRate = 8000;
  const auto input = Music(std::size_t{kRate} * 60, 1);
  for (const int semitones : {-7, -1, 1, 7}) {
    // The first and the last lag behind the input, looked at as often as a block goes out.
    const auto drift = [&](bool keepPace) {
      PitchRig rig(TranspositionOf(semitones, 0), true, SampleFormat::kFloat32, 1, kRate);
      rig.engine.SetKeepPace(keepPace);
      EXPECT_EQ(rig.Start(), 0);
      std::vector<double> lags;
      for (std::size_t at = 0; at < input.size(); at += kRate) {
        double most = 0;
        for (std::size_t i = 0; i < kRate; i += 40) {
          rig.Receive(std::span(input).subspan(at + i, 40), 4096, at + i == 0 ? ModeRestart : ModeContinue);
          most = std::max(most, static_cast<double>(at + i + 40) - static_cast<double>(rig.frames()));
        }
        lags.push_back(most);
      }
      return std::abs(lags.back() - lags[3]);
    };
    EXPECT_LE(drift(true), 40) << semitones;
    EXPECT_TRUE(semitones != 1 || drift(false) >= 120);
  }
}

}  // namespace
}  // namespace korva
