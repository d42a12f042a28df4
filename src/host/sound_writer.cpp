#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "host/sound_file.h"

namespace korva {

Outcome<SoundWriter> SoundWriter::Open(const OutputFile& output, const SoundPlan& plan, std::string name) {
  SoundWriter writer;
  writer.plan_ = plan;
  writer.name_ = std::move(name);
  writer.order_ = FileOrder(plan.sndfileFormat, plan.traits.channels);
  SF_INFO info{};
  info.channels = static_cast<int>(plan.traits.channels);
  info.samplerate = static_cast<int>(plan.traits.rate);
  info.format = plan.sndfileFormat;
  const int own = ::dup(output.descriptor());
  SNDFILE* const file = own >= 0 ? sf_open_fd(own, SFM_WRITE, &info, SF_TRUE) : nullptr;
  if (file == nullptr) return Failed("cannot write " + writer.name_ + ": " + LibraryReason(nullptr));
  writer.file_.reset(file);
  // That chunk holds the time of day, and the same run is to give the same file.
  sf_command(file, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
  // Nothing wraps around: what is too loud is at full scale.
  sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  std::vector<int> map = plan.traits.channelMap;
  const int mapBytes = static_cast<int>(map.size() * sizeof(int));
  if (!map.empty()) sf_command(file, SFC_SET_CHANNEL_MAP_INFO, map.data(), mapBytes);
  if (plan.quality) {
    double quality = *plan.quality, compression = 1 - *plan.quality;
    const bool isFlac = (plan.sndfileFormat & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC;
    if (isFlac)
      sf_command(file, SFC_SET_COMPRESSION_LEVEL, &quality, sizeof quality);
    else
      sf_command(file, SFC_SET_COMPRESSION_LEVEL, &compression, sizeof compression);
  }
  return writer;
}

MaybeExit SoundWriter::CheckRoom(std::size_t frames) const {
  if (static_cast<std::int64_t>(frames) > plan_.mostFrames - written_) return TooLong(plan_, name_);
  return std::nullopt;
}

MaybeExit SoundWriter::Count(sf_count_t written, std::size_t frames) {
  if (written != static_cast<sf_count_t>(frames)) return Failure();
  written_ += written;
  return std::nullopt;
}

MaybeExit SoundWriter::Write(const void* data, std::size_t frames) {
  if (const MaybeExit check = CheckRoom(frames)) return check;
  const std::size_t samples = frames * plan_.traits.channels;
  const unsigned bits = CountOf(plan_.bits);
  errno = 0;
  const auto count = static_cast<sf_count_t>(frames);
  std::optional<sf_count_t> written = VisitFormat(plan_.format, [&](auto policy) -> std::optional<sf_count_t> {
    using Policy = decltype(policy);
    using Sample = typename Policy::Sample;
    SNDFILE* const file = file_.get();
    constexpr SampleFormat kFormat = Policy::kFormat;
    const auto* in = static_cast<const Sample*>(data);
    if (!order_.empty()) {
      ordered_.assign(static_cast<const std::uint8_t*>(data),
                      static_cast<const std::uint8_t*>(data) + samples * sizeof *in);
      Reorder(order_, true, ordered_.data(), sizeof *in, frames);
      in = reinterpret_cast<const Sample*>(ordered_.data());
    }
    // As they are, where the file holds them all.
    if constexpr (kFormat == SampleFormat::kPcm8) {
      shorts_.resize(samples);
      for (std::size_t i = 0; i < samples; ++i) shorts_[i] = static_cast<std::int16_t>((in[i] - 128) * 256);
      return sf_writef_short(file, shorts_.data(), count);
    } else if constexpr (kFormat == SampleFormat::kPcm16) {
      if (bits == 0 || bits >= 16) return sf_writef_short(file, in, count);
    } else if constexpr (kFormat == SampleFormat::kPcm32) {
      if (bits == 0 || bits >= 32) return sf_writef_int(file, in, count);
    } else if (bits == 0) {
      const bool isPacked = plan_.sampleText.find("float") == std::string::npos;
      for (std::size_t i = 0; isPacked && i < samples; ++i) clipped_ += std::fabs(in[i]) > 1 ? 1 : 0;
      if constexpr (kFormat == SampleFormat::kFloat32) return sf_writef_float(file, in, count);
      if constexpr (kFormat == SampleFormat::kFloat64) return sf_writef_double(file, in, count);
    }
    doubles_.resize(samples);
    for (std::size_t i = 0; i < samples; ++i) doubles_[i] = Policy::Read(static_cast<const Sample*>(data)[i]);
    return std::nullopt;
  });
  return written ? Count(*written, frames) : WriteDoubles(doubles_.data(), frames);
}

/// The nearest values of the file in the upper bits of words. Noise of two dice before the rounding parts its error
/// from the sound (Lipshitz, Wannamaker and Vanderkooy, "Quantization and Dither", 1992); what lies on the file's grid
/// needs none.
void SoundWriter::Narrow(const double* from, std::size_t samples, std::int32_t* to) noexcept {
  // So far off that it is clipped anyway, and not too far for whole numbers to be found by adding the bias.
  constexpr double kFar = 0x1p50;
  const unsigned bits = CountOf(plan_.bits);
  const double scale = std::ldexp(1.0, static_cast<int>(bits) - 1);
  std::uint64_t random = random_;
  const auto die = [&random] {
    random ^= random << 13U;
    random ^= random >> 7U;
    random ^= random << 17U;
    return static_cast<double>(static_cast<std::int64_t>(random >> 11U)) * 0x1p-53;
  };
  std::int64_t clipped = 0;
  for (std::size_t i = 0; i < samples; ++i) {
    const double exact = std::isnan(from[i]) ? 0.0 : std::clamp(from[i] * scale, -kFar, kFar);
    double rounded = exact + kRoundingBias - kRoundingBias;
    if (plan_.dither && rounded != exact) {
      const double first = die();
      const double aim = exact + (first - die()) + 0.5;
      // Downwards, without a branch that could only be guessed.
      const auto whole = static_cast<std::int64_t>(aim);
      rounded = static_cast<double>(whole - static_cast<std::int64_t>(static_cast<double>(whole) > aim));
    }
    clipped += exact > scale - 0.5 || exact < -scale - 0.5 ? 1 : 0;
    const double held = std::clamp(rounded, -scale, scale - 1);
    to[i] = static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::int32_t>(held)) << (32U - bits));
  }
  random_ = random;
  clipped_ += clipped;
}

MaybeExit SoundWriter::WriteDoubles(const double* data, std::size_t frames) {
  if (const MaybeExit check = CheckRoom(frames)) return check;
  const std::size_t samples = frames * plan_.traits.channels;
  const auto count = static_cast<sf_count_t>(frames);
  errno = 0;
  if (CountOf(plan_.bits) == 0) {
    doubles_.assign(data, data + samples);
    const bool isPacked = plan_.sampleText.find("float") == std::string::npos;
    for (std::size_t i = 0; isPacked && i < samples; ++i) clipped_ += std::fabs(data[i]) > 1 ? 1 : 0;
    Reorder(order_, true, doubles_.data(), sizeof(double), frames);
    return Count(sf_writef_double(file_.get(), doubles_.data(), count), frames);
  }
  wholes_.resize(samples);
  Narrow(data, samples, wholes_.data());
  Reorder(order_, true, wholes_.data(), sizeof(std::int32_t), frames);
  return Count(sf_writef_int(file_.get(), wholes_.data(), count), frames);
}

EarlyExit SoundWriter::Failure() const {
  // The compressing parts of the library lose the system's reason on the way.
  return Failed("cannot write " + name_ + ": " + (errno != 0 ? std::strerror(errno) : LibraryReason(file_.get())));
}

MaybeExit SoundWriter::Close() {
  if (written_ == 0 && (plan_.sndfileFormat & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG) {
    return Failed("cannot write " + name_ + ": this kind of file cannot hold a sound of no length");
  }
  errno = 0;
  // Some kinds of file get their header with the first frame; one without frames needs it all the same.
  if (written_ == 0) sf_command(file_.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);
  if (sf_error(file_.get()) != SF_ERR_NO_ERROR) return Failure();
  const int result = sf_close(file_.release());
  // What a compressor writes at the very end fails in silence.
  const bool lost = errno == ENOSPC || errno == EFBIG || errno == EDQUOT || errno == EIO;
  if (result == SF_ERR_NO_ERROR && !lost) return std::nullopt;
  return Failed("cannot write " + name_ + ": " + (lost ? std::strerror(errno) : sf_error_number(result)));
}

}  // namespace korva
