#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

// Counts of frames that an effect still rings out. Hosts read such a count as a signed word, so none exceeds one.
namespace korva {

inline constexpr std::uint32_t kLongestTail = std::numeric_limits<std::int32_t>::max();

/// `frames` as a count, held to the longest.
constexpr std::uint32_t TailFrames(std::uint64_t frames) noexcept {
  return frames < kLongestTail ? static_cast<std::uint32_t>(frames) : kLongestTail;
}

/// Takes up to `wanted` frames off `left` and answers how many.
inline std::uint32_t TakeFrames(std::uint32_t& left, std::uint32_t wanted) noexcept {
  const std::uint32_t taken = std::min(left, wanted);
  left -= taken;
  return taken;
}

/// What is left to ring out while a host sends buffers that ask for the tail alone. Ordinary audio arms it again.
class TailOnlyBudget {
 public:
  bool done() const noexcept { return done_; }
  void ClearDone() noexcept { done_ = false; }
  void Arm(std::uint32_t frames) noexcept { left_ = frames; }

  /// Takes up to `wanted` frames; done once none is left.
  std::uint32_t Take(std::uint32_t wanted) noexcept {
    const std::uint32_t taken = TakeFrames(left_, wanted);
    if (left_ == 0) done_ = true;
    return taken;
  }

 private:
  std::uint32_t left_ = 0;
  bool done_ = false;
};

}  // namespace korva
