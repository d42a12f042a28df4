#include <gtest/gtest.h>

#include <limits>

#include "pitchtime/pitchtime_rig.h"

namespace korva {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(PitchShift, OutputDoesNotDependOnTheSizesOfBuffers) {
  struct Case {
    double transposition;
    std::int32_t accuracy, mode;
    std::uint32_t rate;
    std::uint16_t channels;
    SampleFormat format;
    bool keep;
  };
  const Case cases[] = {
      {1.4983, 2, 0, 44100, 2, SampleFormat::kFloat32, true}, {0.7937, 3, 6, 44100, 1, SampleFormat::kFloat32, true},
      {0.5, 1, 6, 44100, 1, SampleFormat::kPcm16, true},      {0.5009, 2, 16, 44100, 2, SampleFormat::kPcm8, true},
      {0.51, 2, 18, 8000, 3, SampleFormat::kPcm32, true},     {2.0, 2, 12, 22050, 1, SampleFormat::kFloat64, true},
      {0.05, 2, 0, 44100, 1, SampleFormat::kFloat32, false},  {0.3, 1, 0, 44100, 3, SampleFormat::kPcm16, false},
      {1.0, 3, 0, 44100, 2, SampleFormat::kFloat32, false},   {19.0, 2, 0, 44100, 2, SampleFormat::kPcm8, false},
      {300.0, 3, 0, 44100, 1, SampleFormat::kFloat64, false}, {1.1, 2, 0, 7, 1, SampleFormat::kFloat32, true},
  };
  for (const Case& c : cases) {
    for (const std::size_t frames : {30000U, 30019U, 37711U}) {
      const auto input = Music(frames, c.channels);
      const auto make = [&] {
        PitchRig rig(c.transposition, c.keep, c.format, c.channels, c.rate);
        rig.store.block.accuracy = c.accuracy;
        rig.store.block.mode = c.mode;
        return rig.Run(input, 1000000, 1000000);
      };
      const auto expected = make();
      for (const auto& [in, out] : {std::pair<std::size_t, std::size_t>{1, 64}, {7, 4096}, {4096, 3}, {333, 100000}}) {
        PitchRig rig(c.transposition, c.keep, c.format, c.channels, c.rate);
        rig.store.block.accuracy = c.accuracy;
        rig.store.block.mode = c.mode;
        EXPECT_EQ(rig.Run(input, in, out), expected)
            << c.transposition << " keep " << c.keep << " frames " << frames << " in " << in << " out " << out;
        EXPECT_FALSE(rig.hung);
      }
    }
  }
}

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

TEST(PitchShift, RaisesAToneBySevenSemitonesWithinTwoCents) {
  const auto input = Sine(440, 200000);
  const double target = 440 * TranspositionOf(7, 0);
  for (const bool keep : {false, true}) {
    for (const std::int32_t accuracy : {1, 2, 3}) {
      PitchRig rig(TranspositionOf(7, 0), keep);
      rig.store.block.accuracy = accuracy;
      rig.store.block.antiAlias = 1;
      rig.store.block.mode = 6;
      rig.Run(input, 4096, 4096);
      EXPECT_LT(std::abs(CentsBetween(FrequencyOf(rig.output, 10000, rig.frames() - 10000), target)), 2)
          << keep << " accuracy " << accuracy;
    }
  }
}

TEST(PitchShift, FilterKeepsAliasesOutAndTheRestIn) {
  // Raised by an octave, 15 kHz would come back as 14.1 kHz.
  for (const SampleFormat format : {SampleFormat::kFloat32, SampleFormat::kPcm16, SampleFormat::kPcm32}) {
    double level[2] = {}, passed = 0;
    for (const int filter : {0, 1}) {
      PitchRig rig(2.0, false, format);
      rig.store.block.antiAlias = filter;
      rig.Run(Sine(15000, 60000), 1000, 1000);
      level[filter] = LevelOf(rig.output, 1000, rig.frames());
      PitchRig low(2.0, false, format);
      low.store.block.antiAlias = filter;
      low.Run(Sine(5000, 60000), 1000, 1000);
      passed = LevelOf(low.output, 1000, low.frames());
    }
    EXPECT_GT(level[0], 0.3);
    EXPECT_LT(level[1], 0.0015);
    EXPECT_NEAR(passed, 0.5 / std::sqrt(2), 0.006);
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

TEST(PitchShift, ClickTrainKeepsItsCount) {
  std::vector<double> clicks(352800);
  for (std::size_t i = 4000; i < clicks.size(); i += 11025) clicks[i] = clicks[i + 1] = 0.9;
  PitchRig rig(TranspositionOf(4, 0), true);
  rig.store.block.mode = 16;
  rig.Run(clicks, 4096, 4096);
  int count = 0;
  std::size_t last = 0;
  for (std::size_t i = 0; i < rig.frames(); ++i) {
    if (std::abs(rig.output[i]) < 0.2 || (count != 0 && i - last < 3000)) continue;
    ++count;
    last = i;
  }
  EXPECT_EQ(count, 32);
}

TEST(PitchShift, StrangeTranspositionsEndAndStayInRange) {
  for (const double transposition : {0.0, -1.0, kInfinity, -kInfinity, kNan, 1e300, 44101.0, 5e9}) {
    for (const bool keep : {false, true}) {
      PitchRig rig(transposition, keep, SampleFormat::kPcm16, 2);
      rig.store.block.antiAlias = 1;
      rig.Run(Music(20000, 2), 777, 555);
      EXPECT_FALSE(rig.hung) << transposition;
      EXPECT_EQ(rig.result, 1);
      const bool asUnity = !(transposition > 0) || std::isinf(transposition);
      EXPECT_EQ(rig.engine.resampleRatio(), asUnity ? 1.0 : 44100.0) << transposition;
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

TEST(PitchShift, EmptyStreamAndPaddingInEightBits) {
  // A new stage goes out as silence where the ratio is not below 1, and is cut where it is.
  const std::pair<double, std::size_t> empty[] = {{1.25, 2048}, {0.8, 0}};
  for (const auto& [transposition, expected] : empty) {
    PitchRig rig(transposition, true);
    rig.Run({}, 1, 100);
    EXPECT_EQ(rig.frames(), expected);
  }
  PitchRig rig(2.0, true, SampleFormat::kPcm8);
  rig.Run(std::vector<double>(30000, 0.25), 1000, 1000);
  ASSERT_EQ(rig.frames(), 30000U);
  EXPECT_EQ(rig.output.back(), -1.0);
}

TEST(PitchShift, FailedAllocationsAreToldAndMadeGood) {
  for (int allowed = 0; allowed < 16; ++allowed) {
    PitchRig rig(1.3, true, SampleFormat::kFloat32, 2);
    const auto input = Music(30000, 2);
    FailAllocationsAfter(allowed);
    const std::int32_t started = rig.Start();
    EXPECT_EQ(started, allowed == 0 ? kEngineOutOfMemory : 0);
    rig.Receive(input, 4096, ModeRestart);
    EXPECT_EQ(rig.result, allowed < 14 ? kEngineOutOfMemory : 0) << allowed;
    FailAllocationsAfter(-1);
    if (allowed % 2 == 0) rig.Receive(input, 4096, ModeRestart);
    rig.Receive(input, 4096);
    EXPECT_EQ(rig.result, 0);
    rig.Drain(4096);
    EXPECT_EQ(rig.result, 1);
    EXPECT_GE(rig.frames(), 30000U);
  }
}

// Rates, formats, samples and parameters that no host should send, with changes on the way.
TEST(PitchTime, AnythingMayCome) {
  const auto seed = std::random_device{}();
  std::mt19937 random(seed);
  SCOPED_TRACE(seed);
  const auto pick = [&](auto... values) {
    const double list[] = {static_cast<double>(values)...};
    return list[random() % std::size(list)];
  };
  const auto run = [&](auto& rig, auto change) {
    for (int stream = 0; stream < 2; ++stream) {
      change(rig.store.block);
      rig.Change();
      rig.Start();
      ProcessMode mode = ModeRestart;
      for (int buffer = 0; buffer < 6; ++buffer) {
        std::vector<double> input((random() % 1500) * rig.channels);
        const double level = pick(0, 1e-30, 0.5, 10, 1e30);
        for (double& x : input) {
          x = level * (static_cast<double>(random()) / 4294967295.0 * 2 - 1);
          if (random() % 4096 == 0) x = pick(kNan, kInfinity, -kInfinity);
        }
        rig.Receive(input, 1 + random() % 3000, mode);
        if (rig.result < 0) {
          ASSERT_EQ(rig.result, kEngineOutOfMemory);
        }
        mode = random() % 8 == 0 ? ModeRestart : ModeContinue;
        if (random() % 2 == 0) {
          change(rig.store.block);
          rig.store.changed = true;
          if (random() % 2 == 0) rig.engine.RaiseRebuild();
        }
        if (random() % 6 == 0) rig.Drain(1 + random() % 500);
        rig.output.clear();
      }
      rig.Drain(2000);
      ASSERT_FALSE(rig.hung);
      rig.engine.Release();
      if (random() % 2 == 0) rig.Drain(10);
      rig.output.clear();
    }
  };
  for (int round = 0; round < 30; ++round) {
    const auto format = static_cast<SampleFormat>(random() % 5);
    const auto channels = static_cast<std::uint16_t>(pick(1, 2, 3, 6, 32));
    const auto rate =
        static_cast<std::uint32_t>(pick(0, 1, 3, 6, 7, 100, 8000, 31999, 44100, 192000, 768000, 4294967295));
    TimeRig time(100, 0, format, channels, rate);
    run(time, [&](TimeParams& block) {
      block.percentTimes100 = pick(5000, 9999, 10000, 15000, 50000, 0, -5, kNan, kInfinity, 1e300);
      block.mode = static_cast<std::int32_t>(pick(0, 1, 5, 15, 18, 19, -1, 2147483647));
    });
    PitchRig pitch(1, false, format, channels, rate);
    run(pitch, [&](PitchsParams& block) {
      block.transposition = pick(0.05, 0.4, 0.5, 0.7, 1, 1.2, 2, 19, 0, -1, kNan, kInfinity, 1e300);
      block.mode = static_cast<std::int32_t>(pick(0, 1, 5, 15, 18, 19, -1));
      block.accuracy = static_cast<std::int32_t>(pick(1, 2, 3, 0, -7));
      block.preserveDuration = static_cast<std::int32_t>(random() % 2);
      block.antiAlias = static_cast<std::int32_t>(random() % 2);
    });
  }
}

TEST(PitchTime, UnknownFormatsAreRefusedAndNothingRuns) {
  for (const auto& [channels, bits] : {std::pair{0, 16}, {33, 16}, {2, 24}}) {
    FormatRecord format = MakeFormat(SampleFormat::kPcm16, static_cast<std::uint16_t>(channels), 44100);
    format.bitsPerSample = static_cast<std::uint16_t>(bits);
    StandInStore<TimeParams> timeStore(kTimeEffect);
    StandInStore<PitchsParams> pitchStore(kPitchsEffect);
    TimeEngine time(timeStore);
    PitchsEngine pitch(pitchStore);
    time.SetFormat(format);
    pitch.SetFormat(format);
    EXPECT_EQ(time.Reset(), kEngineFailed);
    pitch.Reset();
    std::int16_t samples[64] = {};
    for (StretchEngine* engine : {static_cast<StretchEngine*>(&time), static_cast<StretchEngine*>(&pitch)}) {
      std::uint32_t taken = 1, written = 1;
      EXPECT_EQ(engine->Process(ModeContinue, samples, &taken, samples, &written), kEngineFailed);
      EXPECT_EQ(taken + written, 0U);
      EXPECT_EQ(engine->Process(ModeFlush, nullptr, nullptr, samples, &written), kFinished);
    }
  }
}

}  // namespace
}  // namespace korva
