#include <gtest/gtest.h>

#include "delay/echos/echos_filter.h"
#include "support/test_graph.h"
#include "support/test_song.h"

namespace korva {
namespace {

// One echo of full level and nothing dry: 100 ms, a decay of 1 s once it is fed back.
constexpr EchosParams kEcho = {0, 100, 10, 0, -800, 0, 13, 1000, 0, 18, 1000, 0};

EchosParams FedBack(std::int32_t delayMs, std::int32_t decayTenths) {
  EchosParams params = kEcho;
  params.multipleDelays = 1;
  params.delayMs = delayMs;
  params.decayTenths = decayTenths;
  return params;
}

TEST(SimpleDelay, EchoesStandWhereAndAsLoudAsTold) {
  const TempoInfo song{kTempoValid | kMeterValid, 90, 6, 8}, silent;
  const EchosParams synced{1, 100, 20, 0, -800, 0, 10, 1000, 1, 18, 1000, 1};
  const EchosParams halfQuarter{1, 100, 20, 0, -800, 0, 10, 1000, 1, 13, 500, 1};
  const struct {
    const char* name;
    EchosParams params;
    const TempoInfo* tempo;
    std::uint32_t rate, delay;
    double ratio;  // decay over delay; 0 for no feedback
  } cases[] = {
      {"plain", FedBack(100, 20), nullptr, 8000, 800, 20.0},
      {"one echo", kEcho, nullptr, 8000, 800, 0.0},
      {"decay as long as the delay", FedBack(1000, 10), nullptr, 2000, 2000, 1.0},
      {"decay under a tenth of the delay", FedBack(5000, 1), nullptr, 1000, 5000, 0.0},
      {"delay rounds half up", FedBack(1, 1), nullptr, 2500, 3, 250.0 / 3},
      {"shortest line", FedBack(1, 1), nullptr, 900, 2, 45.0},
      {"no rate at all", FedBack(100, 20), nullptr, 0, 2, 0.0},
      {"synced, host without tempo interfaces", synced, nullptr, 8000, 800, 20.0},
      {"eighth at 90, decay of a 6/8 measure", synced, &song, 9000, 3000, 6.0},
      {"eighth at 90, decay of half a quarter", halfQuarter, &song, 9000, 3000, 1.0},
      {"song without tempo and meter", synced, &silent, 1000, 1000, 8.0},
  };
  for (const auto& c : cases) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{3}}) {
      SCOPED_TRACE(testing::Message() << c.name << ", channels " << channels);
      EchosEngine engine;
      EchosParams params = c.params;
      params.delayOut = -20;
      params.dryOut = -40;
      engine.SetFormat(MakeFormat(SampleFormat::kFloat64, channels, c.rate));
      ASSERT_EQ(engine.UpdateEngine(params, ModeRestart, c.tempo), 0);
      ASSERT_EQ(engine.delayLength(), c.delay);
      const double feedback = c.ratio > 0 ? std::pow(0.0316, 1 / c.ratio) : 0.0;
      std::vector<double> output((4 * c.delay + 1) * channels);
      for (std::size_t i = 0; i < channels; ++i) output[i] = static_cast<double>(i + 1);
      auto frames = 4 * c.delay + 1;
      ASSERT_EQ(engine.Process(ModeContinue, output.data(), frames, false), kGoOn);
      for (std::size_t i = 0; i < output.size(); ++i) {
        const std::size_t frame = i / channels, pass = frame / c.delay;
        double gain = frame % c.delay != 0 ? 0.0 : std::pow(10.0, pass == 0 ? -0.2 : -0.1);
        if (pass > 1) gain *= std::pow(feedback, static_cast<double>(pass - 1));
        ASSERT_NEAR(output[i], gain * static_cast<double>(i % channels + 1), 1e-12) << "frame " << frame;
      }
    }
  }
}

TEST(SimpleDelay, TheSongGoesOnToTheEndOfTheSampleInWhichTheTailEnds) {
  // 1680 frames of tail end in the third sample, at its frame 680; the tempo changes at its frame 800.
  TestSong song({{0, 12000}, {TestSong::kTicksPerQuarter * 7 / 10, 6000}}, {{1, 4, 2}}, 8000);
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 2, 8000);
  const EchosParams params = FedBack(10, 1);
  Owned<CQvEchos> filter;
  filter->SetParams(&params);
  ASSERT_EQ(song.ConnectTo(*filter), S_OK);
  filter->OnStart(0);
  TestGraph graph(*filter, format, {1000});
  ASSERT_EQ(graph.Start(), S_OK);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(graph.Send(Bytes(format.blockAlign * 1000), {i * 1'250'000, false, i > 0}), S_OK);
    TempoInfo info;
    filter->AdvanceTempo(0, 5, info);
    EXPECT_EQ(info.position, 1000 * (i + 1)) << i;
  }
}

TEST(SimpleDelay, BypassEmptiesTheLineAndLetsAChangeWait) {
  const FormatRecord format = MakeFormat(SampleFormat::kPcm16, 2, 8000);
  const Bytes noise = NoiseBytes(format, 500), silence = Encode(format, std::vector<double>(2 * 500));
  Owned<CQvEchos> filter;
  filter->SetParams(&kEcho);
  TestGraph graph(*filter, format, {500});
  ASSERT_EQ(graph.Start(), S_OK);
  graph.Send(noise);
  filter->SetBypass(1);
  filter->SetDryOut(0);
  for (const Bytes& next : {noise, silence, noise}) {
    graph.sink->pin.received.clear();
    graph.Send(next);
    EXPECT_TRUE(graph.sink->pin.received == next);
    filter->SetBypass(0);
  }
}

TEST(SimpleDelay, ATempoChangeMovesTheDelayOnItsVeryFrame) {
  // Quarters of 2000 frames; from the third on of 1000.
  TestSong song({{0, 24000}, {3 * TestSong::kTicksPerQuarter, 48000}}, {{1, 4, 2}}, 8000);
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 1, 8000);
  const Bytes steady = Encode(format, std::vector<double>(9000, 0.25));
  for (const std::size_t size : {1U, 700U, 9000U}) {
    Owned<CQvEchos> filter;
    EchosParams params = kEcho;
    params.tempoSyncDelay = 1;
    filter->SetParams(&params);
    ASSERT_EQ(song.ConnectTo(*filter), S_OK);
    EXPECT_EQ(filter->IsTempoAvailable(), 1);
    filter->OnStart(0);
    TestGraph graph(*filter, format, {size});
    ASSERT_EQ(graph.Start(), S_OK);
    ASSERT_EQ(graph.SendAll(steady, size), S_OK);
    const auto output = Decode(format, graph.sink->pin.received);
    ASSERT_EQ(output.size(), 9000U);
    for (std::size_t i = 0; i < output.size(); ++i) {
      const bool heard = (i >= 2000 && i < 6000) || i >= 7000;
      ASSERT_EQ(output[i], heard ? 0.25 : 0.0) << "frame " << i << " in buffers of " << size;
    }
  }
}

}  // namespace
}  // namespace korva
