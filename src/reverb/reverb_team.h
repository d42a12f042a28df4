#pragma once

namespace korva {

/// Ends the OpenMP team of the calling thread and joins its workers; the next parallel loop makes a new one. Without
/// OpenMP there is none.
///
/// The runtime keeps a team for each thread that forks, and only that thread can end it: by this call, or by ending.
/// A stream stopped by another thread leaves the workers to the streaming thread. On Windows they then wait in the
/// system, without spinning, for a wake-up that is the streaming thread's alone to give; so a module may be unloaded
/// over them, and they stay as idle threads until the process ends.
void EndTeam() noexcept;

}  // namespace korva
