#include <gtest/gtest.h>

#include "audio/sine.h"
#include "contract/shuffle.h"
#include "delay/echomt/echomt_engine.h"
#include "delay/echomt/echomt_params.h"
#include "support/held_params.h"
#include "support/seed.h"
#include "support/signals.h"

namespace korva {

/// The kernels once more in the plainest form, a frame and a tap at a time, on an engine that is brought in line as the
/// other is.
struct PlainEchomt {
  static void Frame(EchomtEngine& e, double* io) {
    const std::size_t sides = e.channels_ == 2 ? 2 : 1;
    const int length = e.lineLength_;
    const double swing = SineAndCosine(Single{e.modPhase_}).sine.value + 1.0;
    e.modPhase_ += e.modStep_;
    for (std::size_t l = 0; l < e.channels_ / sides; ++l) {
      double* const line = e.lines_[l].data();
      double in[2] = {}, held[2] = {}, sum[2] = {};
      for (std::size_t side = 0; side < sides; ++side) {
        in[side] = io[l + side] * e.inputGain_;
        held[side] = Soften(e, in[side], e.inputState_[l + side]);
      }
      for (std::size_t i = 0; i < static_cast<std::size_t>(e.tapCount_); ++i) {
        // Below the line it comes back in one short of its end, and so does the neighbour of the last.
        double position = e.tapPosition_[i] - swing * e.tapModDepth_[i];
        if (position < 0) position += length - 1;
        const auto index = static_cast<int>(std::nearbyint(position - 0.499999985));
        const int next = index + 1 < length - 1 ? index + 1 : index + 1 - (length - 1);
        const double here = line[(index + length) % length], beyond = line[(next + length) % length];
        const double value = here + (beyond - here) * (position - index);
        for (std::size_t side = 0; side < sides; ++side) sum[side] += value * e.tapGains_[side][i];
      }
      for (std::size_t side = 0; side < sides; ++side) {
        sum[side] = Soften(e, sum[side], e.outputState_[l + side]);
        io[l + side] = Flush(e.dryGain_ * in[side] + e.wetGain_ * sum[side]);
      }
      const double fed = sides == 2 ? ((sum[0] + sum[1]) * e.feedbackGain_ + (held[0] + held[1])) * 0.5
                                    : sum[0] * e.feedbackGain_ + held[0];
      line[e.writePosition_] = std::clamp(fed, -16777216.0, 16777216.0);
    }
    e.writePosition_ = (e.writePosition_ + length - 1) % length;
    for (std::int32_t& position : e.tapPosition_) position = (position + length - 1) % length;
  }

 private:
  static double Flush(double x) { return std::fabs(x) < std::ldexp(1.0, -32) ? 0.0 : x; }
  static double Soften(const EchomtEngine& e, double x, double& memory) {
    return memory = Flush(e.lowPassIn_ * x + e.lowPassBack_ * memory);
  }
};

namespace {

struct Stream : HeldParams<EchomtParams> {
  Stream(std::uint16_t channelCount, std::uint32_t rate, const EchomtParams& start)
      : HeldParams(start), channels(channelCount) {
    engine.SetFormat(MakeFormat(SampleFormat::kFloat64, channels, rate));
    EXPECT_EQ(engine.RestartEngine(), 0);
  }
  std::int32_t Run(ProcessMode mode, std::span<double> values) {
    const std::size_t offered = values.size() / channels;
    auto count = static_cast<std::uint32_t>(offered);
    const std::int32_t result = engine.Process(mode, values.data(), count, false);
    EXPECT_EQ(count, result < 0 ? 0 : offered);
    return result;
  }

  std::uint16_t channels;
  EchomtEngine engine{*this};
};

// Taps of full gain in the middle, nothing modulated or softened, everything at full level.
EchomtParams Taps(std::vector<std::int32_t> delays, std::int32_t feedback = 0) {
  EchomtParams params{};
  for (std::size_t i = 0; i < kEchomtTaps; ++i) {
    params.tapDelayMs[i] = i < delays.size() ? delays[i] : 1;
    params.tapGain[i] = 100;
  }
  params.tapCount = static_cast<std::int32_t>(delays.size());
  params.feedback = feedback;
  params.lowPassHz = 5000;
  params.modRate = 15;
  return params;
}

TEST(MultiTapDelay, EqualsThePlainFormToTheBit) {
  const Seed seed;
  std::mt19937 random(seed);
  for (int round = 0; round < 200; ++round) {
    constexpr std::uint32_t kRates[] = {1, 1000, 3000, 8000, 44100};
    constexpr std::uint16_t kChannels[] = {1, 2, 3, 6};
    EchomtParams params{};
    Shuffle(kEchomtEffect, &params, random);
    // Short taps are what blocks trip over.
    for (std::int32_t& delay : params.tapDelayMs) delay = std::min<std::int32_t>(delay, 1 << random() % 9);
    const std::uint16_t channels = kChannels[random() % 4];
    const std::uint32_t rate = kRates[random() % 5];
    SCOPED_TRACE(testing::Message() << "round " << round << ", channels " << channels << ", rate " << rate);
    Stream stream(channels, rate, params), plain(channels, rate, params);
    stream.engine.SetWide(round % 2 == 0);
    for (const bool edited : {false, true}) {
      // A live edit leaves the taps anywhere along the line.
      params.tapGain[0] = -params.tapGain[0];
      for (Stream* const s : {&stream, &plain}) {
        if (!edited) continue;
        s->block = params;
        s->changed = true;
        s->engine.MarkLinesStale();
        ASSERT_EQ(s->engine.Reset(false), 0);
      }
      auto samples = GridNoise(std::size_t{1500} * channels), expected = samples;
      const std::size_t size = channels * (1 + random() % 800);
      for (std::size_t at = 0; at < samples.size(); at += size) {
        stream.Run(ModeContinue, std::span(samples).subspan(at, std::min(size, samples.size() - at)));
      }
      for (std::size_t i = 0; i < expected.size(); i += channels) PlainEchomt::Frame(plain.engine, &expected[i]);
      ASSERT_EQ(LargestDifference(samples, expected), 0.0);
    }
  }
}

TEST(MultiTapDelay, AnImpulseComesBackWhereAndAsLoudAsTold) {
  const struct {
    std::uint16_t channels;
    std::int32_t pan, gain;
    double first[2], second[2];  // echoes at the left and the right
  } cases[] = {
      // An impulse of a half comes back, and what is fed back of it is 80 %, or less where the tap is loud.
      {1, 0, 100, {0.5}, {0.4}},
      {1, 100, -80, {-0.4}, {0.256}},
      // Two channels, of 0.5 and 0.75, meet in one line at half level.
      {2, 0, 100, {0.625, 0.625}, {0.25, 0.25}},
      {2, -100, 100, {0.625, 0}, {0.25, 0}},
      {2, 100, 100, {0, 0.625}, {0, 0.25}},
      {2, -40, 50, {0.3125, 0.1875}, {0.1, 0.06}},
      {2, 25, -80, {-0.375, -0.5}, {0.21, 0.28}},
  };
  constexpr std::size_t kDelay = 16 * 20 + 1;  // the first tap stands 1.968 frames late
  for (const auto& c : cases) {
    EchomtParams params = Taps({20}, 80);
    params.tapPan[0] = c.pan;
    params.tapGain[0] = c.gain;
    params.dryOut = -200;
    Stream stream(c.channels, 16000, params);
    std::vector<double> output(3 * kDelay * c.channels), expected(output.size());
    output[0] = 0.5;
    if (c.channels == 2) output[1] = 0.75;
    for (std::size_t side = 0; side < c.channels; ++side) {
      expected[side] = output[side] * 0.1;
      expected[kDelay * c.channels + side] = c.first[side];
      expected[2 * kDelay * c.channels + side] = c.second[side];
    }
    stream.Run(ModeContinue, output);
    EXPECT_LT(LargestDifference(output, expected), 1e-9) << c.pan << ", channels " << c.channels;
  }
}

TEST(MultiTapDelay, AFailedRebuildIsTriedAgain) {
  Stream stream(2, 8000, Taps({100}));
  std::vector<double> values(2 * 100);
  FailAllocationsAfter(0);
  // The first discontinuity after a start finds the lines as the start left them.
  EXPECT_EQ(stream.Run(ModeRestart, values), kGoOn);
  EXPECT_EQ(stream.Run(ModeRestart, values), kEngineOutOfMemory);
  FailAllocationsAfter(1);
  EXPECT_EQ(stream.Run(ModeContinue, values), kEngineOutOfMemory);
  EXPECT_FALSE(stream.engine.engineReady());
  EXPECT_LT(stream.Run(ModeFlush, values), 0);
  FailAllocationsAfter(-1);
  EXPECT_EQ(stream.Run(ModeContinue, values), kGoOn);
}

}  // namespace
}  // namespace korva
