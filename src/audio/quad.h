#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

// For files named *_wide.cpp alone. The name is each file's own, and with it every kernel that is made for it: a copy
// compiled for wide units must never be the one that the linker keeps for all.
namespace korva {
namespace {

/// `Pair` with four doubles.
struct Quad {
  static constexpr std::size_t kLanes = 4;
  __m256d value;

  static Quad Broadcast(double x) noexcept { return {_mm256_set1_pd(x)}; }
  static Quad Load(const double* from) noexcept { return {_mm256_loadu_pd(from)}; }
  static Quad Gather(const double* from, const std::int32_t (&at)[4]) noexcept {
    return {_mm256_set_pd(from[at[3]], from[at[2]], from[at[1]], from[at[0]])};
  }
  static Quad Neighbours(const double* from, const std::int32_t (&at)[4], Quad& next) noexcept {
    const __m256d even = Halves(from + at[0], from + at[2]), odd = Halves(from + at[1], from + at[3]);
    next = {_mm256_unpackhi_pd(even, odd)};
    return {_mm256_unpacklo_pd(even, odd)};
  }
  void Store(double* to) const noexcept { _mm256_storeu_pd(to, value); }

  friend Quad operator+(Quad a, Quad b) noexcept { return {_mm256_add_pd(a.value, b.value)}; }
  friend Quad operator-(Quad a, Quad b) noexcept { return {_mm256_sub_pd(a.value, b.value)}; }
  friend Quad operator*(Quad a, Quad b) noexcept { return {_mm256_mul_pd(a.value, b.value)}; }
  friend Quad Larger(Quad a, Quad b) noexcept { return {_mm256_max_pd(a.value, b.value)}; }
  friend Quad Smaller(Quad a, Quad b) noexcept { return {_mm256_min_pd(a.value, b.value)}; }

  friend Quad Less(Quad a, Quad b) noexcept { return {_mm256_cmp_pd(a.value, b.value, _CMP_LT_OS)}; }
  template <int kBit>
  Quad MaskOfBit() const noexcept {
    const __m256i word = _mm256_srai_epi32(_mm256_slli_epi32(_mm256_castpd_si256(value), 31 - kBit), 31);
    return {_mm256_castsi256_pd(_mm256_shuffle_epi32(word, 0xA0))};
  }
  friend Quad operator&(Quad a, Quad b) noexcept { return {_mm256_and_pd(a.value, b.value)}; }
  friend Quad operator^(Quad a, Quad b) noexcept { return {_mm256_xor_pd(a.value, b.value)}; }
  friend Quad Select(Quad mask, Quad yes, Quad no) noexcept {
    return {_mm256_blendv_pd(no.value, yes.value, mask.value)};
  }
  bool AllSet() const noexcept { return _mm256_movemask_pd(value) == 15; }
  friend Quad Magnitude(Quad a) noexcept { return {_mm256_andnot_pd(_mm256_set1_pd(-0.0), a.value)}; }

 private:
  static __m256d Halves(const double* low, const double* high) noexcept {
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(low)), _mm_loadu_pd(high), 1);
  }
};

}  // namespace
}  // namespace korva
