#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "audio/sample_lanes.h"
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

/// The nearest values of the file in the upper bits of words. Noise of two dice before the rounding parts its error
/// from the sound (Lipshitz, Wannamaker and Vanderkooy, "Quantization and Dither", 1992); what lies on the file's grid
/// needs none.
template <class Policy, class Word>
void SoundWriter::Narrow(const typename Policy::Sample* from, std::size_t samples, Word* to) noexcept {
  const int bits = static_cast<int>(CountOf(plan_.bits));
  const double full = std::ldexp(1.0, bits - 1);
  // In units of the noise.
  const Pair scale = Pair::Broadcast(full / Dither::kUnit);
  const IntegerScale grid{1 / full, Dither::kUnit, -full, full - 1};
  // Everything lies on the grid where no noise is wanted.
  const Pair bias = Pair::Broadcast(plan_.dither ? kRoundingBias / Dither::kUnit : 0);
  const Pair lowestAim = Pair::Broadcast(-full / Dither::kUnit);
  const Pair highest = Pair::Broadcast((full - 0.5) / Dither::kUnit),
             lowest = Pair::Broadcast((-full - 0.5) / Dither::kUnit);
  const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(sizeof(Word)) * 8 - bits);
  Pair clipped = Pair::Broadcast(0.0);
  const auto aim = [&](Pair value, __m128i dice) {
    const Pair exact = value * scale;
    clipped = clipped + (Pair::Broadcast(1.0) & (Less(highest, exact) ^ Less(exact, lowest)));
    const Pair noise = Without(Pair{_mm_cvtepi32_pd(dice)}, Equal(exact + bias - bias, exact));
    return Larger(lowestAim, exact + noise);
  };
  while (samples != 0) {
    const std::span<const std::int32_t> noise = dither_.Take(samples);
    for (std::size_t i = 0; i < noise.size(); i += 4) {
      const std::size_t left = noise.size() - i;
      const Four four = left >= 4 ? ReadFour(Policy{}, from + i) : ReadSome<Policy>(from + i, left);
      const __m128i dice = _mm_loadu_si128(reinterpret_cast<const __m128i*>(noise.data() + i));
      const Four aims{aim(four.a, dice), aim(four.b, _mm_unpackhi_epi64(dice, dice))};
      const __m128i words = _mm_sll_epi32(lanes::Rounded(aims, grid), shift);
      if constexpr (sizeof(Word) == sizeof(std::int16_t)) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to + i), _mm_packs_epi32(words, words));
      } else {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + i), words);
      }
    }
    from += noise.size();
    to += noise.size();
    samples -= noise.size();
  }
  clipped_ += static_cast<std::int64_t>(clipped.low() + clipped.high());
}

template <class Policy>
sf_count_t SoundWriter::WriteNarrowed(const typename Policy::Sample* data, std::size_t frames) {
  const std::size_t samples = frames * plan_.traits.channels;
  const auto put = [&](auto& words, auto write) {
    words.resize(samples + Dither::kSpare);
    Narrow<Policy>(data, samples, words.data());
    Reorder(order_, true, words.data(), sizeof words[0], frames);
    return write(file_.get(), words.data(), static_cast<sf_count_t>(frames));
  };
  return CountOf(plan_.bits) <= 16 ? put(shorts_, sf_writef_short) : put(wholes_, sf_writef_int);
}

MaybeExit SoundWriter::Write(const void* data, std::size_t frames) {
  if (const MaybeExit check = CheckRoom(frames)) return check;
  const std::size_t samples = frames * plan_.traits.channels;
  const unsigned bits = CountOf(plan_.bits);
  errno = 0;
  const auto count = static_cast<sf_count_t>(frames);
  const sf_count_t written = VisitFormat(plan_.format, [&](auto policy) {
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
    return WriteNarrowed<Policy>(static_cast<const Sample*>(data), frames);
  });
  return Count(written, frames);
}

MaybeExit SoundWriter::WriteDoubles(const double* data, std::size_t frames) {
  if (const MaybeExit check = CheckRoom(frames)) return check;
  errno = 0;
  if (CountOf(plan_.bits) != 0) return Count(WriteNarrowed<Float64>(data, frames), frames);
  const std::size_t samples = frames * plan_.traits.channels;
  doubles_.assign(data, data + samples);
  const bool isPacked = plan_.sampleText.find("float") == std::string::npos;
  for (std::size_t i = 0; isPacked && i < samples; ++i) clipped_ += std::fabs(data[i]) > 1 ? 1 : 0;
  Reorder(order_, true, doubles_.data(), sizeof(double), frames);
  return Count(sf_writef_double(file_.get(), doubles_.data(), static_cast<sf_count_t>(frames)), frames);
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
