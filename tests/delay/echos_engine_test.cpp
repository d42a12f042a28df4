#include "delay/echos/echos_engine.h"

#include "delay/delay_rig.h"

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
      EXPECT_EQ(stream.engine.feedbackGain() != 0.0, c.ratio > 0);
      const double feedback = c.ratio > 0 ? std::pow(0.0316, 1 / c.ratio) : 0.0;
      const auto input = Impulse(4 * c.delay + 1, channels);
      Bytes samples = Encode(stream.record, input);
      RunCut(stream.engine, stream.record, samples, 4096);
      const auto output = Decode(stream.record, samples);
      for (std::size_t i = 0; i < output.size(); ++i) {
        const std::size_t frame = i / channels, pass = frame / c.delay;
        double gain = frame % c.delay != 0 ? 0.0 : std::pow(10.0, pass == 0 ? -0.2 : -0.1);
        if (pass > 1) gain *= std::pow(feedback, static_cast<double>(pass - 1));
        ASSERT_NEAR(output[i], gain * input[i % channels], 1e-12) << "frame " << frame;
      }
    }
  }
}

TEST(SimpleDelay, WithoutMemoryNothingRunsUntilAnUpdateSucceeds) {
  Stream stream(SampleFormat::kFloat32, 2, 8000);
  Bytes samples = NoiseBytes(stream.record, 900);
  const auto runs = [&] {
    std::uint32_t count = 900;
    return stream.engine.Process(ModeContinue, samples.data(), count, false) >= 0 && count == 900;
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
  // So may a host any rate.
  EXPECT_EQ(Stream(SampleFormat::kFloat32, 1, 0xFFFFFFFF).Update(kEcho, ModeRestart), kEngineOutOfMemory);
  // A song may say any tempo: a delay is refused, or of the shortest.
  EchosParams synced = kEcho;
  synced.tempoSyncDelay = synced.tempoSyncDecay = 1;
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double bpm : {0.0, 1e-300, -1.0, 1e300, kInfinity, -kInfinity, std::nan("")}) {
    const TempoInfo song{kTempoValid | kMeterValid, bpm, -1, 0, 0.0};
    const bool endless = bpm == 0.0 || bpm == 1e-300;
    EXPECT_EQ(stream.Update(synced, ModeContinue, &song), endless ? kEngineOutOfMemory : 0) << bpm;
    EXPECT_EQ(runs(), !endless) << bpm;
  }
}

}  // namespace
}  // namespace korva
