#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "audio/zeroed_buffer.h"

namespace korva {

/// The values of a delay line. Like a `ZeroedBuffer`, unless memory is reserved for it: then it may be taken anew, at
/// any length up to the reserve, in the middle of a stream, with no call for memory and without being wiped at once.
/// What a reserved line held before turns into silence page by page, just ahead of whoever calls `Clean`.
class DelayLine {
 public:
  /// Takes memory for lines of up to `count` values and touches all of it. False, with nothing held, without memory.
  [[nodiscard]] bool Reserve(std::size_t count) noexcept {
    Free();
    if (!values_.Allocate(count) || !stale_.Allocate(count / kPage + 1)) {
      Free();
      return false;
    }
    std::fill_n(values_.data(), count, 0.0);
    reserved_ = true;
    return true;
  }
  bool reserved() const noexcept { return reserved_; }
  /// The longest line that the reserve can be.
  std::size_t capacity() const noexcept { return values_.size(); }

  /// A line of `count` values of silence. False, and empty, without memory or beyond the reserve.
  [[nodiscard]] bool Allocate(std::size_t count) noexcept {
    size_ = 0;
    if (!reserved_) {
      if (!values_.Allocate(count)) return false;
    } else if (count > values_.size()) {
      return false;
    }
    size_ = count;
    if (reserved_) Wipe();
    return true;
  }

  /// The same within what the stream has left.
  [[nodiscard]] bool Allocate(std::size_t count, StreamBudget& budget) noexcept {
    if (budget.Take(count, sizeof(double))) return Allocate(count);
    Release();
    return false;
  }

  /// Gives the line up; a reserve stays.
  void Release() noexcept {
    size_ = 0;
    stalePages_ = 0;
    if (!reserved_) values_.Release();
  }
  /// Gives up the reserve too.
  void Free() noexcept {
    reserved_ = false;
    Release();
    stale_.Release();
  }

  /// Silence from here on.
  void Wipe() noexcept {
    if (!reserved_) {
      std::fill_n(values_.data(), size_, 0.0);
      return;
    }
    stalePages_ = (size_ + kPage - 1) / kPage;
    std::fill_n(stale_.data(), stalePages_, std::uint8_t{1});
  }

  /// To be called before `count` values from `first` on, within the line, are read or written.
  void Clean(std::size_t first, std::size_t count) noexcept {
    if (stalePages_ != 0) CleanPages(first, count);
  }
  /// The same for a span that may run over the end of the line, and start before its front.
  void CleanAround(std::ptrdiff_t first, std::size_t count) noexcept {
    if (stalePages_ != 0) CleanRing(first, count);
  }

  double* data() noexcept { return values_.data(); }
  const double* data() const noexcept { return values_.data(); }
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  double& operator[](std::size_t index) noexcept { return values_[index]; }

 private:
  static constexpr std::size_t kPage = 128;

  void CleanPages(std::size_t first, std::size_t count) noexcept;
  void CleanRing(std::ptrdiff_t first, std::size_t count) noexcept;

  ZeroedBuffer<double> values_;
  ZeroedBuffer<std::uint8_t> stale_;  // one mark a page: it holds what was there before
  std::size_t size_ = 0;
  std::size_t stalePages_ = 0;
  bool reserved_ = false;
};

}  // namespace korva
