#include "audio/zeroed_buffer.h"

#include <cstdlib>

namespace korva {
namespace {

constexpr std::size_t kLargestRequest = std::size_t{256} << 20;

thread_local int allocationsLeft = -1;

}  // namespace

void FailAllocationsAfter(int count) noexcept {
  allocationsLeft = count;
}

void* AllocateZeroed(std::size_t count, std::size_t size) noexcept {
  if (allocationsLeft == 0) return nullptr;
  if (allocationsLeft > 0) --allocationsLeft;
  if (count > kLargestRequest / size) return nullptr;
  return std::calloc(count, size);
}

void FreeZeroed(void* memory) noexcept {
  std::free(memory);
}

}  // namespace korva
