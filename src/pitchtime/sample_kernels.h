#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "audio/sample_format.h"

// Kernels that move runs of samples between a buffer in a stream format and an engine's own buffer. Chosen once, when
// streaming starts; the format costs one indirect call a run and nothing a sample.
namespace korva {

/// Reads `samples` values of a stream format from `source` into `target`.
template <class Real>
using ReadKernel = void (*)(const void* source, Real* target, std::size_t samples) noexcept;

/// Writes `samples` values from `source` in a stream format to `target`.
template <class Real>
using WriteKernel = void (*)(const Real* source, void* target, std::size_t samples) noexcept;

/// Whether blocks of this format are kept in double precision: what a float cannot hold.
constexpr bool NeedsDoubles(SampleFormat format) noexcept {
  return format == SampleFormat::kPcm32 || format == SampleFormat::kFloat64;
}

/// The stream format that an engine's own buffers of `Real` equal.
template <class Real>
inline constexpr SampleFormat kPlainFormat =
    std::is_same_v<Real, float> ? SampleFormat::kFloat32 : SampleFormat::kFloat64;

inline std::size_t SampleBytes(SampleFormat format) noexcept {
  return VisitFormat(format, [](auto policy) { return sizeof(typename decltype(policy)::Sample); });
}

template <class Format, class Real>
void ReadSamples(const void* source, Real* target, std::size_t samples) noexcept {
  if (samples == 0) return;
  if constexpr (std::is_same_v<typename Format::Sample, Real>) {
    std::memcpy(target, source, samples * sizeof(Real));
  } else {
    const auto* from = static_cast<const typename Format::Sample*>(source);
    for (std::size_t i = 0; i < samples; ++i) target[i] = static_cast<Real>(Format::Read(from[i]));
  }
}

template <class Format, class Real>
void WriteSamples(const Real* source, void* target, std::size_t samples) noexcept {
  if (samples == 0) return;
  if constexpr (std::is_same_v<typename Format::Sample, Real>) {
    std::memcpy(target, source, samples * sizeof(Real));
  } else {
    auto* to = static_cast<typename Format::Sample*>(target);
    for (std::size_t i = 0; i < samples; ++i) to[i] = Format::Write(static_cast<double>(source[i]));
  }
}

template <class Real>
ReadKernel<Real> ChooseReadKernel(SampleFormat format) noexcept {
  return VisitFormat(format, [](auto policy) -> ReadKernel<Real> { return &ReadSamples<decltype(policy), Real>; });
}

template <class Real>
WriteKernel<Real> ChooseWriteKernel(SampleFormat format) noexcept {
  return VisitFormat(format, [](auto policy) -> WriteKernel<Real> { return &WriteSamples<decltype(policy), Real>; });
}

}  // namespace korva
