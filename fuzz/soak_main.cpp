// Plays streams that nobody would mean through the six effects, for as many seconds as it is told. A process of its own
// plays them: where one ends it, or never ends, the seed is known all the same.
// Usage: soak [SECONDS]; with KORVA_SEED in the environment that one stream
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "support/hostile_stream.h"

namespace korva {
namespace {

/// Exit code of a playing process that said what did not hold.
constexpr int kTold = 3;

/// What both processes see.
struct Progress {
  std::atomic<std::uint32_t> seed{0};
  std::atomic<std::uint64_t> played{0};
};

using Clock = std::chrono::steady_clock;

bool PlaySeed(std::uint32_t seed) {
  HostileStream stream(seed);
  const std::string wrong = stream.Play();
  if (!wrong.empty()) {
    std::printf("KORVA_SEED=%u: %s: this does not hold: %s\n", seed, stream.Name().c_str(), wrong.c_str());
  }
  return wrong.empty();
}

/// The playing process's whole life.
[[noreturn]] void PlayOn(Progress& progress, Clock::time_point end) {
  bool holds = true;
  while (holds && Clock::now() < end) {
    holds = PlaySeed(progress.seed.load());
    if (holds) {
      ++progress.seed;
      ++progress.played;
    }
  }
  std::fflush(stdout);
  ::_exit(holds ? 0 : kTold);
}

/// Waits for the playing process and says how it ended: 0 where all held.
int Watch(const Progress& progress, pid_t player) {
  constexpr auto kLongest = std::chrono::seconds(60);
  std::uint64_t seen = 0;
  auto since = Clock::now();
  int status = 0;
  while (::waitpid(player, &status, WNOHANG) == 0) {
    ::usleep(20000);
    if (progress.played.load() != seen) {
      seen = progress.played.load();
      since = Clock::now();
    } else if (Clock::now() - since > kLongest) {
      std::printf("KORVA_SEED=%u: the stream does not end\n", progress.seed.load());
      ::kill(player, SIGKILL);
      ::waitpid(player, &status, 0);
      return 1;
    }
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return 0;
  if (WIFEXITED(status) && WEXITSTATUS(status) == kTold) return 1;
  std::printf("KORVA_SEED=%u: the stream ended the program\n", progress.seed.load());
  return 1;
}

}  // namespace
}  // namespace korva

int main(int count, char** arguments) {
  using namespace korva;
  const char* const given = std::getenv("KORVA_SEED");
  const auto seed = given != nullptr ? static_cast<std::uint32_t>(std::strtoul(given, nullptr, 10))
                                     : static_cast<std::uint32_t>(std::random_device{}());
  if (given != nullptr) return PlaySeed(seed) ? 0 : 1;
  const long seconds = count > 1 ? std::strtol(arguments[1], nullptr, 10) : 60;
  void* const shared = ::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return 1;
  auto& progress = *new (shared) Progress;
  progress.seed = seed;
  std::printf("from KORVA_SEED=%u on\n", seed);
  std::fflush(stdout);
  const pid_t player = ::fork();
  if (player == 0) PlayOn(progress, Clock::now() + std::chrono::seconds(seconds));
  const int result = player > 0 ? Watch(progress, player) : 1;
  std::printf("%llu streams\n", static_cast<unsigned long long>(progress.played.load()));
  return result;
}
