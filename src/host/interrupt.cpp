#include "host/interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <initializer_list>

namespace korva {
namespace {

// Readable once an interrupt came, and from then on; the handler writes to the other end.
std::array<int, 2> wake{-1, -1};
std::atomic<std::int64_t> firstSecond{0};

std::int64_t Milliseconds() {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

extern "C" void TakeInterrupt(int number) {
  const int before = errno;
  int none = 0;
  if (interruptedBy.compare_exchange_strong(none, number)) {
    firstSecond.store(Milliseconds());
    [[maybe_unused]] const ssize_t written = ::write(wake[1], "", 1);
  } else if (Milliseconds() - firstSecond.load() > 1000) {
    // Who asks again wants it at any price.
    std::signal(number, SIG_DFL);
    std::raise(number);
  }
  errno = before;
}

/// False when an interrupt came first. `timeout` in milliseconds, -1 for none.
bool WaitFor(int descriptor, short events, int timeout) {
  std::array<pollfd, 2> waits{{{descriptor, events, 0}, {wake[0], POLLIN, 0}}};
  for (;;) {
    const int ready = ::poll(waits.data(), waits.size(), timeout);
    if (Interrupted() || waits[1].revents != 0) {
      errno = EINTR;
      return false;
    }
    if (ready >= 0 || errno != EINTR) return true;
  }
}

bool IsPlainFile(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

void CatchInterrupts() {
  if (::pipe2(wake.data(), O_CLOEXEC | O_NONBLOCK) != 0) wake = {-1, -1};
  struct sigaction stop {};
  stop.sa_handler = &TakeInterrupt;
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction inherited {};
    // A shell's background jobs and nohup ask not to be stopped this way.
    if (::sigaction(number, nullptr, &inherited) == 0 && inherited.sa_handler == SIG_IGN) continue;
    ::sigaction(number, &stop, nullptr);
  }
}

void EndByInterrupt() {
  const int number = interruptedBy.load();
  if (number == 0) return;
  std::signal(number, SIG_DFL);
  std::raise(number);
}

int OpenWaiting(const char* path, int flags) {
  for (;;) {
    const int descriptor = ::open(path, flags | O_NONBLOCK | O_CLOEXEC);
    // A pipe that nobody reads yet refuses its writer; there is nothing to wait for but time.
    constexpr int kRetryMilliseconds = 20;
    if (descriptor >= 0 || (errno != ENXIO && errno != EINTR)) return descriptor;
    if (errno == ENXIO && (flags & O_ACCMODE) == O_RDONLY) return -1;
    struct stat status {};
    if (::stat(path, &status) == 0 && !S_ISFIFO(status.st_mode)) return -1;
    if (!WaitFor(-1, 0, kRetryMilliseconds)) return -1;
  }
}

ssize_t ReadWaiting(int descriptor, void* target, std::size_t bytes) {
  for (;;) {
    if (!WaitFor(descriptor, POLLIN, -1)) return -1;
    const ssize_t got = ::read(descriptor, target, bytes);
    if (got >= 0 || (errno != EAGAIN && errno != EINTR)) return got;
  }
}

bool WriteWaiting(int descriptor, const void* data, std::size_t bytes) {
  // A pipe that says it takes something takes this much without a wait.
  const std::size_t most = IsPlainFile(descriptor) ? bytes : std::size_t{PIPE_BUF};
  const auto* at = static_cast<const char*>(data);
  while (bytes != 0) {
    if (!WaitFor(descriptor, POLLOUT, -1)) return false;
    const ssize_t written = ::write(descriptor, at, std::min(bytes, most));
    if (written < 0 && (errno == EAGAIN || errno == EINTR)) continue;
    if (written <= 0) return false;
    at += written;
    bytes -= static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace korva
