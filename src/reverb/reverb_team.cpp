#include "reverb/reverb_team.h"

#include <xmmintrin.h>

#include <algorithm>
#include <atomic>

namespace korva {
namespace {

std::atomic<int> threadsGranted{-1};

bool MayHaveAnother() noexcept {
  const int left = threadsGranted.load(std::memory_order_relaxed);
  if (left > 0) threadsGranted.store(left - 1, std::memory_order_relaxed);
  return left != 0;
}

}  // namespace

void ReverbTeam::GrantThreads(int count) noexcept {
  threadsGranted.store(count, std::memory_order_relaxed);
}

void ReverbTeam::Start(std::size_t size) noexcept {
  size = std::clamp<std::size_t>(size, 1, threads_.size() + 1);
  if (size == asked_) return;
  Stop();
  asked_ = size;
  while (threadCount_ + 1 < size && MayHaveAnother() && threads_[threadCount_].Start(&Enter, this)) ++threadCount_;
}

void ReverbTeam::Stop() noexcept {
  asked_ = 1;
  if (threadCount_ == 0) return;
  {
    const std::lock_guard guard(lock_);
    quit_ = true;
  }
  wake_.notify_all();
  while (threadCount_ != 0) threads_[--threadCount_].Join();
  quit_ = false;
}

bool ReverbTeam::WorkOnOne(std::unique_lock<platform::Lock>& guard) noexcept {
  if (nextRun_ == runs_) return false;
  const std::size_t run = nextRun_++;
  const std::size_t length = items_ / runs_, longer = items_ % runs_;
  const std::size_t first = run * length + std::min(run, longer);
  guard.unlock();
  work_(context_, first, first + length + (run < longer ? 1 : 0));
  guard.lock();
  if (--runsLeft_ == 0) done_.notify_one();
  return true;
}

void ReverbTeam::Serve() noexcept {
  std::unique_lock guard(lock_);
  while (!quit_) {
    // The same treatment of small numbers in every thread, or samples would depend on the team.
    _mm_setcsr(floatControl_);
    if (!WorkOnOne(guard)) wake_.wait(guard);
  }
}

void ReverbTeam::Run(std::size_t items, Work work, void* context) noexcept {
  std::unique_lock guard(lock_);
  work_ = work;
  context_ = context;
  floatControl_ = _mm_getcsr();
  items_ = items;
  runs_ = runsLeft_ = std::min(items, size());
  nextRun_ = 0;
  guard.unlock();
  wake_.notify_all();
  guard.lock();
  while (WorkOnOne(guard)) {
  }
  while (runsLeft_ != 0) done_.wait(guard);
}

}  // namespace korva
