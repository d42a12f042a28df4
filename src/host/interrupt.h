#pragma once

#include <atomic>

namespace korva {

/// Set, once and for good, when the user or the system asks the run to stop. Written by a signal handler.
inline std::atomic<bool> interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

}  // namespace korva
