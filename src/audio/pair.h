#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

namespace korva {

/// Two doubles to one operation, in registers that every 64-bit x86 processor has. Each half rounds as the plain
/// operation does, so a result never depends on the processor.
struct Pair {
  static constexpr std::size_t kLanes = 2;
  __m128d value;

  static Pair Broadcast(double x) noexcept { return {_mm_set1_pd(x)}; }
  static Pair Of(double low, double high) noexcept { return {_mm_set_pd(high, low)}; }
  static Pair Load(const double* from) noexcept { return {_mm_loadu_pd(from)}; }
  /// One double in the low half, 0 in the high half.
  static Pair LoadLow(const double* from) noexcept { return {_mm_load_sd(from)}; }
  /// The values at two places of `from`; with `Neighbours` also those after them.
  static Pair Gather(const double* from, const std::int32_t (&at)[2]) noexcept {
    return {_mm_loadh_pd(_mm_load_sd(from + at[0]), from + at[1])};
  }
  static Pair Neighbours(const double* from, const std::int32_t (&at)[2], Pair& next) noexcept {
    const Pair a = Load(from + at[0]), b = Load(from + at[1]);
    next = Highs(a, b);
    return Lows(a, b);
  }
  void Store(double* to) const noexcept { _mm_storeu_pd(to, value); }
  void StoreLow(double* to) const noexcept { _mm_store_sd(to, value); }

  friend Pair operator+(Pair a, Pair b) noexcept { return {_mm_add_pd(a.value, b.value)}; }
  friend Pair operator-(Pair a, Pair b) noexcept { return {_mm_sub_pd(a.value, b.value)}; }
  friend Pair operator*(Pair a, Pair b) noexcept { return {_mm_mul_pd(a.value, b.value)}; }
  /// The larger, or the smaller; `b` where either is not-a-number.
  friend Pair Larger(Pair a, Pair b) noexcept { return {_mm_max_pd(a.value, b.value)}; }
  friend Pair Smaller(Pair a, Pair b) noexcept { return {_mm_min_pd(a.value, b.value)}; }

  // Masks: all bits of a half, or none.
  friend Pair Less(Pair a, Pair b) noexcept { return {_mm_cmplt_pd(a.value, b.value)}; }
  friend Pair Equal(Pair a, Pair b) noexcept { return {_mm_cmpeq_pd(a.value, b.value)}; }
  friend Pair AtLeast(Pair a, Pair b) noexcept { return {_mm_cmpge_pd(a.value, b.value)}; }
  /// `kBit`, 0 to 31, of a half's own bits as a mask.
  template <int kBit>
  Pair MaskOfBit() const noexcept {
    const __m128i word = _mm_srai_epi32(_mm_slli_epi32(_mm_castpd_si128(value), 31 - kBit), 31);
    return {_mm_castsi128_pd(_mm_shuffle_epi32(word, 0xA0))};
  }
  /// The bits that both have; those of `b` that `mask` has not.
  friend Pair operator&(Pair a, Pair b) noexcept { return {_mm_and_pd(a.value, b.value)}; }
  friend Pair operator^(Pair a, Pair b) noexcept { return {_mm_xor_pd(a.value, b.value)}; }
  friend Pair Without(Pair b, Pair mask) noexcept { return {_mm_andnot_pd(mask.value, b.value)}; }
  friend Pair Select(Pair mask, Pair yes, Pair no) noexcept {
    return {_mm_or_pd(_mm_and_pd(mask.value, yes.value), _mm_andnot_pd(mask.value, no.value))};
  }
  /// Whether a mask stands in every half.
  bool AllSet() const noexcept { return _mm_movemask_pd(value) == 3; }
  bool AnySet() const noexcept { return _mm_movemask_pd(value) != 0; }
  /// Through the precision of a 32-bit float.
  friend Pair ThroughFloat(Pair a) noexcept { return {_mm_cvtps_pd(_mm_cvtpd_ps(a.value))}; }
  friend Pair Magnitude(Pair a) noexcept { return Without(a, Broadcast(-0.0)); }

  /// The low halves of `a` and `b`, side by side; likewise the high halves.
  friend Pair Lows(Pair a, Pair b) noexcept { return {_mm_unpacklo_pd(a.value, b.value)}; }
  friend Pair Highs(Pair a, Pair b) noexcept { return {_mm_unpackhi_pd(a.value, b.value)}; }
  /// The halves exchanged.
  friend Pair Swapped(Pair a) noexcept { return {_mm_shuffle_pd(a.value, a.value, 1)}; }

  /// 0 for each half whose magnitude is below `floor`.
  friend Pair FlushBelow(Pair a, Pair floor) noexcept { return Without(a, Less(Magnitude(a), floor)); }

  double low() const noexcept { return _mm_cvtsd_f64(value); }
  double high() const noexcept { return _mm_cvtsd_f64(_mm_unpackhi_pd(value, value)); }
};

}  // namespace korva
