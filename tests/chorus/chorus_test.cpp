#include <gtest/gtest.h>

#include "chorus/chorus_engine.h"
#include "chorus/chorus_params.h"
#include "contract/shuffle.h"
#include "support/seed.h"
#include "support/signals.h"

namespace korva {

/// The kernels once more in the plainest form, one frame and one voice at a time, on an engine that is brought in line
/// as the other is.
struct PlainChorus {
  static void Frame(ChorusEngine& e, double* s) {
    for (int c = 0; c < e.channels_; ++c) s[c] *= e.inGain_;
    for (int v = 0; v < e.voiceCount_; ++v) {
      ChorusEngine::Voice& voice = e.voices_[static_cast<std::size_t>(v)];
      const std::int32_t length = e.lineFrames_;
      double position = voice.sine.From<Single>(voice.phase).At(0).value * e.depthFrames_ + voice.readPos;
      position += position >= length ? -length : position < 0 ? length : 0;
      const double index = std::nearbyint(position - 0.499999985);
      const auto at = static_cast<std::int32_t>(index);
      for (int c = 0; c < e.channels_; ++c) {
        const auto frame = [&](std::int32_t i) -> double& {
          return voice.line[static_cast<std::size_t>((i + length) % length) * static_cast<std::size_t>(e.channels_) +
                            static_cast<std::size_t>(c)];
        };
        double& memory = voice.memory[static_cast<std::size_t>(c)];
        double y = (frame(at + 1) - frame(at)) * (position - index) + frame(at);
        y = y * e.lowPassIn_ + memory * e.lowPassBack_;
        memory = y = std::fabs(y) < 2e-11 ? 0 : y;
        const double x = s[c], pan = e.pan_[c == 0 ? 0 : 1];
        if (e.channels_ != 2) {
          s[c] = y * voice.gain + (v == 0 ? x * e.dryGain_ : x);
        } else {
          s[c] = v == 0 ? voice.gain * y * pan + e.dryGain_ * x : x + y * pan;
        }
        frame(voice.writePos) = e.feedbackGain_ * y + x;
      }
      voice.writePos = voice.writePos > 0 ? voice.writePos - 1 : length - 1;
      voice.readPos = voice.readPos >= 1 ? voice.readPos - 1 : length - 1;
      voice.phase = voice.phase + 1 >= voice.period ? 0 : voice.phase + 1;
    }
  }
};

namespace {

TEST(ChorusEngine, EqualsThePlainFormToTheBit) {
  const Seed seed;
  std::mt19937 random(seed);
  for (int round = 0; round < 150; ++round) {
    constexpr std::uint32_t kRates[] = {1, 9, 8000, 11025, 44100, 96000};
    constexpr std::uint16_t kChannels[] = {1, 2, 3, 6, 32};
    const FormatRecord format = MakeFormat(SampleFormat::kFloat64, kChannels[random() % 5], kRates[random() % 6]);
    ChorusEngine engine, plain;
    ASSERT_EQ(engine.Start(format), 0);
    ASSERT_EQ(plain.Start(format), 0);
    for (int part = 0; part < 8; ++part) {
      ChorusParams block{};
      Shuffle(kChorusEffect, &block, random);
      const TempoInfo tempo{static_cast<std::uint32_t>(random() % 16), 30.0 + static_cast<double>(random() % 300)};
      const bool continuous = part != 0 && random() % 2 == 0, rebuild = random() % 2 == 0, follows = random() % 2 == 0;
      for (ChorusEngine* const e : {&engine, &plain}) {
        if (rebuild) e->AskFor(kChangeRebuild);
        e->UpdateEngine(block, continuous, follows ? &tempo : nullptr);
      }
      auto samples = GridNoise((1 + random() % 1500) * format.channels, 0.9), expected = samples;
      engine.Process(samples.data(), static_cast<std::uint32_t>(samples.size() / format.channels));
      for (std::size_t i = 0; i < expected.size(); i += format.channels) PlainChorus::Frame(plain, &expected[i]);
      ASSERT_EQ(LargestDifference(samples, expected), 0.0) << Describe(format) << ", part " << part;
    }
  }
}

// A swing of 2 Hz and a tenth of 50 ms moves the tap by 40 frames to both sides, four times a second through its
// centre; one that follows a song at 90 in 6/8 and lasts a measure takes two seconds. A low-pass whose corner is at
// half the rate is none.
TEST(ChorusEngine, TheSwingIsAsWideAndAsLongAsToldByHandAndBySong) {
  const TempoInfo song{kTempoValid | kMeterValid, 90, 6, 8};
  for (const bool synced : {false, true}) {
    ChorusParams block{0, -600, 0, 1, 0, 0, 500, 2000, 10, 1, 4000, 0, 0, 18, 1000, synced ? 1 : 0};
    ChorusEngine engine;
    ASSERT_EQ(engine.Start(MakeFormat(SampleFormat::kFloat64, 1, 8000)), 0);
    engine.UpdateEngine(block, false, &song);
    // A ramp tells how old what is heard is.
    std::vector<double> ramp(40000);
    for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<double>(i);
    engine.Process(ramp.data(), 40000);
    double least = 1e9, most = 0;
    int crossings = 0;
    for (std::size_t i = 8000; i < ramp.size(); ++i) {
      const auto frame = static_cast<double>(i);
      const double age = frame - ramp[i] / 0.9, before = frame - 1 - ramp[i - 1] / 0.9;
      least = std::min(least, age);
      most = std::max(most, age);
      crossings += (age > 400.5) != (before > 400.5) ? 1 : 0;
    }
    EXPECT_NEAR(least, 360, 0.1);
    EXPECT_NEAR(most, 440, 0.1);
    EXPECT_NEAR(crossings, synced ? 4 : 16, 1);
  }
}

}  // namespace
}  // namespace korva
