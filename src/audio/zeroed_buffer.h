#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

namespace korva {

/// What the buffers of one stream may take together, and any one of them. The system promises zeroed pages long before
/// it has them, so an absurd rate must fail here and not later. Every stream that can be meant fits: five seconds of 32
/// channels in doubles at 768 kHz, four times the highest rate that converters run at, take 0.98 of the 1.07 GB.
inline constexpr std::size_t kMostStreamBytes = std::size_t{1} << 30;
inline constexpr std::size_t kMostBufferBytes = std::size_t{256} << 20;

/// What a stream has left of it while its buffers are taken, all of them anew.
class StreamBudget {
 public:
  /// Takes `count` values of `size` bytes off; false, and nothing taken, if that is more than is left.
  [[nodiscard]] bool Take(std::size_t count, std::size_t size) noexcept {
    if (count > left_ / size) return false;
    left_ -= count * size;
    return true;
  }

 private:
  std::size_t left_ = kMostStreamBytes;
};

/// Engines' memory: zero-filled, at least 16-byte aligned, null when there is none.
void* AllocateZeroed(std::size_t count, std::size_t size) noexcept;
void FreeZeroed(void* memory) noexcept;

/// For tests: lets the next `count` allocations of any thread succeed and fails all after them; below 0 lets all be.
void FailAllocationsAfter(int count) noexcept;

/// An owned run of plain values that starts as zeros. Allocation can fail; nothing throws.
template <class T>
class ZeroedBuffer {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  ZeroedBuffer() = default;
  ZeroedBuffer(const ZeroedBuffer&) = delete;
  ZeroedBuffer& operator=(const ZeroedBuffer&) = delete;
  ZeroedBuffer(ZeroedBuffer&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)),
        size_(std::exchange(other.size_, 0)),
        capacity_(std::exchange(other.capacity_, 0)),
        keep_(other.keep_) {}
  ZeroedBuffer& operator=(ZeroedBuffer&& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
    std::swap(keep_, other.keep_);
    return *this;
  }
  ~ZeroedBuffer() { FreeZeroed(data_); }

  /// While on, what was once taken is kept: `Release` only empties, and `Allocate` asks for memory only where it needs
  /// more than ever before. Turning it off gives up what an empty buffer kept.
  void KeepMemory(bool on) noexcept {
    keep_ = on;
    if (!on && size_ == 0) Release();
  }

  /// Frees what was held and takes `count` zeroed values; false, and empty, if there is no memory. A count of 0 is
  /// granted as an empty buffer.
  [[nodiscard]] bool Allocate(std::size_t count) noexcept {
    Release();
    if (count == 0) return true;
    if (keep_ && count <= capacity_) {
      std::fill_n(data_, count, T{});
      size_ = count;
      return true;
    }
    FreeZeroed(data_);
    data_ = static_cast<T*>(AllocateZeroed(count, sizeof(T)));
    size_ = capacity_ = data_ != nullptr ? count : 0;
    return data_ != nullptr;
  }
  /// The same within what the stream has left.
  [[nodiscard]] bool Allocate(std::size_t count, StreamBudget& budget) noexcept {
    Release();
    return budget.Take(count, sizeof(T)) && Allocate(count);
  }

  void Release() noexcept {
    size_ = 0;
    if (keep_) return;
    FreeZeroed(std::exchange(data_, nullptr));
    capacity_ = 0;
  }

  T* data() noexcept { return data_; }
  const T* data() const noexcept { return data_; }
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  T& operator[](std::size_t index) noexcept { return data_[index]; }
  const T& operator[](std::size_t index) const noexcept { return data_[index]; }
  std::span<T> view() noexcept { return {data_, size_}; }

 private:
  T* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  bool keep_ = false;
};

}  // namespace korva
