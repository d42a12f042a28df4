#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

#include "reverb/reverb_params.h"
#include "reverb_rig.h"

namespace korva {
namespace {

constexpr SampleFormat kFormats[] = {SampleFormat::kPcm8, SampleFormat::kPcm16, SampleFormat::kPcm32,
                                     SampleFormat::kFloat32, SampleFormat::kFloat64};

const ReverbParams& Preset(std::int32_t index) {
  return *static_cast<const ReverbParams*>(kReverbEffect.presets.Block(index));
}

/// Wet only, unfiltered: what comes out is combs and taps alone.
ReverbParams Bare(std::int32_t mode, std::int32_t style, std::int32_t preDelayMs) {
  return {-800, 0, -200, mode, style, 20, preDelayMs, 0, 500, 0, 5000, 0};
}

double Worst(const std::vector<double>& a, const std::vector<double>& b) {
  EXPECT_EQ(a.size(), b.size());
  double worst = 0;
  for (std::size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::fabs(a[i] - b[i]));
  return worst;
}

TEST(ReverbEngine, SamplesDependNeitherOnCuttingNorOnTheKernelNorOnTheFormat) {
  constexpr std::size_t kFrames = 9000;
  // Modes of 8, 9 and 10 combs, pre-delays of one, few and many entries, each filter on and off.
  const ReverbParams blocks[] = {
      Preset(0),
      Preset(4),
      Preset(9),
      {-60, -200, -200, 1, 2, 30, 0, 0, 20, 0, 100, 0},
      {-60, -200, -200, 7, 0, 20, 200, 0, 20, 1, 3000, 0},
      {-60, -200, -200, 15, 1, 5, 1, 1, 400, 0, 5000, 0},
  };
  const double step[] = {1.0 / 128, 1.0 / 32768, 1.0 / 2147483648.0, 1e-6, 0};
  for (const ReverbParams& block : blocks) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}}) {
      SCOPED_TRACE(testing::Message() << "mode " << block.reverbMode << ", channels " << channels);
      const auto input = Noise(kFrames * channels, 0.25);
      const auto exact = Rig(block, SampleFormat::kFloat64, channels).Run(input, kFrames);
      EXPECT_LT(Worst(Rig(block, SampleFormat::kFloat64, channels, 44100, false).Run(input), exact), 1e-6);
      for (const SampleFormat format : kFormats) {
        const auto whole = Rig(block, format, channels).Run(input, kFrames, ModeRestart);
        EXPECT_LE(Worst(whole, exact), step[static_cast<int>(format)] * 0.51);
        for (const std::uint32_t cut : {1U, 7U, 64U, 4096U}) {
          EXPECT_EQ(Rig(block, format, channels).Run(input, cut, ModeRestart), whole) << cut;
        }
      }
    }
  }
}

struct Echo {
  double left = 0, right = 0;
};

/// Where an impulse of the left or only channel must come back first, and how loud.
std::map<std::size_t, Echo> Echoes(const ReverbParams& block, bool stereo, double rate) {
  const ReverbModeRow& mode = kReverbModeTable[static_cast<std::size_t>(block.reverbMode)];
  const EarlyStyleRow& style = kEarlyStyleTable[static_cast<std::size_t>(block.earlyStyle)];
  const auto later = static_cast<std::size_t>(std::max(1.0, std::floor(block.preDelayMs * rate / 1000))) - 1;
  const double decay = block.decayTenths / 10.0;
  std::map<std::size_t, Echo> echoes;
  const auto comb = [&](double ms, double left, double right) {
    const double gain = std::pow(10, -3 * ms / 1000 / decay) * (stereo ? 0.5 : 1);
    Echo& echo = echoes[static_cast<std::size_t>(std::floor(ms * rate / 1000 + 0.5)) + later];
    echo.left += gain * left;
    echo.right += gain * right;
  };
  for (std::size_t i = 0; i < static_cast<std::size_t>(mode.combCount); ++i) {
    const bool own = stereo && i < 2;
    comb(mode.delayMs[i], 1, own ? 0 : 1);
    if (own) comb(mode.delayMs[i] * (i == 0 ? 0.93 : 1.06), 0, 1);
  }
  const double shift[] = {0.051, 0.151, 0.078};
  for (std::size_t t = 0; t < 3; ++t) {
    Echo& echo = echoes[static_cast<std::size_t>(std::floor((style.tapMs[t] + shift[t]) * rate / 1000))];
    const double gain = style.gainPercent[t] / 1000.0;
    const double right = stereo ? (style.pan[t] + 100) / 200.0 : 1;
    echo.left += gain * (stereo ? 1 - right : 1);
    echo.right += gain * right;
  }
  return echoes;
}

TEST(ReverbEngine, AnImpulseComesBackWhereAndAsLoudAsTheTablesSay) {
  for (std::int32_t mode = 0; mode < kReverbModes; ++mode) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{4}}) {
      const ReverbParams block = Bare(mode, mode % kEarlyStyles, mode % 3 == 0 ? 0 : mode);
      const auto& delays = kReverbModeTable[static_cast<std::size_t>(mode)].delayMs;
      // Up to where the shortest comb repeats itself.
      const auto frames = static_cast<std::size_t>(*std::min_element(delays.begin(), delays.end()) * 1.85 * 44.1);
      const std::size_t struck = channels == 4 ? 2 : 0;
      const auto output =
          Rig(block, SampleFormat::kFloat64, channels).Run(Impulse(frames, channels, struck), 100, ModeRestart);
      const auto echoes = Echoes(block, channels == 2, 44100);
      for (std::size_t i = 0; i < frames; ++i) {
        const auto at = echoes.find(i);
        const Echo echo = at == echoes.end() ? Echo{} : at->second;
        for (std::size_t c = 0; c < channels; ++c) {
          const double expected = c == 1 && channels == 2 ? echo.right : c == struck ? echo.left : 0;
          ASSERT_NEAR(output[i * channels + c], expected, 1e-12)
              << "mode " << mode << " channels " << channels << " channel " << c << " frame " << i;
        }
      }
    }
  }
}

TEST(ReverbEngine, CombsAloneDecayInTheSetTime) {
  const auto burst = Noise(4410);
  for (std::int32_t mode = 0; mode < kReverbModes; ++mode) {
    ReverbParams block = Bare(mode, 0, 0);
    block.earlyOut = -800;
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

TEST(ReverbEngine, SilentPathsAreExactlyZeroAndBypassTouchesNothing) {
  const auto input = Noise(20000);
  for (const bool vector : {false, true}) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}}) {
      EXPECT_EQ(Rig({0, -800, -800, 3, 3, 20, 5, 1, 100, 1, 5000, 0}, SampleFormat::kFloat64, channels, 44100, vector)
                    .Run(input),
                input);
      const auto nothing =
          Rig({-800, -800, -800, 3, 3, 20, 5, 1, 100, 1, 5000, 0}, SampleFormat::kFloat64, channels, 44100, vector)
              .Run(input);
      EXPECT_EQ(std::count(nothing.begin(), nothing.end(), 0.0), 20000);

      Rig rig(Preset(0), SampleFormat::kFloat64, channels, 44100, vector);
      rig.Run(input);
      rig.store.block.bypass = 1;
      rig.store.changed = true;
      const std::vector<double> silence(2000);
      EXPECT_EQ(rig.Run(silence), silence);
    }
  }
}

TEST(ReverbEngine, FiltersKeepWhatTheySayOutOfTheReverberation) {
  // Power of the reverberation of a sine, against the unfiltered one.
  const auto power = [](double hz, const ReverbParams& block) {
    std::vector<double> input(44100);
    for (std::size_t i = 0; i < input.size(); ++i)
      input[i] = std::sin(6.283185307 * hz * static_cast<double>(i) / 44100);
    double sum = 0;
    for (const double x : Rig(block, SampleFormat::kFloat64, 1).Run(input)) sum += x * x;
    return sum;
  };
  ReverbParams open = Bare(0, 0, 0), noBass = open, noHigh = open;
  noBass.bassOn = noHigh.highOn = 1;
  noBass.bassHz = 1000;
  noHigh.highHz = 1000;
  EXPECT_LT(power(40, noBass), 0.05 * power(40, open));
  EXPECT_GT(power(8000, noBass), 0.8 * power(8000, open));
  EXPECT_LT(power(8000, noHigh), 0.05 * power(8000, open));

  // A corner at or above the rate leaves the low-pass open; one below the lowest that there is works as that one.
  const auto input = Noise(5000);
  ReverbParams above = open;
  above.highOn = 1;
  above.highHz = 15000;
  EXPECT_EQ(Rig(above, SampleFormat::kFloat64, 1, 8000).Run(input),
            Rig(open, SampleFormat::kFloat64, 1, 8000).Run(input));
  ReverbParams lowest = noBass, lower = noBass;
  lowest.bassHz = 38;
  lower.bassHz = 10;
  EXPECT_EQ(Rig(lowest, SampleFormat::kFloat64, 1).Run(input), Rig(lower, SampleFormat::kFloat64, 1).Run(input));
}

TEST(ReverbEngine, TailIsWholeSecondsLong) {
  struct Case {
    std::int32_t decayTenths;
    std::uint32_t seconds;
  };
  for (const Case c : {Case{5, 0}, Case{9, 0}, Case{10, 1}, Case{29, 2}, Case{50, 5}}) {
    for (const std::uint32_t cut : {1000U, 44100U}) {
      ReverbParams block = Preset(0);
      block.decayTenths = c.decayTenths;
      Rig rig(block, SampleFormat::kPcm16, 2);
      rig.Run(Noise(8820));
      std::vector<std::int16_t> buffer(cut * 2);
      std::uint32_t total = 0, frames = 0;
      std::int32_t result = kGoOn;
      for (int pass = 0; pass < 1000 && result == kGoOn; ++pass) {
        frames = cut;
        result = rig.engine.ReverbProcess(ModeFlush, buffer.data(), frames, false);
        total += frames;
      }
      EXPECT_EQ(result, kFinished);
      EXPECT_EQ(total, c.seconds * 44100) << c.decayTenths;
    }
  }
}

TEST(ReverbEngine, TailOnlyBuffersRunUpToTheLimitAndTheNextRealOneStartsAfresh) {
  const ReverbParams block = Bare(0, 0, 0);
  Rig rig(block, SampleFormat::kFloat32, 1, 8000);
  const auto input = Noise(4000);
  const auto fresh = rig.Run(input);
  std::vector<float> buffer(10000);
  for (const std::uint32_t expected : {10000U, 6000U, 0U, 0U}) {
    std::uint32_t frames = 10000;
    const auto result = rig.engine.ReverbProcess(ModeContinue, buffer.data(), frames, true);
    EXPECT_EQ(frames, expected);
    EXPECT_EQ(result, expected == 0 ? kFinished : kGoOn);
  }
  EXPECT_TRUE(rig.engine.tailOnlyDone());
  EXPECT_EQ(rig.Run(input), fresh);
  EXPECT_FALSE(rig.engine.tailOnlyDone());
  EXPECT_TRUE(rig.engine.engineReady());
}

TEST(ReverbEngine, OnlyStaleLinesARestartOrAnEngineNotReadyDropTheOldReverb) {
  const std::vector<double> silence(3000);
  const auto sounds = [&](auto change) {
    Rig rig(Bare(2, 0, 0), SampleFormat::kFloat32, 2);
    rig.Run(Noise(20000));
    rig.store.block.reverbMode = 1;  // fewer combs: the refresh reads the row past its count
    rig.store.changed = true;
    const std::int32_t mode = change(rig.engine);
    const auto output = rig.Run(silence, 4096, mode);
    return std::count(output.begin(), output.end(), 0.0) < 3000;
  };
  EXPECT_TRUE(sounds([](ReverbEngine&) { return ModeContinue; }));
  EXPECT_FALSE(sounds([](ReverbEngine&) { return ModeRestart; }));
  EXPECT_FALSE(sounds([](ReverbEngine& engine) { return engine.MarkNotReady(), ModeContinue; }));
  EXPECT_FALSE(sounds([](ReverbEngine& engine) { return engine.MarkLinesStale(true), ModeContinue; }));
}

TEST(ReverbEngine, WhateverAllocationFailsTheEngineSaysSoAndComesBack) {
  const auto input = Noise(600);
  for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}}) {
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
    EXPECT_EQ(failures, channels == 2 ? 14 : 12 * channels);
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
  EXPECT_TRUE(engine.usesVectorKernel()) << "every 64-bit processor has what it needs";
  EXPECT_EQ(process(ModeContinue), kEngineFailed);
  engine.SetFormat(MakeFormat(SampleFormat::kFloat32, 33, 44100));
  EXPECT_EQ(process(ModeRestart), kEngineFailed);
  engine.SetFormat(MakeFormat(SampleFormat::kFloat32, 2, 44100));
  EXPECT_EQ(engine.ReverbReset(), 0);
  engine.ReverbRelease();
  // A format and a refresh while stopped must cost nothing.
  FailAllocationsAfter(0);
  engine.SetFormat(MakeFormat(SampleFormat::kFloat32, 2, 0xFFFFFFFF));
  EXPECT_EQ(engine.UpdateEngine(store.block, ModeRestart), 0);
  FailAllocationsAfter(-1);
  EXPECT_EQ(process(ModeContinue), kEngineFailed);
  EXPECT_EQ(process(ModeFlush), kFinished);
  EXPECT_EQ(engine.ReverbReset(), kEngineOutOfMemory);
}

TEST(ReverbEngine, AnyRateAnyChannelsAnyBlockAnySamplesStayInBounds) {
  const auto seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::minstd_rand random(seed);
  const auto any = [&](auto... choices) {
    const std::common_type_t<decltype(choices)...> list[] = {choices...};
    return list[random() % std::size(list)];
  };
  const auto row = [&](std::int32_t low, std::int32_t high) {
    if (random() % 16 == 0)
      return any(std::numeric_limits<std::int32_t>::min(), -1, 0, 4000, std::numeric_limits<std::int32_t>::max());
    return low + static_cast<std::int32_t>(random() % static_cast<std::uint32_t>(high - low + 1));
  };
  const auto block = [&] {
    return ReverbParams{row(-800, 0), row(-800, 0), row(-800, 0),  row(0, 18), row(0, 9),       row(5, 50),
                        row(0, 200),  row(0, 1),    row(10, 5000), row(0, 1),  row(100, 15000), row(0, 1)};
  };
  for (int round = 0; round < 50; ++round) {
    const auto channels =
        any(std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}, std::uint16_t{6}, std::uint16_t{32});
    const auto rate = any(0U, 1U, 10U, 300U, 8000U, 44100U, channels < 4 ? 768000U : 96000U, 0xFFFFFFFFU);
    Rig rig(block(), kFormats[random() % 5], channels, rate, random() % 2 == 0);
    const bool odd = random() % 4 == 0;
    for (int pass = 0; pass < 6; ++pass) {
      auto input = Noise(channels * (random() % 1000 + 1));
      if (odd) input[random() % input.size()] = any(1e300, std::numeric_limits<double>::infinity(), std::nan(""));
      if (random() % 2 == 0) {
        rig.store.block = block();
        rig.store.changed = true;
      }
      if (random() % 4 == 0) rig.engine.MarkLinesStale(true);
      // An engine that lacks memory tries again at every buffer.
      const std::uint32_t cut = rig.engine.engineReady() ? any(5U, 64U, 4096U) : 4096U;
      const auto output = rig.Run(input, cut, any(ModeRestart, ModeContinue, ModeFlush));
      EXPECT_EQ(output.size(), input.size());
    }
  }
}

TEST(ReverbEngine, ARestartFindsItsWayBackFromSamplesThatAreNoNumbers) {
  for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}}) {
    Rig rig(Preset(0), SampleFormat::kFloat32, channels);
    auto input = Noise(3000);
    input[0] = std::nan("");
    rig.Run(input, 4096, ModeRestart);
    const auto output = rig.Run(Noise(3000), 4096, ModeRestart);
    EXPECT_TRUE(std::all_of(output.begin(), output.end(), [](double x) { return std::isfinite(x); }));
  }
}

}  // namespace
}  // namespace korva
