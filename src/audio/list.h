#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace korva {

/// A list of plain elements that stay contiguous and are reached by index. Growth can fail; nothing throws.
template <class T>
class List {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  List() = default;
  List(const List&) = delete;
  List& operator=(const List&) = delete;
  ~List() { ::operator delete(items_); }

  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  T& operator[](std::size_t index) noexcept { return items_[index]; }
  const T& operator[](std::size_t index) const noexcept { return items_[index]; }
  T* begin() noexcept { return items_; }
  T* end() noexcept { return items_ + size_; }
  const T* begin() const noexcept { return items_; }
  const T* end() const noexcept { return items_ + size_; }

  /// Makes room for `count` elements; false, and unchanged, if there is no memory.
  [[nodiscard]] bool Reserve(std::size_t count) noexcept {
    if (count <= capacity_) return true;
    const std::size_t wanted = count > 2 * capacity_ ? count : 2 * capacity_;
    if (wanted > static_cast<std::size_t>(-1) / sizeof(T)) return false;
    auto* grown = static_cast<T*>(::operator new(wanted * sizeof(T), std::nothrow));
    if (grown == nullptr) return false;
    if (size_ != 0) std::memcpy(static_cast<void*>(grown), items_, size_ * sizeof(T));
    ::operator delete(items_);
    items_ = grown;
    capacity_ = wanted;
    return true;
  }

  /// Puts `item` before the element at `index` (at the end for `size()`); false if there is no memory.
  [[nodiscard]] bool Insert(std::size_t index, const T& item) noexcept {
    const T copy = item;
    if (!Reserve(size_ + 1)) return false;
    std::memmove(static_cast<void*>(items_ + index + 1), items_ + index, (size_ - index) * sizeof(T));
    items_[index] = copy;
    ++size_;
    return true;
  }

  /// Puts `item` at the end, where `Reserve` made room for it.
  void Append(const T& item) noexcept { items_[size_++] = item; }

  /// Takes out `count` elements from `index` on.
  void Remove(std::size_t index, std::size_t count = 1) noexcept {
    if (count == 0) return;
    std::memmove(static_cast<void*>(items_ + index), items_ + index + count, (size_ - index - count) * sizeof(T));
    size_ -= count;
  }

  void Swap(List& other) noexcept {
    std::swap(items_, other.items_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
  }

  void Clear() noexcept { size_ = 0; }

 private:
  T* items_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace korva
