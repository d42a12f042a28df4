#include "reverb/reverb_engine.h"

#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <atomic>

#include "platform/denormals.h"
#include "reverb/reverb_params.h"
#include "support/held_params.h"
#include "support/signals.h"

namespace korva {
namespace {

/// An engine on a stream of doubles, with its parameters.
struct Rig : HeldParams<ReverbParams> {
  Rig(const ReverbParams& params, std::uint16_t channelCount, std::uint32_t rate = 44100)
      : HeldParams(params), channels(channelCount) {
    engine.SetFormat(MakeFormat(SampleFormat::kFloat64, channels, rate));
  }
  std::vector<double> Run(std::vector<double> samples, ProcessMode mode = ModeContinue) {
    auto frames = static_cast<std::uint32_t>(samples.size() / channels);
    EXPECT_EQ(engine.ReverbProcess(mode, samples.data(), frames, false), 0);
    return samples;
  }

  std::uint16_t channels;
  ReverbEngine engine{*this};
};

constexpr ReverbParams kBlock{0, -200, -200, 0, 3, 25, 30, 1, 20, 1, 12000, 0};

TEST(ReverbEngine, OnlyARestartOfTheVectorKernelLeavesTheFlushBitsOn) {
  const unsigned before = _mm_getcsr() & ~0x8040U;
  for (const bool vector : {false, true}) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}}) {
      _mm_setcsr(before);
      Rig rig(kBlock, channels);
      rig.engine.UseVectorKernel(vector);
      ASSERT_EQ(rig.engine.ReverbReset(), 0);
      rig.Run(GridNoise(600));
      EXPECT_EQ(_mm_getcsr() & 0x8040U, 0U);
      rig.Run(GridNoise(600), ModeRestart);
      EXPECT_EQ(_mm_getcsr() & 0x8040U, vector && channels == 2 ? 0x8040U : 0U);
    }
  }
  _mm_setcsr(before);
}

TEST(ReverbEngine, CombsAloneDecayInTheSetTime) {
  const auto burst = GridNoise(4410);
  for (std::int32_t mode = 0; mode < 19; ++mode) {
    Rig rig({-800, 0, -800, mode, 0, 20, 0, 0, 500, 0, 5000, 0}, 1);
    ASSERT_EQ(rig.engine.ReverbReset(), 0);
    std::vector<double> input(4 * 44100);
    std::copy(burst.begin(), burst.end(), input.begin());
    // The energy that is still to come, and the third of the decay from -5 to -25 dB.
    auto output = rig.Run(input);
    double energy = 0;
    for (auto i = output.rbegin(); i != output.rend(); ++i) *i = energy += *i * *i;
    const auto above = [&, start = output[8820]](double db) {
      return std::count_if(output.begin() + 8820, output.end(), [&](double e) { return e > start * db; });
    };
    EXPECT_NEAR(static_cast<double>(above(std::pow(10, -2.5)) - above(std::pow(10, -0.5))) / 14700, 2.0, 0.1) << mode;
  }
}

// The longest comb of all is granted by itself; all channels' together are not.
TEST(ReverbEngine, MemoryGoesToEveryStreamThatCanBeMeantAndToNoOther) {
  Rig rig({-800, 0, -800, 6, 0, 20, 0, 0, 500, 0, 5000, 0}, 32);
  std::uint32_t frames = 64;
  EXPECT_EQ(rig.engine.ReverbProcess(ModeContinue, nullptr, frames, false), kEngineFailed) << "before a start";
  for (const auto& [rate, result] : {std::pair(8'000'000U, kEngineOutOfMemory), {768'000U, 0}}) {
    rig.engine.SetFormat(MakeFormat(SampleFormat::kFloat32, 32, rate));
    EXPECT_EQ(rig.engine.ReverbReset(), result) << rate;
  }
}

TEST(ReverbTeam, SamplesDoNotDependOnHowManyThereAre) {
  const struct {
    std::uint16_t channels;
    std::size_t threads;  // more than channels, than the system grants
    int granted;          // below 0 all
    bool flushes;         // the caller's treatment of small numbers holds in the team
  } rows[] = {{3, 2, -1, false}, {3, 9, -1, false},   {6, 4, 0, false},
              {32, 5, 2, false}, {32, 32, -1, false}, {4, 4, -1, true}};
  for (const auto& row : rows) {
    // Falls below the normal numbers within the run.
    auto input = GridNoise(5000U * row.channels);
    for (double& x : input) x *= row.flushes ? 1e-307 : 1;
    std::vector<double> outputs[2];
    for (const bool team : {false, true}) {
      ReverbTeam::GrantThreads(row.granted);
      Rig rig(kBlock, row.channels);
      rig.engine.UseThreads(team ? row.threads : 1);
      EXPECT_EQ(rig.engine.ReverbReset(), 0);
      // Set only now: new threads have their maker's.
      const unsigned control = _mm_getcsr();
      if (row.flushes) platform::SetFlushDenormals();
      outputs[team] = rig.Run(input);
      _mm_setcsr(control);
      ReverbTeam::GrantThreads(-1);
    }
    EXPECT_EQ(outputs[1], outputs[0]) << row.channels << " channels, " << row.threads << " threads";
  }
}

TEST(ReverbTeam, EveryItemIsWorkedOnceAndNoThreadOutlivesAStop) {
  ReverbTeam team;
  for (const std::size_t size : {1U, 4U, 4U, 2U, 32U}) {
    for (int i = 0; i < 2; ++i) team.Start(size);
    EXPECT_EQ(team.size(), size);
    for (std::size_t items = 1; items < 60; ++items) {
      using Done = std::array<std::atomic<int>, 64>;
      Done done{};
      const auto work = [](void* context, std::size_t first, std::size_t last) {
        for (; first < last; ++first) ++(*static_cast<Done*>(context))[first];
      };
      team.Run(items, work, &done);
      for (std::size_t i = 0; i < done.size(); ++i) EXPECT_EQ(done[i], i < items) << i << " of " << items;
    }
    team.Stop();
    EXPECT_EQ(team.size(), 1U);
  }
}

}  // namespace
}  // namespace korva
