#pragma once

#include <array>
#include <cstddef>
#include <mutex>

#include "audio/format_record.h"
#include "platform/locks.h"
#include "platform/threads.h"

namespace korva {

/// The threads that share one stream's channels out: those of the stream, made as it starts and joined as it stops, and
/// the one that calls `Run`.
///
/// An OpenMP team would end the whole process where the system has no thread or no memory for it, and would outlive its
/// stream in a thread of the host's. This one works with the threads that it gets, the calling one alone if need be.
///
/// `Run` takes a lock and may wake threads and wait for them; it allocates nothing. `Start` and `Stop` come from the
/// thread that starts and stops the stream, or from the streaming thread, never beside `Run`.
class ReverbTeam {
 public:
  /// Works on the items from `first` up to `last`.
  using Work = void (*)(void* context, std::size_t first, std::size_t last);

  ReverbTeam() = default;
  ReverbTeam(const ReverbTeam&) = delete;
  ReverbTeam& operator=(const ReverbTeam&) = delete;
  ~ReverbTeam() { Stop(); }

  /// Has a team of up to `size`, the calling thread counted; does nothing where one of this size was asked for before.
  void Start(std::size_t size) noexcept;
  /// Joins every thread.
  void Stop() noexcept;
  /// Those that are there, the calling thread counted.
  std::size_t size() const noexcept { return 1 + threadCount_; }

  /// Divides `items` into runs of neighbours, one for each of the team and the first ones longer by one where it does
  /// not come out even, and returns when all are done. Which thread takes a run is open.
  void Run(std::size_t items, Work work, void* context) noexcept;

  /// For tests: of the threads asked for from now on, only `count` are granted; below 0 all are.
  static void GrantThreads(int count) noexcept;

 private:
  static void Enter(void* self) noexcept { static_cast<ReverbTeam*>(self)->Serve(); }
  void Serve() noexcept;
  /// Takes a run that nobody has and works on it; false if there is none. `guard` is held before and after.
  bool WorkOnOne(std::unique_lock<platform::Lock>& guard) noexcept;

  std::size_t asked_ = 1;
  std::size_t threadCount_ = 0;
  std::array<platform::Thread, kMaxChannels - 1> threads_;

  platform::Lock lock_;
  platform::Condition wake_, done_;
  // Under the lock; the job itself holds still until all of it is done.
  bool quit_ = false;
  Work work_ = nullptr;
  void* context_ = nullptr;
  unsigned floatControl_ = 0x1F80;  // of the calling thread
  std::size_t items_ = 0, runs_ = 0;
  std::size_t nextRun_ = 0, runsLeft_ = 0;
};

}  // namespace korva
