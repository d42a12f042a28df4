#include "delay/echos/echos_engine.h"

#include "delay/delay_shared.h"
#include "delay/echos/echos_params.h"

namespace korva {
namespace {

constexpr EchosParams kEcho = {1, 100, 20, -20, -40, 0, 13, 1000, 0, 18, 1000, 0};

EchosParams With(EchosParams params, std::int32_t multiple, std::int32_t delayMs, std::int32_t decayTenths) {
  params.multipleDelays = multiple;
  params.delayMs = delayMs;
  params.decayTenths = decayTenths;
  return params;
}

struct Stream {
  Stream(SampleFormat format, std::uint16_t channels, std::uint32_t rate) : record(MakeFormat(format, channels, rate)) {
    engine.SetFormat(record);
  }
  std::int32_t Update(const EchosParams& params, ProcessMode mode, const TempoInfo* tempo = nullptr) {
    return engine.UpdateEngine(params, mode, tempo);
  }
  FormatRecord record;
  EchosEngine engine;
};

TEST(SimpleDelay, EchoesStandWhereAndAsLoudAsTold) {
  TempoInfo song;
  song.flags = kTempoValid | kMeterValid;
  song.bpm = 90;
  song.numerator = 6;
  song.denominator = 8;
  const TempoInfo silent;
  EchosParams synced = kEcho;
  synced.tempoSyncDelay = synced.tempoSyncDecay = 1;
  synced.delayNote = 10;
  EchosParams quarterDecay = synced;
  quarterDecay.decayNote = 13;
  quarterDecay.decayMultiplier = 500;
  struct Case {
    const char* name;
    EchosParams params;
    const TempoInfo* tempo;
    std::uint32_t rate, delay;
    double ratio;  // decay over delay; 0 for no feedback
  };
  const Case cases[] = {
      {"plain", kEcho, nullptr, 8000, 800, 20.0},
      {"one echo", With(kEcho, 0, 100, 20), nullptr, 8000, 800, 0.0},
      {"decay as long as the delay", With(kEcho, 1, 1000, 10), nullptr, 2000, 2000, 1.0},
      {"decay under a tenth of the delay", With(kEcho, 1, 5000, 1), nullptr, 1000, 5000, 0.0},
      {"delay rounds half up", With(kEcho, 1, 1, 1), nullptr, 2500, 3, 250.0 / 3},
      {"shortest line", With(kEcho, 1, 1, 1), nullptr, 900, 2, 45.0},
      {"no rate at all", kEcho, nullptr, 0, 2, 0.0},
      {"synced, host without tempo interfaces", synced, nullptr, 8000, 800, 20.0},
      {"eighth at 90, decay of a 6/8 measure", synced, &song, 9000, 3000, 6.0},
      {"eighth at 90, decay of half a quarter", quarterDecay, &song, 9000, 3000, 1.0},
      {"song without tempo and meter", synced, &silent, 1000, 1000, 8.0},
  };
  for (const Case& c : cases) {
    for (const std::uint16_t channels : Channels{1, 2, 3}) {
      SCOPED_TRACE(testing::Message() << c.name << ", channels " << channels);
      Stream stream(SampleFormat::kFloat64, channels, c.rate);
      ASSERT_EQ(stream.Update(c.params, ModeRestart, c.tempo), 0);
      ASSERT_EQ(stream.engine.delayLength(), c.delay);
      const double feedback = c.ratio > 0 ? std::pow(0.0316, 1 / c.ratio) : 0.0;
      const auto input = Impulse(4 * c.delay + 1, channels);
      Samples samples(stream.record, input);
      RunCut(stream.engine, samples, 4096);
      const auto output = samples.Values();
      for (std::size_t i = 0; i < output.size(); ++i) {
        const std::size_t frame = i / channels, pass = frame / c.delay;
        double gain = frame % c.delay != 0 ? 0.0 : std::pow(10.0, pass == 0 ? -0.2 : -0.1);
        if (pass > 1) gain *= std::pow(feedback, static_cast<double>(pass - 1));
        ASSERT_NEAR(output[i], gain * input[i % channels], 1e-12) << "frame " << frame;
      }
    }
  }
}

TEST(SimpleDelay, SamplesDependNeitherOnBuffersNorBeyondRoundingOnTheFormat) {
  for (const std::uint16_t channels : Channels{1, 2, 6, 32}) {
    const auto input = Noise(std::size_t{3000} * channels, 5);
    std::vector<double> reference;
    for (auto format = std::rbegin(kFormats); format != std::rend(kFormats); ++format) {
      std::vector<std::uint8_t> whole;
      for (const std::uint32_t size : {1000000U, 1U, 7U, 64U, 1024U}) {
        Stream stream(*format, channels, 7919);
        ASSERT_EQ(stream.Update(With(kEcho, 1, 37, 3), ModeRestart), 0);
        Samples samples(stream.record, input);
        RunCut(stream.engine, samples, size);
        if (whole.empty()) whole = samples.bytes;
        EXPECT_EQ(samples.bytes, whole) << "channels " << channels << " size " << size;
        const auto values = samples.Values();
        if (reference.empty()) reference = values;
        for (std::size_t i = 0; i < values.size(); ++i) ASSERT_NEAR(values[i], reference[i], Tolerance(*format)) << i;
      }
    }
  }
}

TEST(SimpleDelay, ALiveEditKeepsTheLineUnlessItsLengthChanges) {
  struct Case {
    const char* name;
    EchosParams params;
    ProcessMode mode;
    bool bypassed, kept;
  };
  const Case cases[] = {
      {"decay", With(kEcho, 1, 100, 5), ModeContinue, false, true},
      {"same again", kEcho, ModeContinue, false, true},
      {"feedback off", With(kEcho, 0, 100, 20), ModeContinue, false, true},
      {"delay", With(kEcho, 1, 101, 20), ModeContinue, false, false},
      {"discontinuity", kEcho, ModeRestart, false, false},
      {"bypassed in between", kEcho, ModeContinue, true, false},
  };
  for (const Case& c : cases) {
    Stream stream(SampleFormat::kFloat32, 2, 8000);
    ASSERT_EQ(stream.Update(kEcho, ModeRestart), 0);
    Samples loud(stream.record, Noise(2 * 500, 1)), silence(stream.record, std::vector<double>(2 * 600));
    RunCut(stream.engine, loud, 100);
    if (c.bypassed) stream.engine.EnterBypass();
    ASSERT_EQ(stream.Update(c.params, c.mode), 0);
    RunCut(stream.engine, silence, 100);
    const auto values = silence.Values();
    EXPECT_EQ(std::any_of(values.begin(), values.end(), [](double v) { return v != 0.0; }), c.kept) << c.name;
  }
}

TEST(SimpleDelay, FlushYieldsTheTailInOneBufferSaveOnFloat) {
  for (const SampleFormat format : kFormats) {
    Stream stream(format, 2, 8000);
    // Silence as a host leaves it, but for one sample; 8-bit input is not read.
    std::vector<double> values(2 * 1000);
    values[0] = 0.5;
    ASSERT_EQ(stream.Update(With(kEcho, 1, 100, 10), ModeRestart), 0);
    const std::uint32_t tail = 8000 + 800;
    std::uint32_t produced = 0;
    for (int pass = 0; pass < 20; ++pass) {
      Samples samples(stream.record, values);
      std::uint32_t count = 1000;
      const std::int32_t result = stream.engine.Process(ModeFlush, samples.bytes.data(), count, false);
      EXPECT_TRUE(count == 0 || (samples.Values()[0] != 0.0) == (format != SampleFormat::kPcm8));
      produced += count;
      EXPECT_EQ(result, format == SampleFormat::kFloat32 && produced < tail ? kGoOn : kFinished);
    }
    EXPECT_EQ(produced, tail);
  }
}

TEST(SimpleDelay, TailOnlyBuffersRunABudgetDownThatOrdinaryAudioArms) {
  Stream stream(SampleFormat::kPcm16, 2, 8000);
  ASSERT_EQ(stream.Update(With(kEcho, 1, 100, 10), ModeRestart), 0);
  Samples samples(stream.record, std::vector<double>(2 * 1000));
  const auto process = [&](std::uint32_t offered, bool tailOnly) {
    const std::int32_t result = stream.engine.Process(ModeContinue, samples.bytes.data(), offered, tailOnly);
    return std::pair{result, offered};
  };
  using Answer = std::pair<std::int32_t, std::uint32_t>;
  // The decay counts both channels: 800 + 16000 frames.
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(process(10, false), Answer(kGoOn, 10));
    for (int i = 0; i < 16; ++i) EXPECT_EQ(process(1000, true), Answer(kGoOn, 1000));
    EXPECT_FALSE(stream.engine.tailOnlyDone());
    EXPECT_EQ(process(1000, true), Answer(kGoOn, 800));
    EXPECT_TRUE(stream.engine.tailOnlyDone());
    EXPECT_EQ(process(1000, true), Answer(kFinished, 0));
    EXPECT_TRUE(stream.engine.engineReady());
    EXPECT_EQ(process(10, false), Answer(kGoOn, 10));
    EXPECT_FALSE(stream.engine.engineReady());
    ASSERT_EQ(stream.Update(With(kEcho, 1, 100, 10), ModeContinue), 0);
  }
  // A new length clears the mark by itself.
  while (!stream.engine.tailOnlyDone()) process(1000, true);
  ASSERT_EQ(stream.Update(With(kEcho, 0, 50, 10), ModeContinue), 0);
  EXPECT_EQ(process(1000, true), Answer(kGoOn, 400));
}

TEST(SimpleDelay, WithoutMemoryNothingRunsUntilAnUpdateSucceeds) {
  Stream stream(SampleFormat::kFloat32, 2, 8000);
  Samples samples(stream.record, Noise(2 * 900, 3));
  const auto runs = [&] {
    std::uint32_t count = 900;
    return stream.engine.Process(ModeContinue, samples.bytes.data(), count, false) >= 0 && count == 900;
  };
  EXPECT_FALSE(runs());
  for (const int granted : {0, 1}) {
    ASSERT_EQ(stream.Update(kEcho, ModeRestart), 0);
    FailAllocationsAfter(granted);
    EXPECT_EQ(stream.Update(With(kEcho, 1, 10, 20), ModeContinue), kEngineOutOfMemory);
    FailAllocationsAfter(-1);
    EXPECT_FALSE(stream.engine.engineReady());
    EXPECT_FALSE(runs());
    // Back to the length that the engine still knows: the lines are made again all the same.
    EXPECT_EQ(stream.Update(kEcho, ModeContinue), 0);
    EXPECT_TRUE(runs());
    stream.engine.FreeDelayLines();
    EXPECT_FALSE(runs());
  }
}

TEST(SimpleDelay, EndsOfAllRangesAreSafe) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  const auto pick = [&](std::int32_t low, std::int32_t high) {
    return std::uniform_int_distribution<std::int32_t>(low, high)(random);
  };
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const std::uint32_t rate : {0U, 1U, 1000U, 44100U, 768000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    for (const std::uint16_t channels : Channels{1, 2, 3, 6, 32}) {
      for (const SampleFormat format : kFormats) {
        Stream stream(format, channels, rate);
        auto values = Noise(std::size_t{300} * channels, 9);
        values[0] = kInfinity;
        values[values.size() / 2] = std::numeric_limits<double>::quiet_NaN();
        Samples samples(stream.record, values);
        for (int step = 0; step < 8; ++step) {
          EchosParams params{};
          std::memcpy(&params, kEchosEffect.presets.Block(pick(0, 6)), sizeof params);
          for (const ParamDescriptor& row : kEchosEffect.rows) {
            const std::int32_t value = pick(row.externalMin, pick(0, 1) != 0 ? row.externalMax : row.externalMin);
            std::memcpy(reinterpret_cast<char*>(&params) + row.blockOffset, &value, sizeof value);
          }
          // At rates past any stream's a length is refused, not merely enormous.
          params.delayMs = rate > 768000 ? 40 : pick(1, 40);
          TempoInfo tempo;
          tempo.flags = static_cast<std::uint32_t>(pick(0, 15));
          const double bpms[] = {0.0, 1e-300, 1e9, 1e300, kInfinity, -1.0, std::nan("")};
          tempo.bpm = bpms[pick(0, 6)];
          tempo.denominator = pick(-1, 1);
          const auto mode = static_cast<ProcessMode>(pick(0, 2));
          stream.Update(params, mode, pick(0, 1) != 0 ? &tempo : nullptr);
          std::uint32_t count = static_cast<std::uint32_t>(pick(0, 300));
          stream.engine.Process(mode, samples.bytes.data(), count, pick(0, 1) != 0);
          ASSERT_LE(count, 300U);
        }
      }
    }
  }
}

}  // namespace
}  // namespace korva
