#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "frame/record.h"

namespace korva {

/// A parameter block, whatever the effect.
struct alignas(8) LiveBlock {
  std::array<std::byte, kLargestBlock> bytes{};
  void* data() noexcept { return bytes.data(); }
  const void* data() const noexcept { return bytes.data(); }
};

/// Hands parameter blocks from control threads to the audio thread. Neither ever waits for the other: of three slots
/// one belongs to either side, and the third changes hands by an atomic exchange.
class LiveMail {
 public:
  static constexpr std::uint64_t kWholeBlock = std::uint64_t{1} << 63U;
  static_assert(kMostRows < 63, "the highest bit stands for the whole block");
  static constexpr std::uint64_t RowBit(std::size_t row) noexcept { return std::uint64_t{1} << row; }

  /// One control thread at a time. `changes` are row bits, or the whole block, as a preset sets it.
  void Post(const LiveBlock& block, std::uint64_t changes) noexcept {
    slots_[back_] = block;
    back_ = middle_.exchange(back_ | kFresh, std::memory_order_acq_rel) & kSlot;
    changes_.fetch_or(changes, std::memory_order_release);
  }

  /// The audio thread: what changed since it last asked. `block` is then as new or newer, and valid until it asks
  /// again.
  std::uint64_t Take(const LiveBlock*& block) noexcept {
    if (changes_.load(std::memory_order_relaxed) == 0) return 0;
    const std::uint64_t changes = changes_.exchange(0, std::memory_order_acquire);
    if ((middle_.load(std::memory_order_relaxed) & kFresh) != 0) {
      front_ = middle_.exchange(front_, std::memory_order_acq_rel) & kSlot;
    }
    block = &slots_[front_];
    return changes;
  }

 private:
  static constexpr unsigned kSlot = 3, kFresh = 4;

  std::array<LiveBlock, 3> slots_;
  unsigned back_ = 0, front_ = 1;
  std::atomic<unsigned> middle_{2};
  std::atomic<std::uint64_t> changes_{0};
};

}  // namespace korva
