#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <atomic>

#include "platform/denormals.h"
#include "reverb_rig.h"

namespace korva {
namespace {

constexpr ReverbParams kBlock{0, -200, -200, 0, 3, 25, 30, 1, 20, 1, 12000, 0};

/// All threads granted again, whatever happens.
struct Grants {
  explicit Grants(int count) { ReverbTeam::GrantThreads(count); }
  ~Grants() { ReverbTeam::GrantThreads(-1); }
};

TEST(ReverbTeam, SamplesDoNotDependOnHowManyThereAre) {
  const struct {
    const char* what;
    std::uint16_t channels;
    std::size_t threads;
    int granted;
    bool flushes;
  } rows[] = {
      {"two", 3, 2, -1, false},
      {"more than channels", 3, 9, -1, false},
      {"none that the system grants", 6, 4, 0, false},
      {"fewer than asked for", 32, 5, 2, false},
      {"all channels", 32, 32, -1, false},
      {"the caller's treatment of small numbers", 4, 4, -1, true},
  };
  for (const auto& row : rows) {
    // Falls below the normal numbers within the run.
    auto input = GridNoise(5000U * row.channels);
    if (row.flushes) {
      for (double& x : input) x *= 1e-307;
    }
    const unsigned control = _mm_getcsr();
    if (row.flushes) platform::SetFlushDenormals();
    std::vector<double> outputs[2];
    for (const bool team : {false, true}) {
      const Grants grants(row.granted);
      Rig rig(kBlock, SampleFormat::kFloat64, row.channels);
      rig.engine.UseThreads(team ? row.threads : 1);
      rig.engine.ReverbRelease();
      ASSERT_EQ(rig.engine.ReverbReset(), 0) << row.what;
      outputs[team] = rig.Run(input);
      EXPECT_EQ(rig.result, 0) << row.what;
    }
    _mm_setcsr(control);
    EXPECT_EQ(outputs[1], outputs[0]) << row.what;
  }
}

TEST(ReverbTeam, EveryItemIsWorkedOnceAndNoThreadOutlivesAStop) {
  ReverbTeam team;
  for (const std::size_t size : {1U, 4U, 2U, 32U}) {
    team.Start(size);
    team.Start(size);
    EXPECT_EQ(team.size(), size);
    for (std::size_t items = 1; items < 60; ++items) {
      std::array<std::atomic<int>, 64> done{};
      team.Run(
          items,
          [](void* context, std::size_t first, std::size_t last) {
            for (; first < last; ++first) ++(*static_cast<std::array<std::atomic<int>, 64>*>(context))[first];
          },
          &done);
      for (std::size_t i = 0; i < done.size(); ++i) EXPECT_EQ(done[i], i < items) << i << " of " << items;
    }
    team.Stop();
    EXPECT_EQ(team.size(), 1U);
  }
}

}  // namespace
}  // namespace korva
