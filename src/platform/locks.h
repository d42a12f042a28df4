// Locks for objects that come and go: what one holds is freed with it.
// On Windows these are the system's own. The C++ library's there allocate at first use and, being trivially
// destructible, never free it, so that every filter created and released would leave some memory, and a handle too
// where threads had met. Elsewhere they are the C++ library's.
#pragma once

#include <mutex>

#include "platform/platform.h"

#ifndef _WIN32
#include <condition_variable>
#endif

namespace korva::platform {

#ifdef _WIN32

class Lock {
 public:
  Lock() = default;
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  void lock() noexcept { ::AcquireSRWLockExclusive(&lock_); }
  bool try_lock() noexcept { return ::TryAcquireSRWLockExclusive(&lock_) != 0; }
  void unlock() noexcept { ::ReleaseSRWLockExclusive(&lock_); }

 private:
  friend class Condition;
  SRWLOCK lock_ = SRWLOCK_INIT;
};

class RecursiveLock {
 public:
  RecursiveLock() noexcept { ::InitializeCriticalSectionEx(&section_, kSpins, CRITICAL_SECTION_NO_DEBUG_INFO); }
  RecursiveLock(const RecursiveLock&) = delete;
  RecursiveLock& operator=(const RecursiveLock&) = delete;
  ~RecursiveLock() { ::DeleteCriticalSection(&section_); }
  void lock() noexcept { ::EnterCriticalSection(&section_); }
  bool try_lock() noexcept { return ::TryEnterCriticalSection(&section_) != FALSE; }
  void unlock() noexcept { ::LeaveCriticalSection(&section_); }

 private:
  static constexpr DWORD kSpins = 1000;
  CRITICAL_SECTION section_;
};

class Condition {
 public:
  Condition() = default;
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;
  // May return with nothing notified: wait in a loop over what is waited for.
  void wait(std::unique_lock<Lock>& guard) noexcept {
    ::SleepConditionVariableSRW(&condition_, &guard.mutex()->lock_, INFINITE, 0);
  }
  void notify_one() noexcept { ::WakeConditionVariable(&condition_); }
  void notify_all() noexcept { ::WakeAllConditionVariable(&condition_); }

 private:
  CONDITION_VARIABLE condition_ = CONDITION_VARIABLE_INIT;
};

#else

using Lock = std::mutex;
using RecursiveLock = std::recursive_mutex;
using Condition = std::condition_variable;

#endif

}  // namespace korva::platform
