#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>

// What the user or the system asks to stop, and waits that end with it. An ordinary call that waits would sleep through
// a signal that comes just before it.
namespace korva {

/// The signal that asked the run to stop, 0 while none has. Written once, by a signal handler.
inline std::atomic<int> interruptedBy{0};
static_assert(std::atomic<int>::is_always_lock_free);

inline bool Interrupted() noexcept {
  return interruptedBy.load(std::memory_order_relaxed) != 0;
}

/// From now on SIGINT, SIGTERM and SIGHUP ask the run to stop. One that comes a second after the first, or later, ends
/// the process at once; two that come together, as some programs send them, count as one.
void CatchInterrupts();
/// Ends the process by the signal that asked for it, so that who called it learns why. Returns when none did.
void EndByInterrupt();

/// Each of these waits as long as it takes and ends with -1, or false, and `errno`: EINTR for an interrupt.

/// Opens a file for reading or writing alone. A pipe may have nobody at its other end yet.
int OpenWaiting(const char* path, int flags);
ssize_t ReadWaiting(int descriptor, void* target, std::size_t bytes);
/// Writes all of it.
bool WriteWaiting(int descriptor, const void* data, std::size_t bytes);

}  // namespace korva
