#include "frame/record.h"
#include "frame/row_values.h"
#include "pitchtime/pitchtime_rig.h"

namespace korva {
namespace {

TEST(PitchShift, LengthIsTheInputsWhereItIsKept) {
  // Without that, as many frames as the input could feed the taps of.
  const auto fed = [](std::size_t frames, double ratio) {
    return frames < 5 ? 0 : std::ceil((static_cast<double>(frames) - 4) / ratio);
  };
  for (const std::size_t frames : {1U, 100U, 5000U, 50000U, 123457U}) {
    const auto input = Music(frames);
    for (const double transposition : {0.3, 0.5, 0.66742, 0.9, 1.0, 1.25992, 1.4983, 2.0, 3.5}) {
      for (const char* const mode : {"mode=0", "mode=6", "mode=16"}) {
        StretchRig kept(Shifted(transposition, true, mode));
        EXPECT_EQ(kept.Run(input).size(), frames) << transposition << mode;
      }
      const auto output = StretchRig(Shifted(transposition, false)).Run(input);
      EXPECT_NEAR(static_cast<double>(output.size()), fed(frames, transposition), 2.5) << transposition;
    }
  }
  // Blocks move on by at most their length: lower than an octave goes no pitch that is kept in time.
  EXPECT_EQ(StretchRig(Shifted(0.3, true)).Run(Music(50000)), StretchRig(Shifted(0.5, true)).Run(Music(50000)));
  // The end is padded with bytes of zero, in eight bits too, where they are no silence.
  StretchRig eightBits(Shifted(2, true), MakeFormat(SampleFormat::kPcm8, 1, 44100));
  EXPECT_EQ(eightBits.Run(std::vector<double>(30000, 0.25)).back(), -1);
  // What no page gives acts as 1, or as the least and the most that there is.
  const std::pair<const char*, double> strange[] = {{"0", 1},   {"-1", 1},      {"inf", 1},     {"-inf", 1},
                                                    {"nan", 1}, {"1e300", 1e9}, {"44101", 1e9}, {"1e-300", 0.001}};
  for (const auto& [transposition, ratio] : strange) {
    for (const bool keep : {false, true}) {
      StretchRig rig(Shifted(1, keep, "anti-alias=1"), MakeFormat(SampleFormat::kPcm16, 2, 44100), 555 * 4);
      rig.Set(std::string("transposition=") + transposition);
      const auto frames = static_cast<double>(rig.Run(Music(500, 2), 77).size()) / 2;
      EXPECT_NEAR(frames, keep ? 500 : fed(500, ratio), keep ? 0 : 1) << transposition;
    }
  }
}

TEST(PitchShift, RaisesAToneWithinTwoCentsAndKeepsAliasesOut) {
  // 15 kHz would come back as 21.6 kHz, or where the output's rate is no longer enough for it.
  constexpr double kFifth = 1.498307;
  for (const bool keep : {false, true}) {
    for (const std::string accuracy : {"1", "2", "3"}) {
      for (const bool filter : {false, true}) {
        const auto run = [&](double hz, SampleFormat format) {
          const std::string more = "mode=6 accuracy=" + accuracy + (filter ? " anti-alias=1" : "");
          const auto output =
              StretchRig(Shifted(kFifth, keep, more), MakeFormat(format, 1, 44100)).Run(Sine(hz, 100000));
          return std::vector(output.begin() + 10000, output.end() - 10000);
        };
        const auto tone = run(440, SampleFormat::kPcm16);
        EXPECT_LT(std::fabs(CentsOff(tone, 440 * kFifth)), 2) << keep << accuracy;
        EXPECT_NEAR(LevelOf(tone), 0.5 / std::sqrt(2), 0.006);
        const double aliased = LevelOf(run(18000, SampleFormat::kFloat32));
        EXPECT_TRUE(filter ? aliased < 0.0015 : aliased > 0.05) << aliased << " " << keep << accuracy;
      }
    }
  }
}

TEST(PitchShift, KeepsPaceOverAnyTimeWhereAsked) {
  const auto input = Music(480'000);
  for (const bool keepPace : {true, false}) {
    StretchRig rig(Shifted(TranspositionOf(1, 0), true), MakeFormat(SampleFormat::kFloat32, 1, 8000));
    rig.filter.engine().SetKeepPace(keepPace);
    EXPECT_EQ(rig.graph.Start(), S_OK);
    // How far the output lags behind at most in each second.
    double given = 0, lags[60] = {};
    for (std::size_t at = 0; at < input.size(); at += 40) {
      given += static_cast<double>(rig.Send(std::span(input).subspan(at, 40), at == 0).size());
      lags[at / 8000] = std::max(lags[at / 8000], static_cast<double>(at + 40) - given);
    }
    const double drift = std::fabs(lags[59] - lags[3]);
    EXPECT_TRUE(keepPace ? drift <= 40 : drift >= 120) << drift;
  }
}

TEST(TimeStretch, LengthFollowsTheRatioAndShortStreamsAreExact) {
  for (const double percent : {50.0, 70.0, 100.0, 150.0, 263.7, 500.0}) {
    const auto length = [&](std::size_t frames, std::size_t size) {
      return static_cast<double>(StretchRig(Stretched(percent, 0)).Run(Music(frames), size).size());
    };
    // What is left at the end is less than half a block, but no last block is longer than a block.
    EXPECT_NEAR(length(600000, 4096), 600000 * percent / 100, std::max(6615 * percent / 100, 13230.0));
    // Half a block of row 0 is 6615 frames: what is below goes out in one block.
    for (const std::size_t frames : {0U, 1U, 2U, 1000U, 6614U}) {
      const double exact = std::floor(static_cast<double>(frames) * percent / 100);
      EXPECT_EQ(length(frames, 100), std::min(exact, 13230.0)) << frames << " at " << percent;
    }
  }
}

TEST(TimeStretch, StartsUnfadedAndKeepsThePitch) {
  const auto input = Sine(440, 300000);
  for (const double percent : {70.0, 100.0, 150.0, 300.0}) {
    const auto output = StretchRig(Stretched(percent, 6)).Run(input);
    const std::span sound(output.begin() + 2000, output.end() - 8000);
    EXPECT_LT(LargestDifference(std::span(output).first(600), std::span(input).first(600)), 1e-7);
    EXPECT_LT(std::fabs(CentsOff(sound, 440)), 2) << percent;
    // A splice out of phase would dent the tone.
    for (std::size_t i = 2000; i + 401 < sound.size(); i += 400) {
      ASSERT_NEAR(LevelOf(sound.subspan(i, 401)), 0.5 / std::sqrt(2), 0.03) << percent << " at " << i;
    }
  }
}

TEST(TimeStretch, AStreamMayGoOnAfterItsEnd) {
  for (const bool rebuilt : {false, true}) {
    for (const std::size_t frames : {30000U, 30700U, 31400U, 32100U}) {
      const auto input = Music(frames);
      StretchRig rig(Stretched(150, 3));
      ASSERT_EQ(rig.graph.Start(), S_OK);
      rig.Send(input, true);
      rig.End();
      if (rebuilt) rig.Set("mode=4 mode=3");
      // The last block comes too, not only whole ones.
      const auto after = static_cast<double>(rig.Send(input).size() + rig.End().size());
      EXPECT_NEAR(after, static_cast<double>(frames) * 1.5, 5000) << rebuilt;
    }
  }
}

TEST(TimeStretch, RecordsOfTheOlderFormHeldTenths) {
  const struct {
    TimeParams read, kept;
    bool within;
  } rows[] = {{{1500, 3, 900, 5.0, 2, 77}, {15000, 3, 9000, 5.0, 2, 77}, true},
              {{400, 3, 6000, 5.0, 2, 77}, {5000, 3, 50000, 5.0, 2, 77}, false},
              // A damaged tempo does not go round.
              {{1000, 0, 0x1999999AU, 0, 0, 0}, {10000, 0, 50000, 0, 0, 0}, false},
              {{1000, 0, 0xFFFFFFFFU, 0, 0, 0}, {10000, 0, 50000, 0, 0, 0}, false}};
  for (const auto& row : rows) {
    TimeParams block = row.read;
    kTimeEffect.forms[1].bringUpToDate(&block);
    EXPECT_EQ(HoldBlock(kTimeEffect, &block), row.within);
    for (const ParamDescriptor& field : kTimeEffect.rows) {
      EXPECT_TRUE(SameField(field, &block, &row.kept)) << row.read.percentTimes100 << ": " << field.name;
    }
  }
}

}  // namespace
}  // namespace korva
