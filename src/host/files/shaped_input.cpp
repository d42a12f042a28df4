#include "host/files/shaped_input.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

namespace korva {
namespace {

constexpr std::int64_t kEndless = std::numeric_limits<std::int64_t>::max() / 4;

std::int64_t FramesAt(double seconds, std::uint32_t rate) {
  const double frames = std::floor(seconds * rate + 0.5);
  return frames < static_cast<double>(kEndless) ? static_cast<std::int64_t>(frames) : kEndless;
}

}  // namespace

ShapedInput::ShapedInput(SoundReader& reader, const InputShape& shape)
    : reader_(reader),
      gain_(shape.gain),
      channels_(shape.channels != 0 ? shape.channels : reader.traits().channels),
      skip_(FramesAt(shape.from, reader.traits().rate)),
      most_(std::max<std::int64_t>(FramesAt(shape.to, reader.traits().rate) - skip_, 0)),
      frames_(reader.frames() < 0 ? -1 : std::clamp<std::int64_t>(reader.frames() - skip_, 0, most_)),
      silence_(FramesAt(shape.silence, reader.traits().rate)) {}

MaybeExit ShapedInput::CheckChannels(const SoundReader& reader, const InputShape& shape) {
  const std::uint32_t own = reader.traits().channels;
  if (shape.channels <= 1 || own <= 1 || shape.channels == own) return std::nullopt;
  return BadCall("--channels makes one channel of several, or several of one; the input has " + std::to_string(own));
}

MaybeExit ShapedInput::Skip() {
  std::vector<double> unheard(std::size_t{8192} * reader_.traits().channels);
  while (skip_ > 0) {
    const auto part = static_cast<std::size_t>(std::min<std::int64_t>(skip_, 8192));
    const Outcome<std::size_t> got = reader_.Read(SampleFormat::kFloat64, unheard.data(), part);
    if (!got) return got.earlyExit();
    if (*got == 0) break;
    skip_ -= static_cast<std::int64_t>(*got);
  }
  skip_ = 0;
  return std::nullopt;
}

Outcome<std::size_t> ShapedInput::Read(SampleFormat format, void* target, std::size_t frames) {
  if (skip_ > 0) {
    if (const MaybeExit check = Skip()) return *check;
  }
  if (!soundIsOver_) {
    const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(frames), most_));
    const Outcome<std::size_t> got = ReadSound(format, target, wanted);
    if (!got) return got.earlyExit();
    most_ -= static_cast<std::int64_t>(*got);
    if (*got == frames || (*got != 0 && silence_ == 0)) return *got;
    soundIsOver_ = true;
    if (*got != 0) return *got;
  }
  const auto silent = static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(frames), silence_));
  silence_ -= static_cast<std::int64_t>(silent);
  VisitFormat(format, [&](auto policy) {
    using Sample = typename decltype(policy)::Sample;
    std::memset(target, SilenceByte(format), silent * channels_ * sizeof(Sample));
  });
  return silent;
}

Outcome<std::size_t> ShapedInput::ReadSound(SampleFormat format, void* target, std::size_t frames) {
  const std::uint32_t own = reader_.traits().channels;
  if (gain_ == 1 && own == channels_ && (IsFloat(format) || reader_.isWhole())) {
    return reader_.Read(format, target, frames);
  }
  doubles_.resize(frames * own);
  const Outcome<std::size_t> got = reader_.Read(SampleFormat::kFloat64, doubles_.data(), frames);
  if (!got) return got.earlyExit();
  VisitFormat(format, [&](auto policy) {
    using Policy = decltype(policy);
    auto* out = static_cast<typename Policy::Sample*>(target);
    for (std::size_t i = 0; i < *got; ++i) {
      const double* const frame = doubles_.data() + i * own;
      double mean = 0;
      for (std::uint32_t c = 0; c < own; ++c) mean += frame[c] / own;
      for (std::uint32_t c = 0; c < channels_; ++c) {
        const double plain = own == channels_ ? frame[c] : mean;
        *out++ = Policy::Write(plain * gain_);
        if constexpr (std::is_integral_v<typename Policy::Sample>) {
          const double exact = plain * gain_ * Policy::kScale.out;
          clipped_ += exact > Policy::kScale.high + 0.5 || exact < Policy::kScale.low - 0.5 ? 1 : 0;
          peak_ = std::max(peak_, std::fabs(plain));
        }
      }
    }
  });
  return *got;
}

}  // namespace korva
