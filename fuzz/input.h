#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

/// What libFuzzer calls with every input, and the seed runner with every seed. Each target defines it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace korva {

/// Ends the program where something that must hold does not, so that the input is kept.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "This must hold and does not: %s\n", what);
  std::abort();
}

/// The bytes of one input, taken from the front. Where they have ended everything reads as 0.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : left_(data, size) {}

  bool empty() const noexcept { return left_.empty(); }

  /// A plain value, little-endian as in files.
  template <class T>
  T Take() {
    static_assert(std::is_trivially_copyable_v<T>);
    T value{};
    const std::size_t bytes = std::min(sizeof value, left_.size());
    if (bytes != 0) std::memcpy(&value, left_.data(), bytes);
    left_ = left_.subspan(bytes);
    return value;
  }
  /// 0 to `most`, from one byte.
  unsigned TakeUpTo(unsigned most) { return Take<std::uint8_t>() % (most + 1); }

  /// The next `count` bytes, or what is left, in memory of their own: a read past their end is seen.
  std::vector<std::uint8_t> Bytes(std::size_t count) {
    const auto part = left_.first(std::min(count, left_.size()));
    left_ = left_.subspan(part.size());
    return {part.begin(), part.end()};
  }
  std::vector<std::uint8_t> Rest() { return Bytes(left_.size()); }

  /// The text up to the next line's end.
  std::string Line() {
    const auto end = std::find(left_.begin(), left_.end(), '\n');
    std::string line(left_.begin(), end);
    left_ = left_.subspan(std::min(left_.size(), line.size() + 1));
    return line;
  }

 private:
  std::span<const std::uint8_t> left_;
};

}  // namespace korva
