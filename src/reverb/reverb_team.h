#pragma once

namespace korva {

/// Ends the OpenMP team of the calling thread and joins its workers; the next parallel loop makes a new one. Without
/// OpenMP there is none.
///
/// The runtime keeps a team for each thread that forks, and only that thread can end it: by this call, or by ending.
/// A stream stopped by another thread leaves the workers to the streaming thread.
void EndTeam() noexcept;

/// For a team whose owner did not end it: keeps the module loaded from here on. When the owner ends, its workers wake
/// once more and run to their own end in the module's code, and nobody can join them.
void AbandonTeam() noexcept;

}  // namespace korva
