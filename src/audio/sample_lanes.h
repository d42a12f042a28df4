#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "audio/pair.h"
#include "audio/sample_format.h"

// The five formats' rules on four samples at once, in instructions of every 64-bit x86 processor. They equal those of
// the policies for every bit pattern.
namespace korva {

struct Four {
  Pair a, b;
};

namespace lanes {

inline Four Scaled(__m128i whole, const IntegerScale& scale) noexcept {
  return {Pair{_mm_cvtepi32_pd(whole)} * Pair::Broadcast(scale.in),
          Pair{_mm_cvtepi32_pd(_mm_unpackhi_epi64(whole, whole))} * Pair::Broadcast(scale.in)};
}

// Not-a-number has to become 0 before it is held to the range; the conversion rounds to the nearest, ties to even. What
// lies below all words comes out as the lowest one, which saturates to the format's lowest sample.
inline __m128i Rounded(Pair value, const IntegerScale& scale) noexcept {
  value = value * Pair::Broadcast(scale.out);
  const Pair number{_mm_and_pd(value.value, _mm_cmpord_pd(value.value, value.value))};
  return _mm_cvtpd_epi32(Smaller(number, Pair::Broadcast(scale.high)).value);
}
inline __m128i Rounded(const Four& four, const IntegerScale& scale) noexcept {
  return _mm_unpacklo_epi64(Rounded(four.a, scale), Rounded(four.b, scale));
}

inline __m128i LoadHalf(const void* from) noexcept {
  return _mm_loadl_epi64(static_cast<const __m128i*>(from));
}

/// Signed bytes from unsigned ones, and back.
inline __m128i FlipSigns(__m128i bytes) noexcept {
  return _mm_xor_si128(bytes, _mm_set1_epi8(-128));
}

}  // namespace lanes

inline Four ReadFour(Pcm8 /*format*/, const std::uint8_t* from) noexcept {
  std::int32_t bytes = 0;
  std::memcpy(&bytes, from, sizeof bytes);
  const __m128i flipped = lanes::FlipSigns(_mm_cvtsi32_si128(bytes));
  const __m128i words = _mm_unpacklo_epi8(flipped, flipped);
  return lanes::Scaled(_mm_srai_epi32(_mm_unpacklo_epi16(words, words), 24), Pcm8::kScale);
}
inline Four ReadFour(Pcm16 /*format*/, const std::int16_t* from) noexcept {
  const __m128i words = lanes::LoadHalf(from);
  return lanes::Scaled(_mm_srai_epi32(_mm_unpacklo_epi16(words, words), 16), Pcm16::kScale);
}
inline Four ReadFour(Pcm32 /*format*/, const std::int32_t* from) noexcept {
  return lanes::Scaled(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)), Pcm32::kScale);
}
inline Four ReadFour(Float32 /*format*/, const float* from) noexcept {
  const __m128 four = _mm_loadu_ps(from);
  return {{_mm_cvtps_pd(four)}, {_mm_cvtps_pd(_mm_movehl_ps(four, four))}};
}
inline Four ReadFour(Float64 /*format*/, const double* from) noexcept {
  return {Pair::Load(from), Pair::Load(from + 2)};
}

inline void WriteFour(Pcm8 /*format*/, const Four& four, std::uint8_t* to) noexcept {
  const __m128i words = lanes::Rounded(four, Pcm8::kScale);
  const __m128i halves = _mm_packs_epi32(words, words);
  const std::int32_t bytes = _mm_cvtsi128_si32(lanes::FlipSigns(_mm_packs_epi16(halves, halves)));
  std::memcpy(to, &bytes, sizeof bytes);
}
inline void WriteFour(Pcm16 /*format*/, const Four& four, std::int16_t* to) noexcept {
  const __m128i words = lanes::Rounded(four, Pcm16::kScale);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packs_epi32(words, words));
}
inline void WriteFour(Pcm32 /*format*/, const Four& four, std::int32_t* to) noexcept {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), lanes::Rounded(four, Pcm32::kScale));
}
inline void WriteFour(Float32 /*format*/, const Four& four, float* to) noexcept {
  _mm_storeu_ps(to, _mm_movelh_ps(_mm_cvtpd_ps(four.a.value), _mm_cvtpd_ps(four.b.value)));
}
inline void WriteFour(Float64 /*format*/, const Four& four, double* to) noexcept {
  four.a.Store(to);
  four.b.Store(to + 2);
}

/// Up to three samples by the same way: the others are made up.
template <class Format>
Four ReadSome(const typename Format::Sample* from, std::size_t count) noexcept {
  typename Format::Sample some[4] = {};
  std::copy_n(from, count, some);
  return ReadFour(Format{}, some);
}
template <class Format>
void WriteSome(const Four& four, typename Format::Sample* to, std::size_t count) noexcept {
  typename Format::Sample some[4];
  WriteFour(Format{}, four, some);
  std::copy_n(some, count, to);
}

/// `count` samples into doubles, each times `gain`. `to` has room for a multiple of four.
template <class Format>
void ReadSamples(const typename Format::Sample* from, std::size_t count, double gain, double* to) noexcept {
  const Pair factor = Pair::Broadcast(gain);
  for (std::size_t i = 0; i < count; i += 4) {
    const Four four = count - i >= 4 ? ReadFour(Format{}, from + i) : ReadSome<Format>(from + i, count - i);
    (four.a * factor).Store(to + i);
    (four.b * factor).Store(to + i + 2);
  }
}
/// The way back. `from` has a multiple of four.
template <class Format>
void WriteSamples(const double* from, std::size_t count, typename Format::Sample* to) noexcept {
  for (std::size_t i = 0; i < count; i += 4) {
    const Four four{Pair::Load(from + i), Pair::Load(from + i + 2)};
    if (count - i >= 4) {
      WriteFour(Format{}, four, to + i);
    } else {
      WriteSome<Format>(four, to + i, count - i);
    }
  }
}

}  // namespace korva
