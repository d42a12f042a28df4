#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace korva {

/// Noise of two dice, one value after the other for all samples of a file, always the same. The same values come
/// however they are taken.
class Dither {
 public:
  /// Of one least significant bit: the values lie between -1 / `kUnit` and 1 / `kUnit`.
  static constexpr double kUnit = 0x1p-16;
  /// Whoever works in fours may read so many values beyond those that it took.
  static constexpr std::size_t kSpare = 3;

  /// The next values, at least one and `most` at most.
  std::span<const std::int32_t> Take(std::size_t most) noexcept {
    if (next_ == kAtOnce) Throw();
    const std::size_t first = next_, count = std::min(most, kAtOnce - first);
    next_ += count;
    return {dice_ + first, count};
  }

 private:
  static constexpr std::size_t kAtOnce = 1024;

  /// Vigna, "Further scramblings of Marsaglia's xorshift generators", 2017 (xorshift128+), two of them side by side.
  /// The halves of each 32 bits are the two dice.
  void Throw() noexcept {
    auto* const state = reinterpret_cast<__m128i*>(state_);
    __m128i older = _mm_load_si128(state), newer = _mm_load_si128(state + 1);
    const __m128i low = _mm_set1_epi32(0xFFFF);
    for (std::size_t i = 0; i < kAtOnce; i += 4) {
      const __m128i sum = _mm_add_epi64(older, newer);
      const __m128i dice = _mm_sub_epi32(_mm_and_si128(sum, low), _mm_srli_epi32(sum, 16));
      _mm_store_si128(reinterpret_cast<__m128i*>(dice_ + i), dice);
      older = _mm_xor_si128(older, _mm_slli_epi64(older, 23));
      older = _mm_xor_si128(_mm_xor_si128(older, _mm_srli_epi64(older, 18)),
                            _mm_xor_si128(newer, _mm_srli_epi64(newer, 5)));
      std::swap(older, newer);
    }
    _mm_store_si128(state, older);
    _mm_store_si128(state + 1, newer);
    next_ = 0;
  }

  alignas(16) std::uint64_t state_[4] = {0xE220A8397B1DCDAF, 0x6E789E6AA1B965F4, 0x06C45D188009454F,
                                         0xF88BB8A8724C81EC};
  alignas(16) std::int32_t dice_[kAtOnce + kSpare] = {};
  std::size_t next_ = kAtOnce;
};

}  // namespace korva
