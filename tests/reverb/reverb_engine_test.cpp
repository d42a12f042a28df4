#include <gtest/gtest.h>
#include <xmmintrin.h>

#include "reverb/reverb_params.h"
#include "reverb_oracle.h"
#include "reverb_rig.h"

namespace korva {
namespace {

const ReverbParams& Preset(std::int32_t index) {
  return *static_cast<const ReverbParams*>(kReverbEffect.presets.Block(index));
}

TEST(ReverbEngine, SamplesAreThoseOfTheOracleHoweverTheStreamIsCut) {
  const auto seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  constexpr std::size_t kFrames = 6000;
  // Every mode with its number of combs, the shortest and the longest pre-delay.
  for (std::int32_t mode = 0; mode < kReverbModes; ++mode) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}}) {
      for (const bool vector : {false, true}) {
        if (vector && channels != 2) continue;
        ReverbParams params = RandomParams(random);
        params.reverbMode = mode;
        if (mode < 3) params.preDelayMs = 100 * mode;
        const double rate = mode % 2 == 0 ? 44100 : 8000;
        SCOPED_TRACE(testing::Message() << "mode " << mode << ", channels " << channels << ", vector " << vector);
        Rig rig(params, SampleFormat::kFloat64, channels, static_cast<std::uint32_t>(rate), vector);
        ReverbOracle oracle(params, channels, rate, vector);
        for (int part = 0; part < 2; ++part) {
          auto expected = GridNoise(kFrames * channels);
          std::fill(expected.end() - 1000 * channels, expected.end(), 0.0);
          const auto cut = static_cast<std::uint32_t>(1 + random() % 500);
          const auto output = rig.Run(expected, cut, part == 0 ? ModeRestart : ModeContinue);
          for (std::size_t i = 0; i < expected.size(); i += channels) oracle.Run(&expected[i]);
          if (vector) {
            EXPECT_LT(LargestDifference(output, expected), 1e-12);
          } else {
            EXPECT_EQ(output, expected);
          }
          // What a setter changes leaves the lines alone.
          params = RandomParams(random);
          rig.store.block = params;
          rig.store.changed = true;
          oracle.Refresh(params);
        }
      }
    }
  }
}

TEST(ReverbEngine, OnlyARestartOfTheVectorKernelLeavesTheFlushBitsOn) {
  const unsigned before = _mm_getcsr() & ~0x8040U;
  for (const bool vector : {false, true}) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}}) {
      _mm_setcsr(before);
      Rig rig(Preset(0), SampleFormat::kFloat32, channels, 44100, vector);
      rig.Run(GridNoise(600));
      EXPECT_EQ(_mm_getcsr() & 0x8040U, 0U);
      rig.Run(GridNoise(600), 100, ModeRestart);
      EXPECT_EQ(_mm_getcsr() & 0x8040U, vector && channels == 2 ? 0x8040U : 0U);
    }
  }
  _mm_setcsr(before);
}

TEST(ReverbEngine, CombsAloneDecayInTheSetTime) {
  const auto burst = GridNoise(4410);
  for (std::int32_t mode = 0; mode < kReverbModes; ++mode) {
    const ReverbParams block = {-800, 0, -800, mode, 0, 20, 0, 0, 500, 0, 5000, 0};
    std::vector<double> input(4 * 44100);
    std::copy(burst.begin(), burst.end(), input.begin());
    auto output = Rig(block, SampleFormat::kFloat64, 1).Run(input);
    double energy = 0;
    for (auto i = output.rbegin(); i != output.rend(); ++i) *i = energy += *i * *i;
    const double start = output[8820];
    const auto below = [&](double db) {
      return std::find_if(output.begin() + 8820, output.end(),
                          [&](double e) { return e < start * std::pow(10, db / 10); });
    };
    const double seconds = static_cast<double>(below(-25) - below(-5)) / 44100 * 3;
    EXPECT_NEAR(seconds, 2.0, 0.1) << "mode " << mode;
  }
}

TEST(ReverbEngine, WhateverAllocationFailsTheEngineSaysSoAndComesBack) {
  const auto input = GridNoise(600);
  // A stereo stream has two combs more than mono; of three channels two share their lines.
  for (const auto& [channels, allocations] : {std::pair<std::uint16_t, int>{1, 12}, {2, 14}, {3, 24}}) {
    const auto expected = Rig(Preset(0), SampleFormat::kFloat32, channels).Run(input);
    int failures = 0;
    for (int allowed = 0;; ++allowed) {
      FailAllocationsAfter(allowed);
      Rig rig(Preset(0), SampleFormat::kFloat32, channels);
      if (rig.started == 0) break;
      ++failures;
      EXPECT_EQ(rig.started, kEngineOutOfMemory);
      EXPECT_FALSE(rig.engine.engineReady());
      EXPECT_EQ(rig.Run(input), input);
      EXPECT_EQ(rig.result, kEngineOutOfMemory);
      std::uint32_t frames = 100;
      EXPECT_EQ(rig.engine.ReverbProcess(ModeFlush, nullptr, frames, false), kFinished);
      EXPECT_EQ(frames, 0U);
      FailAllocationsAfter(-1);
      EXPECT_EQ(rig.Run(input), expected);
    }
    FailAllocationsAfter(-1);
    EXPECT_EQ(failures, allocations);
  }
}

TEST(ReverbEngine, NothingRunsWithoutAStartOrAFormat) {
  StandInStore store;
  ReverbEngine engine(store);
  const auto process = [&](std::int32_t mode) {
    std::uint32_t frames = 64;
    const auto result = engine.ReverbProcess(mode, nullptr, frames, false);
    EXPECT_EQ(frames, 0U);
    return result;
  };
  EXPECT_EQ(process(ModeContinue), kEngineFailed);
  engine.SetFormat(MakeFormat(SampleFormat::kFloat32, 33, 44100));
  EXPECT_EQ(process(ModeRestart), kEngineFailed);
  engine.ReverbRelease();
  // A format and a refresh while stopped must cost nothing.
  FailAllocationsAfter(0);
  engine.SetFormat(MakeFormat(SampleFormat::kFloat32, 2, 0xFFFFFFFF));
  EXPECT_EQ(engine.UpdateEngine(store.block, ModeRestart), 0);
  FailAllocationsAfter(-1);
  EXPECT_EQ(process(ModeContinue), kEngineFailed);
  EXPECT_EQ(process(ModeFlush), kFinished);
  EXPECT_EQ(engine.ReverbReset(), kEngineOutOfMemory);
  // The longest comb of all is granted by itself; all channels' together are not.
  store.block.reverbMode = 6;
  engine.SetFormat(MakeFormat(SampleFormat::kFloat32, 32, 8'000'000));
  EXPECT_EQ(engine.ReverbReset(), kEngineOutOfMemory);
  engine.SetFormat(MakeFormat(SampleFormat::kFloat32, 32, 768'000));
  EXPECT_EQ(engine.ReverbReset(), 0);
}

}  // namespace
}  // namespace korva
