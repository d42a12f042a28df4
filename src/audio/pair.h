#pragma once

#include <emmintrin.h>

namespace korva {

/// Two doubles to one operation, in registers that every 64-bit x86 processor has. Each half rounds as the plain
/// operation does, so a result never depends on the processor.
struct Pair {
  __m128d value;

  static Pair Both(double x) noexcept { return {_mm_set1_pd(x)}; }
  static Pair Of(double low, double high) noexcept { return {_mm_set_pd(high, low)}; }
  static Pair Load(const double* from) noexcept { return {_mm_loadu_pd(from)}; }
  /// One double in the low half, 0 in the high half.
  static Pair LoadLow(const double* from) noexcept { return {_mm_load_sd(from)}; }
  void Store(double* to) const noexcept { _mm_storeu_pd(to, value); }
  void StoreLow(double* to) const noexcept { _mm_store_sd(to, value); }

  friend Pair operator+(Pair a, Pair b) noexcept { return {_mm_add_pd(a.value, b.value)}; }
  friend Pair operator-(Pair a, Pair b) noexcept { return {_mm_sub_pd(a.value, b.value)}; }
  friend Pair operator*(Pair a, Pair b) noexcept { return {_mm_mul_pd(a.value, b.value)}; }

  /// The low halves of `a` and `b`, side by side; likewise the high halves.
  friend Pair Lows(Pair a, Pair b) noexcept { return {_mm_unpacklo_pd(a.value, b.value)}; }
  friend Pair Highs(Pair a, Pair b) noexcept { return {_mm_unpackhi_pd(a.value, b.value)}; }
  /// The halves exchanged.
  friend Pair Swapped(Pair a) noexcept { return {_mm_shuffle_pd(a.value, a.value, 1)}; }

  /// 0 for each half whose magnitude is below `floor`.
  friend Pair FlushBelow(Pair a, Pair floor) noexcept {
    const __m128d magnitude = _mm_andnot_pd(_mm_set1_pd(-0.0), a.value);
    return {_mm_andnot_pd(_mm_cmplt_pd(magnitude, floor.value), a.value)};
  }

  double low() const noexcept { return _mm_cvtsd_f64(value); }
  double high() const noexcept { return _mm_cvtsd_f64(_mm_unpackhi_pd(value, value)); }
};

}  // namespace korva
