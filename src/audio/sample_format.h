#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

// The five stream formats: how one sample is read into the range of -1 to 1, and how a result is written back. Every
// kernel is a template over one of the policies below, so a conversion is written here and nowhere else.
namespace korva {

enum class SampleFormat : std::uint8_t { kPcm8, kPcm16, kPcm32, kFloat32, kFloat64 };

inline constexpr std::uint16_t kTagPcm = 1;
inline constexpr std::uint16_t kTagFloat = 3;
inline constexpr std::uint16_t kTagExtensible = 65534;

/// 1.5 times 2^52: added to a double of less than 2^31 in magnitude it leaves the nearest whole number, ties to even,
/// in the low 32 bits.
inline constexpr double kRoundingBias = 6755399441055744.0;

/// The nearest whole number to `value`, ties to even. Wraps, without undefined behaviour, for what no 32 bits can hold.
inline std::int32_t RoundToInt32(double value) noexcept {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value + kRoundingBias)));
}

/// Taken off a value before it is rounded, it makes that rounding down, save that up to 1.5e-8 below a whole number is
/// taken for it. The samples of modulated lines depend on that.
inline constexpr double kDownwards = 0.499999985;

/// `value` held to [low, high] and rounded; not-a-number gives 0.
inline std::int32_t ClampAndRound(double value, double low, double high) noexcept {
  value = value == value ? value : 0.0;
  value = value < low ? low : value;
  value = value > high ? high : value;
  return RoundToInt32(value);
}

/// How an integer format scales: on reading, on writing, and the range that it is then held to.
struct IntegerScale {
  double in, out, low, high;
  std::int32_t Write(double value) const noexcept { return ClampAndRound(value * out, low, high); }
};

struct Pcm8 {
  using Sample = std::uint8_t;
  static constexpr SampleFormat kFormat = SampleFormat::kPcm8;
  static constexpr IntegerScale kScale{0.0078125, 128.0, -128.0, 127.0};
  static double Read(Sample sample) noexcept { return static_cast<std::int8_t>(sample ^ 0x80U) * kScale.in; }
  static Sample Write(double value) noexcept {
    return static_cast<Sample>(static_cast<std::uint32_t>(kScale.Write(value)) ^ 0x80U);
  }
};

struct Pcm16 {
  using Sample = std::int16_t;
  static constexpr SampleFormat kFormat = SampleFormat::kPcm16;
  static constexpr IntegerScale kScale{3.0517578125e-05, 32768.0, -32768.0, 32767.0};
  static double Read(Sample sample) noexcept { return sample * kScale.in; }
  static Sample Write(double value) noexcept { return static_cast<Sample>(kScale.Write(value)); }
};

struct Pcm32 {
  using Sample = std::int32_t;
  static constexpr SampleFormat kFormat = SampleFormat::kPcm32;
  static constexpr IntegerScale kScale{4.656612873077393e-10, 2147483648.0, -2147483648.0, 2147483647.0};
  static double Read(Sample sample) noexcept { return sample * kScale.in; }
  static Sample Write(double value) noexcept { return kScale.Write(value); }
};

struct Float32 {
  using Sample = float;
  static constexpr SampleFormat kFormat = SampleFormat::kFloat32;
  static double Read(Sample sample) noexcept { return static_cast<double>(sample); }
  static Sample Write(double value) noexcept { return static_cast<Sample>(value); }
};

struct Float64 {
  using Sample = double;
  static constexpr SampleFormat kFormat = SampleFormat::kFloat64;
  static double Read(Sample sample) noexcept { return sample; }
  static Sample Write(double value) noexcept { return value; }
};

/// The format that a plain tag and a depth in bits name; nothing for a pair outside the five.
constexpr std::optional<SampleFormat> FindSampleFormat(std::uint16_t tag, std::uint16_t bits) noexcept {
  if (tag == kTagPcm) {
    if (bits == 8) return SampleFormat::kPcm8;
    if (bits == 16) return SampleFormat::kPcm16;
    if (bits == 32) return SampleFormat::kPcm32;
  }
  if (tag == kTagFloat) {
    if (bits == 32) return SampleFormat::kFloat32;
    if (bits == 64) return SampleFormat::kFloat64;
  }
  return std::nullopt;
}

/// Calls `visitor` with the policy of `format`: the one place where a format known at run time picks a kernel.
template <class Visitor>
decltype(auto) VisitFormat(SampleFormat format, Visitor&& visitor) {
  switch (format) {
    case SampleFormat::kPcm8:
      return std::forward<Visitor>(visitor)(Pcm8{});
    case SampleFormat::kPcm16:
      return std::forward<Visitor>(visitor)(Pcm16{});
    case SampleFormat::kPcm32:
      return std::forward<Visitor>(visitor)(Pcm32{});
    case SampleFormat::kFloat32:
      return std::forward<Visitor>(visitor)(Float32{});
    case SampleFormat::kFloat64:
      break;
  }
  return std::forward<Visitor>(visitor)(Float64{});
}

inline constexpr SampleFormat kAllFormats[] = {SampleFormat::kPcm8, SampleFormat::kPcm16, SampleFormat::kPcm32,
                                               SampleFormat::kFloat32, SampleFormat::kFloat64};

/// The name in commands and reports.
constexpr const char* FormatName(SampleFormat format) noexcept {
  constexpr const char* kNames[] = {"u8", "s16", "s32", "f32", "f64"};
  return kNames[static_cast<std::size_t>(format)];
}

constexpr bool IsFloat(SampleFormat format) noexcept {
  return format == SampleFormat::kFloat32 || format == SampleFormat::kFloat64;
}

/// The byte that silence is made of in `format`.
constexpr std::uint8_t SilenceByte(SampleFormat format) noexcept {
  return format == SampleFormat::kPcm8 ? std::uint8_t{128} : std::uint8_t{0};
}

}  // namespace korva
