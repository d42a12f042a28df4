#include <cmath>
#include <ctime>

#include "host/rig.h"
#include "lv2/plugin_host.h"
#include "support/counted_calls.h"

namespace korva {
namespace {

TEST(Lv2Plugin, RunAsksForNoMemoryAndWaitsForNoLockWhateverChanges) {
#ifdef KORVA_SANITIZED
  GTEST_SKIP() << "the sanitizers count for themselves";
#endif
  static void* volatile kept = nullptr;
  ASSERT_EQ(CountedCalls([] { kept = std::malloc(1); }).requests, 1);
  std::free(kept);
  for (const Lv2Plugin& plugin : Lv2Plugins()) {
    constexpr std::uint32_t kFrames = 64;
    PluginHost host(plugin, 48000);
    std::vector<float> noise[2];
    std::clock_t worst = 0;
    const auto run = [&](const std::string& what) {
      for (int i = 0; i < 30; ++i) {
        noise[0] = noise[1] = FloatNoise(kFrames);
        const std::vector<float*> channels{noise[0].data(), noise[1].data()};
        const std::clock_t start = std::clock();
        const Counts counts = CountedCalls([&] { host.Run(channels, kFrames); });
        worst = std::max(worst, std::clock() - start);
        ASSERT_EQ(counts.requests + counts.waits, 0) << plugin.uri() << " " << what;
      }
    };
    run("at rest");
    if (plugin.followsTempo) {
      host.SendTempo(97);
      run("tempo");
      host.SendTempo(0);
    }
    host.values[plugin.enabledIndex()] = 0;
    run("off");
    host.values[plugin.enabledIndex()] = 1;
    for (std::size_t i = 0; i < plugin.ports.size(); ++i) {
      const Lv2Port& port = plugin.ports[i];
      for (const float value : {port.most, port.least, std::round((port.least + port.most) / 2), port.standard}) {
        host.row(i) = value;
        run(port.symbol);
      }
    }
    std::printf("%s: worst run of 64 frames %.0f us\n", plugin.uri().c_str(),
                1e6 * static_cast<double>(worst) / CLOCKS_PER_SEC);
  }
}

// A host may give the buffer of one channel's input to the other channel's output.
TEST(Lv2Plugin, BuffersMayBeSharedCrosswiseAndRatesAreTold) {
  constexpr std::uint32_t kFrames = 700;
  for (const Lv2Plugin& plugin : Lv2Plugins()) {
    PluginHost straight(plugin, 48000), crossed(plugin, 48000);
    EXPECT_TRUE(straight.Takes(384000) && !straight.Takes(500000) && !straight.Takes(std::nan("")));
    if (plugin.channels != 2) continue;
    std::vector<float> left = FloatNoise(kFrames), right(left.rbegin(), left.rend()), a = left, b = right;
    straight.Run({left.data(), right.data()}, kFrames);
    crossed.Run({a.data(), b.data()}, {b.data(), a.data()}, kFrames);
    EXPECT_TRUE(b == left && a == right) << plugin.uri();
  }
}

using Lv2Tempo = HostTest;

TEST_F(Lv2Tempo, IsThatOfTheCommand) {
  constexpr int kFrames = 24000;
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, kFrames);
  const struct {
    const char *effect, *options;
    std::vector<std::pair<const char*, float>> ports;
  } cases[] = {
      {"chorus", "--set tempo-sync=on --set mod-period-note=4", {{"tempo_sync", 1}, {"mod_period_note", 4}}},
      {"simple-delay", "--set tempo-sync-delay=on --set delay-note=4", {{"tempo_sync_delay", 1}, {"delay_note", 4}}},
  };
  for (const auto& one : cases) {
    Render(std::string("@in.wav @out.wav --tempo 133 --no-tail ") + one.effect + " " + one.options);
    const std::vector<double> wanted = Read("out.wav").samples;
    for (const Lv2Plugin& plugin : Lv2Plugins()) {
      if (plugin.channels != 1 || plugin.kind->description.name != std::string(one.effect)) continue;
      PluginHost host(plugin, 48000);
      for (const auto& [symbol, value] : one.ports) {
        for (std::size_t i = 0; i < plugin.ports.size(); ++i) {
          if (plugin.ports[i].symbol == symbol) host.row(i) = value;
        }
      }
      host.SendTempo(133);
      std::vector<double> in = Read("in.wav").samples;
      std::vector<float> audio(in.begin(), in.end());
      host.Run({audio.data()}, 1000);
      host.SendTempo(0);
      host.Run({audio.data() + 1000}, kFrames - 1000);
      EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), audio.begin(), audio.end())) << one.effect;
    }
  }
}

}  // namespace
}  // namespace korva
