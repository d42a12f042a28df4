#include "audio/zeroed_buffer.h"

#include <atomic>
#include <cstdlib>

namespace korva {
namespace {

// Not one for each thread: what a library keeps for a thread that outlives it is never freed.
std::atomic<int> allocationsLeft{-1};

}  // namespace

void FailAllocationsAfter(int count) noexcept {
  allocationsLeft.store(count, std::memory_order_relaxed);
}

void* AllocateZeroed(std::size_t count, std::size_t size) noexcept {
  const int left = allocationsLeft.load(std::memory_order_relaxed);
  if (left == 0) return nullptr;
  if (left > 0) allocationsLeft.store(left - 1, std::memory_order_relaxed);
  if (count > kMostBufferBytes / size) return nullptr;
  return std::calloc(count, size);
}

void FreeZeroed(void* memory) noexcept {
  std::free(memory);
}

}  // namespace korva
