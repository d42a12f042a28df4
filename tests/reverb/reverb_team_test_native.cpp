#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "reverb_rig.h"

#ifdef _OPENMP
#include <omp.h>
#endif

namespace korva {
namespace {

#ifdef _OPENMP

constexpr ReverbParams kBlock{0, -200, -200, 0, 3, 25, 30, 1, 20, 1, 12000, 0};

std::ptrdiff_t ThreadCount() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator{});
}

TEST(ReverbTeam, SamplesDoNotDependOnItsSize) {
  const int usual = omp_get_max_threads();
  for (const std::uint16_t channels : {std::uint16_t{3}, std::uint16_t{32}}) {
    const auto input = GridNoise(5000U * channels);
    omp_set_num_threads(1);
    const auto alone = Rig(kBlock, SampleFormat::kFloat64, channels).Run(input);
    for (const int workers : {2, 5}) {
      omp_set_num_threads(workers);
      EXPECT_EQ(Rig(kBlock, SampleFormat::kFloat64, channels).Run(input), alone) << workers << " workers";
    }
  }
  omp_set_num_threads(usual);
}

TEST(ReverbTeam, ReleaseOnTheForkingThreadLeavesNoWorkerAndElsewhereTheThreadsEndDoes) {
  const auto outside = ThreadCount();
  Rig rig(kBlock, SampleFormat::kFloat32, 6);
  std::thread([&] {
    omp_set_num_threads(3);
    const auto before = ThreadCount();
    Rig(kBlock, SampleFormat::kFloat32, 1).Run(GridNoise(20000), 20000);
    EXPECT_EQ(ThreadCount(), before) << "mono forks nothing";
    for (int start = 0; start < 3; ++start) {
      EXPECT_EQ(rig.engine.ReverbReset(), 0);
      rig.Run(GridNoise(60000), 10000);
      EXPECT_EQ(ThreadCount(), before + 2);
      rig.engine.ReverbRelease();
      EXPECT_EQ(ThreadCount(), before);
    }
    EXPECT_EQ(rig.engine.ReverbReset(), 0);
    rig.Run(GridNoise(60000), 10000);
    std::thread([&] { rig.engine.ReverbRelease(); }).join();
  }).join();
  for (int wait = 0; wait < 200 && ThreadCount() > outside; ++wait) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(ThreadCount(), outside);
}

#endif

}  // namespace
}  // namespace korva
