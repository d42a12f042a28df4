#include "delay/echomt/echomt_engine.h"

#include "delay/delay_shared.h"
#include "delay/echomt/echomt_params.h"

namespace korva {
namespace {

struct Stream : ParamSource<EchomtParams> {
  Stream(SampleFormat format, std::uint16_t channels, std::uint32_t rate, const EchomtParams& start)
      : record(MakeFormat(format, channels, rate)), params(start) {
    engine.SetFormat(record);
  }
  bool FetchParams(EchomtParams& block) noexcept override {
    block = params;
    return std::exchange(changed, false);
  }
  void Change(const EchomtParams& next, bool lines) {
    params = next;
    changed = true;
    if (lines) engine.MarkLinesStale();
  }
  std::pair<std::int32_t, std::uint32_t> Run(ProcessMode mode, std::vector<double>& values, bool tailOnly = false) {
    Samples samples(record, values);
    std::uint32_t count = samples.frames();
    const std::int32_t result = engine.Process(mode, samples.bytes.data(), count, tailOnly);
    values = samples.Values();
    return {result, count};
  }

  FormatRecord record;
  EchomtParams params;
  bool changed = true;
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

TEST(MultiTapDelay, LinesAndTailsAreAsLongAsTold) {
  struct Case {
    const char* name;
    std::uint32_t rate;
    std::int32_t delay, depth, feedback;
    std::int32_t line;
    std::uint32_t tail;
  };
  const Case cases[] = {
      {"largest at 48 kHz", 48000, 2500, 100, 0, 126598, 126598},
      {"44 frames to the millisecond", 44100, 1000, 0, 50, 46216, 5 * 46216},
      {"almost endless", 44100, 1000, 0, 99, 46216, 299 * 46216},
      {"endless", 44100, 1000, 0, 100, 46216, 882000},
      {"growing", 44100, 1000, 0, 150, 46216, 882000},
      {"shortest", 1, 2500, 100, 50, 2, 10},
      {"no rate", 0, 2500, 100, 0, 2, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EchomtParams params = Taps({c.delay, c.delay, c.delay, c.delay, c.delay, c.delay, c.delay, c.delay}, c.feedback);
    if (c.rate == 44100) params.tapCount = 2;  // the second tap stands 16 frames late
    params.modDepth = c.depth;
    Stream stream(SampleFormat::kFloat32, 2, c.rate, params);
    ASSERT_EQ(stream.engine.RestartEngine(), 0);
    EXPECT_EQ(stream.engine.lineLength(), c.line);
    EXPECT_EQ(stream.engine.tailLeft(), c.tail);
  }
}

TEST(MultiTapDelay, AnImpulseComesBackWhereAndAsLoudAsTold) {
  struct Case {
    std::int32_t pan, gain;
    double left, right;
  };
  const Case cases[] = {{0, 100, 1, 1},      {-100, 100, 1, 0},  {100, 100, 0, 1},
                        {-40, 50, 0.5, 0.3}, {40, 50, 0.3, 0.5}, {25, -80, -0.6, -0.8}};
  const std::size_t delay = 16 * 20 + 1;  // the first tap's offset is 1.968 frames, the second's 6.032
  for (const Case& c : cases) {
    for (const std::uint16_t channels : Channels{1, 2, 3}) {
      SCOPED_TRACE(testing::Message() << "pan " << c.pan << " channels " << channels);
      EchomtParams params = Taps({20, 60}, 80);
      params.tapPan[0] = c.pan;
      params.tapGain[0] = c.gain;
      params.tapGain[1] = 0;
      params.inputGain = -60;
      params.dryOut = -100;
      params.wetOut = -20;
      Stream stream(SampleFormat::kFloat64, channels, 16000, params);
      ASSERT_EQ(stream.engine.RestartEngine(), 0);
      const auto input = Impulse(3 * delay, channels);
      auto output = input;
      stream.Run(ModeContinue, output);
      const double gain = c.gain / 100.0;
      const double sum = channels == 2 ? c.left + c.right : gain;
      const double feedback = 0.8 / std::max(1.0, sum);
      // A pair of channels meets in one line at half level; any other channel keeps to itself.
      for (std::size_t channel = 0; channel < channels; ++channel) {
        const double in = input[channel] * std::pow(10.0, -0.3);
        const double held = channels == 2 ? (input[0] + input[1]) * std::pow(10.0, -0.3) * 0.5 : in;
        const double tap = channels == 2 ? (channel == 0 ? c.left : c.right) : gain;
        const double again = channels == 2 ? (c.left + c.right) * feedback * 0.5 : gain * feedback;
        const double wet = std::pow(10.0, -0.1);
        for (std::size_t i = 0; i < 3 * delay; ++i) {
          double expected = i == 0 ? in * std::pow(10.0, -0.5) : 0.0;
          if (i == delay) expected = wet * tap * held;
          if (i == 2 * delay) expected = wet * tap * held * again;
          ASSERT_NEAR(output[i * channels + channel], expected, 1e-9) << "frame " << i;
        }
      }
    }
  }
}

// One frame at a time is the plain text of the effect, so this is what shows that blocks never meet their own writes.
TEST(MultiTapDelay, BlocksEqualSingleFrames) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const auto pick = [&](std::int32_t low, std::int32_t high) {
    return std::uniform_int_distribution<std::int32_t>(low, high)(random);
  };
  for (int round = 0; round < 200; ++round) {
    EchomtParams params{};
    std::memcpy(&params, kEchomtEffect.presets.Block(pick(0, 25)), sizeof params);
    const std::int32_t longest = 1 << pick(0, 7);
    for (int i = 0; i < kEchomtTaps; ++i) {
      if (pick(0, 3) != 0) params.tapDelayMs[i] = pick(1, longest);
    }
    params.tapCount = pick(1, 8);
    if (pick(0, 1) != 0) params.modDepth = pick(0, 1) != 0 ? pick(1, 100) : 0;
    params.modRate = pick(1, 100);
    params.feedback = pick(0, 150);
    params.lowPassEnabled = pick(0, 1);
    const std::uint16_t channels = Channels{1, 2, 3, 6}.begin()[pick(0, 3)];
    const std::uint32_t rate = std::initializer_list<std::uint32_t>{1, 900, 3000, 8000, 44100}.begin()[pick(0, 4)];
    EchomtParams edited = params;
    edited.tapGain[0] = -edited.tapGain[0];
    const auto input = Noise(std::size_t{1500} * channels, static_cast<unsigned>(round));
    std::vector<std::uint8_t> single;
    for (const std::uint32_t size : {1U, 7U, 64U, 500U, 750U}) {
      Stream stream(SampleFormat::kFloat64, channels, rate, params);
      ASSERT_EQ(stream.engine.RestartEngine(), 0);
      Samples first(stream.record, input), second = first;
      RunCut(stream.engine, first, size);
      // A live edit leaves the taps anywhere along the line.
      stream.Change(edited, true);
      RunCut(stream.engine, second, size);
      first.bytes.insert(first.bytes.end(), second.bytes.begin(), second.bytes.end());
      if (single.empty()) single = first.bytes;
      ASSERT_EQ(first.bytes, single) << "round " << round << " size " << size << " channels " << channels << " rate "
                                     << rate << " longest " << longest << " depth " << params.modDepth;
    }
  }
}

TEST(MultiTapDelay, FormatsAgreeWithinRounding) {
  for (const std::uint16_t channels : Channels{1, 2, 6}) {
    EchomtParams params{};
    std::memcpy(&params, kEchomtEffect.presets.Block(13), sizeof params);
    const auto input = Noise(std::size_t{30000} * channels, 11);
    std::vector<double> reference;
    for (auto format = std::rbegin(kFormats); format != std::rend(kFormats); ++format) {
      Stream stream(*format, channels, 8000, params);
      ASSERT_EQ(stream.engine.RestartEngine(), 0);
      auto output = input;
      stream.Run(ModeContinue, output);
      if (reference.empty()) reference = output;
      for (std::size_t i = 0; i < output.size(); ++i) ASSERT_NEAR(output[i], reference[i], Tolerance(*format)) << i;
    }
  }
}

TEST(MultiTapDelay, LiveEditsKeepMoveOrDropWhatTheLineHolds) {
  // An impulse, 200 frames of silence, then the edit: where does the echo of 50 ms (800 frames) come?
  struct Case {
    const char* name;
    std::int32_t EchomtParams::*field;
    std::int32_t value;
    bool lines;
    ProcessMode mode;
    std::int64_t echo;  // frames after the edit, -1 for none
  };
  const Case cases[] = {
      {"gain", &EchomtParams::wetOut, -200, false, ModeContinue, 600},
      {"rate of no depth", &EchomtParams::modRate, 100, false, ModeContinue, 600},
      // The tap is set to 800 anew while the head stands 200 further down.
      {"feedback", &EchomtParams::feedback, 10, true, ModeContinue, 800},
      {"depth", &EchomtParams::modDepth, 100, true, ModeContinue, -1},
      {"fewer taps", &EchomtParams::tapCount, 1, true, ModeContinue, -1},
      {"discontinuity", &EchomtParams::wetOut, 0, false, ModeRestart, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EchomtParams params = Taps({50, 60});
    params.tapGain[1] = 0;
    params.dryOut = -800;
    Stream stream(SampleFormat::kFloat64, 1, 16000, params);
    ASSERT_EQ(stream.engine.RestartEngine(), 0);
    auto before = Impulse(200, 1);
    ASSERT_EQ(stream.Run(ModeContinue, before).first, kGoOn);
    params.*c.field = c.value;
    stream.Change(params, c.lines);
    std::vector<double> after(1500);
    ASSERT_EQ(stream.Run(c.mode, after).first, kGoOn);
    const auto loud = std::find_if(after.begin(), after.end(), [](double v) { return v != 0.0; });
    // The first tap's own offset is one frame.
    EXPECT_EQ(loud == after.end() ? -1 : loud - after.begin(), c.echo < 0 ? -1 : c.echo + 1);
  }
}

TEST(MultiTapDelay, EveryFormatDrainsItsTailAndThenIsDone) {
  for (const SampleFormat format : kFormats) {
    Stream stream(format, 2, 8000, Taps({100}, 50));
    ASSERT_EQ(stream.engine.RestartEngine(), 0);
    const std::uint32_t tail = stream.engine.tailLeft();
    ASSERT_EQ(tail, 4200U);
    using Answer = std::pair<std::int32_t, std::uint32_t>;
    std::vector<double> values(2 * 1000);
    EXPECT_EQ(stream.Run(ModeContinue, values), Answer(kGoOn, 1000));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(stream.Run(ModeContinue, values, true), Answer(kGoOn, 1000));
    EXPECT_EQ(stream.Run(ModeContinue, values, true), Answer(kGoOn, 200));
    EXPECT_TRUE(stream.engine.tailOnlyDone());
    EXPECT_EQ(stream.Run(ModeContinue, values, true), Answer(kFinished, 0));
    EXPECT_EQ(stream.Run(ModeContinue, values), Answer(kGoOn, 1000));
    EXPECT_FALSE(stream.engine.tailOnlyDone());
    for (int i = 0; i < 4; ++i) EXPECT_EQ(stream.Run(ModeFlush, values), Answer(kGoOn, 1000));
    EXPECT_EQ(stream.Run(ModeFlush, values), Answer(kFinished, 200));
    EXPECT_EQ(stream.Run(ModeFlush, values), Answer(kFinished, 0));
  }
}

TEST(MultiTapDelay, RebuildsOnlyWhenToldAndTriesAgainAfterAFailure) {
  using Answer = std::pair<std::int32_t, std::uint32_t>;
  Stream stream(SampleFormat::kFloat32, 2, 8000, Taps({100}));
  std::vector<double> values(2 * 100);
  EXPECT_EQ(stream.engine.Reset(false), 0);
  EXPECT_EQ(stream.engine.Reset(false), kFinished);
  ASSERT_EQ(stream.engine.RestartEngine(), 0);
  FailAllocationsAfter(0);
  // The first discontinuity after a start finds the lines as the start left them.
  EXPECT_EQ(stream.Run(ModeRestart, values), Answer(kGoOn, 100));
  EXPECT_EQ(stream.Run(ModeRestart, values), Answer(kEngineOutOfMemory, 0));
  for (const int granted : {0, 1}) {
    FailAllocationsAfter(granted);
    EXPECT_EQ(stream.Run(ModeContinue, values), Answer(kEngineOutOfMemory, 0));
    EXPECT_FALSE(stream.engine.engineReady());
  }
  EXPECT_LT(stream.Run(ModeFlush, values).first, 0);
  FailAllocationsAfter(-1);
  EXPECT_EQ(stream.Run(ModeContinue, values), Answer(kGoOn, 100));
  stream.engine.FreeLines();
  EXPECT_LT(stream.Run(ModeFlush, values).first, 0);
  EXPECT_EQ(stream.engine.RestartEngine(), 0);
}

TEST(MultiTapDelay, LoudestSettingStaysBoundedAndSilenceBecomesExact) {
  EchomtParams params = Taps({2500, 2500, 2500, 2500, 2500, 2500, 2500, 2500}, 150);
  params.modDepth = 100;
  Stream large(SampleFormat::kFloat32, 32, 192000, params);
  ASSERT_EQ(large.engine.RestartEngine(), 0);
  auto values = Noise(32 * 200, 3);
  EXPECT_EQ(large.Run(ModeContinue, values).first, kGoOn);

  params = Taps({1, 2, 3}, 150);
  for (std::int32_t& gain : params.tapGain) gain = -100;
  Stream growing(SampleFormat::kFloat64, 2, 8000, params);
  ASSERT_EQ(growing.engine.RestartEngine(), 0);
  values = Noise(2 * 8000, 4);
  growing.Run(ModeContinue, values);
  const double peak = std::abs(
      *std::max_element(values.begin(), values.end(), [](double a, double b) { return std::abs(a) < std::abs(b); }));
  EXPECT_GT(peak, 16777216.0);
  EXPECT_LE(peak, 3 * 16777216.0 + 1);

  params.feedback = 90;
  for (std::int32_t& gain : params.tapGain) gain = 30;
  Stream fading(SampleFormat::kFloat64, 2, 8000, params);
  ASSERT_EQ(fading.engine.RestartEngine(), 0);
  values = Noise(2 * 8000, 5);
  fading.Run(ModeContinue, values);
  values.assign(2 * 8000, 0.0);
  fading.Run(ModeContinue, values);
  EXPECT_EQ(values.back(), 0.0);
  EXPECT_EQ(values[2 * 7900], 0.0);
}

TEST(MultiTapDelay, EndsOfAllRangesAreSafe) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const auto pick = [&](std::int32_t low, std::int32_t high) {
    return std::uniform_int_distribution<std::int32_t>(low, high)(random);
  };
  for (const std::uint32_t rate : {0U, 1U, 1999U, 44100U, 768000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    for (const std::uint16_t channels : Channels{1, 2, 3, 6, 32}) {
      for (const SampleFormat format : kFormats) {
        Stream stream(format, channels, rate, EchomtParams{});
        auto values = Noise(std::size_t{200} * channels, 9);
        values[0] = std::numeric_limits<double>::infinity();
        values[values.size() / 2] = std::numeric_limits<double>::quiet_NaN();
        Samples samples(stream.record, values);
        for (int step = 0; step < 8; ++step) {
          std::uint32_t count = static_cast<std::uint32_t>(pick(0, 200));
          stream.engine.Process(static_cast<ProcessMode>(pick(0, 2)), samples.bytes.data(), count, pick(0, 1) != 0);
          ASSERT_LE(count, 200U);
          EchomtParams params{};
          for (const ParamDescriptor& row : kEchomtEffect.rows) {
            const std::int32_t low = pick(0, 1) != 0 ? row.externalMax : row.externalMin;
            const std::int32_t value = pick(0, 1) != 0 ? low : pick(row.externalMin, row.externalMax);
            std::memcpy(reinterpret_cast<char*>(&params) + row.blockOffset, &value, sizeof value);
          }
          // At rates past any stream's a line is refused, not merely enormous.
          for (std::int32_t& delay : params.tapDelayMs) delay = rate > 768000 ? 30 : std::min(delay, 30);
          EXPECT_TRUE(ValidateParams(params));
          stream.Change(params, pick(0, 1) != 0);
        }
      }
    }
  }
}

}  // namespace
}  // namespace korva
