#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace korva {

/// One double with the operations of `Pair`, so that a kernel written once runs on a stream's odd channel too.
struct Single {
  static constexpr std::size_t kLanes = 1;
  double value;

  static Single Broadcast(double x) noexcept { return {x}; }
  static Single Load(const double* from) noexcept { return {*from}; }
  static Single Gather(const double* from, const std::int32_t (&at)[1]) noexcept { return {from[at[0]]}; }
  static Single Neighbours(const double* from, const std::int32_t (&at)[1], Single& next) noexcept {
    next = {from[at[0] + 1]};
    return {from[at[0]]};
  }
  void Store(double* to) const noexcept { *to = value; }

  friend Single operator+(Single a, Single b) noexcept { return {a.value + b.value}; }
  friend Single operator-(Single a, Single b) noexcept { return {a.value - b.value}; }
  friend Single operator*(Single a, Single b) noexcept { return {a.value * b.value}; }
  friend Single Larger(Single a, Single b) noexcept { return a.value > b.value ? a : b; }
  friend Single Smaller(Single a, Single b) noexcept { return a.value < b.value ? a : b; }

  friend Single Less(Single a, Single b) noexcept { return Mask(a.value < b.value); }
  friend Single AtLeast(Single a, Single b) noexcept { return Mask(a.value >= b.value); }
  template <int kBit>
  Single MaskOfBit() const noexcept {
    return Mask((bits() >> kBit & 1U) != 0);
  }
  friend Single operator&(Single a, Single b) noexcept { return Of(a.bits() & b.bits()); }
  friend Single operator^(Single a, Single b) noexcept { return Of(a.bits() ^ b.bits()); }
  friend Single Without(Single b, Single mask) noexcept { return Of(b.bits() & ~mask.bits()); }
  friend Single Select(Single mask, Single yes, Single no) noexcept { return mask.AllSet() ? yes : no; }
  bool AllSet() const noexcept { return bits() != 0; }
  bool AnySet() const noexcept { return bits() != 0; }
  friend Single ThroughFloat(Single a) noexcept { return {static_cast<double>(static_cast<float>(a.value))}; }
  friend Single Magnitude(Single a) noexcept { return {std::fabs(a.value)}; }
  friend Single FlushBelow(Single a, Single floor) noexcept {
    return {std::fabs(a.value) < floor.value ? 0.0 : a.value};
  }

 private:
  std::uint64_t bits() const noexcept { return std::bit_cast<std::uint64_t>(value); }
  static Single Of(std::uint64_t bits) noexcept { return {std::bit_cast<double>(bits)}; }
  static Single Mask(bool set) noexcept { return Of(set ? ~std::uint64_t{0} : 0); }
};

}  // namespace korva
