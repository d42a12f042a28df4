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

TEST(PitchShift, UnityReturnsTheInputUpToRounding) {
  const auto input = Music(20000, 2);
  for (const char* const accuracy : {"accuracy=0", "accuracy=1", "accuracy=2", "accuracy=3", "accuracy=4"}) {
    StretchRig rig(Shifted(1, false, accuracy), MakeFormat(SampleFormat::kPcm16, 2, 44100));
    const auto output = rig.Run(input, 512);
    ASSERT_GT(output.size(), 2 * 19990U);
    EXPECT_LT(LargestDifference(output, std::span(input).first(output.size())), 1.1 / 32768);
  }
}

}  // namespace
}  // namespace korva
