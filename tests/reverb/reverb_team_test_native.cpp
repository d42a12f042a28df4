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
  for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{3}, std::uint16_t{6}, std::uint16_t{32}}) {
    for (const SampleFormat format : {SampleFormat::kFloat32, SampleFormat::kFloat64}) {
      const auto input = Noise(5000U * channels);
      omp_set_num_threads(1);
      const auto alone = Rig(kBlock, format, channels).Run(input);
      for (const int workers : {2, 3, 5}) {
        omp_set_num_threads(workers);
        EXPECT_EQ(Rig(kBlock, format, channels).Run(input), alone)
            << channels << " channels, " << workers << " workers";
      }
    }
  }
  omp_set_num_threads(usual);
}

TEST(ReverbTeam, ReleaseOnTheForkingThreadLeavesNoWorkerAndMonoNeverMakesOne) {
  std::thread([] {
    omp_set_num_threads(3);
    const auto before = ThreadCount();
    Rig mono(kBlock, SampleFormat::kFloat32, 1);
    mono.Run(Noise(20000), 20000);
    EXPECT_EQ(ThreadCount(), before);
    Rig rig(kBlock, SampleFormat::kFloat32, 6);
    for (int start = 0; start < 3; ++start) {
      EXPECT_EQ(rig.engine.ReverbReset(), 0);
      rig.Run(Noise(60000), 10000);
      EXPECT_EQ(ThreadCount(), before + 2);
      rig.engine.ReverbRelease();
      EXPECT_EQ(ThreadCount(), before);
    }
  }).join();
}

TEST(ReverbTeam, AReleaseElsewhereLeavesTheTeamToItsOwnThread) {
  const auto before = ThreadCount();
  Rig rig(kBlock, SampleFormat::kFloat32, 6);
  std::thread([&] {
    omp_set_num_threads(3);
    rig.Run(Noise(60000), 10000);
    std::thread([&] { rig.engine.ReverbRelease(); }).join();
    EXPECT_EQ(rig.engine.ReverbReset(), 0);
    rig.Run(Noise(60000), 10000);
  }).join();
  // The workers leave on their own once their thread is gone.
  for (int wait = 0; wait < 200 && ThreadCount() > before; ++wait) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(ThreadCount(), before);
}

#endif

}  // namespace
}  // namespace korva
