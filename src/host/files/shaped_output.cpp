#include "host/files/shaped_output.h"

#include <soxr.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/interrupt.h"

namespace korva {

void ShapedOutput::ResamplerEnd::operator()(soxr* resampler) const noexcept {
  soxr_delete(resampler);
}

Outcome<ShapedOutput> ShapedOutput::Make(SoundWriter& writer, const SoundPlan& plan, const OutputShape& shape) {
  ShapedOutput output;
  output.writer_ = &writer;
  output.stream_ = output.taken_ = plan.format;
  output.channels_ = plan.traits.channels;
  output.normalize_ = shape.normalize;
  if (const unsigned bits = CountOf(plan.bits); bits != 0) output.full_ -= std::ldexp(2.0, -static_cast<int>(bits));
  if (shape.normalize && (output.spool_ = OpenNameless()) < 0) {
    return Failed(WithSystemReason("cannot make a temporary file"));
  }
  if (plan.traits.rate != shape.rate) {
    output.taken_ = SampleFormat::kFloat64;
    output.ratio_ = static_cast<double>(plan.traits.rate) / shape.rate;
    const soxr_io_spec_t both = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    soxr_error_t error = nullptr;
    output.resampler_.reset(
        soxr_create(shape.rate, plan.traits.rate, plan.traits.channels, &error, &both, &quality, nullptr));
    if (error != nullptr) return Failed(std::string("cannot change the rate: ") + error);
  }
  return output;
}

ShapedOutput::ShapedOutput(ShapedOutput&& other) noexcept
    : writer_(other.writer_),
      stream_(other.stream_),
      taken_(other.taken_),
      channels_(other.channels_),
      normalize_(other.normalize_),
      full_(other.full_),
      ratio_(other.ratio_),
      spool_(std::exchange(other.spool_, -1)),
      resampler_(std::move(other.resampler_)) {}

ShapedOutput::~ShapedOutput() {
  if (spool_ >= 0) ::close(spool_);
}

namespace {

void Widen(SampleFormat format, const void* data, double gain, std::vector<double>& out) {
  VisitFormat(format, [&](auto policy) {
    using Policy = decltype(policy);
    const auto* const in = static_cast<const typename Policy::Sample*>(data);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = Policy::Read(in[i]) * gain;
  });
}

std::size_t FrameBytes(SampleFormat format, std::size_t channels) {
  return VisitFormat(format, [&](auto policy) { return sizeof(typename decltype(policy)::Sample) * channels; });
}

}  // namespace

MaybeExit ShapedOutput::Write(const void* data, std::size_t frames) {
  if (!resampler_) return Take(data, frames);
  doubles_.resize(frames * channels_);
  Widen(stream_, data, 1, doubles_);
  return Resample(doubles_.data(), frames);
}

MaybeExit ShapedOutput::Take(const void* data, std::size_t frames) {
  if (levels() != nullptr) levels_.Add(taken_, data, frames * channels_);
  if (spool_ < 0) return Pass(data, frames);
  if (WriteAll(spool_, data, frames * FrameBytes(taken_, channels_))) return std::nullopt;
  return Failed(WithSystemReason("cannot keep the sound to find its peak"));
}

MaybeExit ShapedOutput::Pass(const void* data, std::size_t frames) {
  if (gain_ == 1 && taken_ == stream_) return writer_->Write(data, frames);
  widened_.resize(frames * channels_);
  Widen(taken_, data, gain_, widened_);
  return writer_->WriteDoubles(widened_.data(), frames);
}

MaybeExit ShapedOutput::Resample(const double* data, std::size_t frames) {
  constexpr std::size_t kSpare = 1024;
  const std::size_t room = static_cast<std::size_t>(static_cast<double>(frames) * ratio_) + kSpare;
  resampled_.resize(room * channels_);
  std::size_t read = 0, made = 0;
  do {
    if (Interrupted()) return Failed("interrupted");
    std::size_t used = 0;
    const soxr_error_t error = soxr_process(resampler_.get(), data == nullptr ? nullptr : data + read * channels_,
                                            frames - read, &used, resampled_.data(), room, &made);
    if (error != nullptr) return Failed(std::string("cannot change the rate: ") + error);
    read += used;
    if (made != 0) {
      if (MaybeExit check = Take(resampled_.data(), made)) return check;
    }
  } while (read < frames || made == room || (data == nullptr && made != 0));
  return std::nullopt;
}

MaybeExit ShapedOutput::Finish() {
  if (resampler_) {
    if (MaybeExit check = Resample(nullptr, 0)) return check;
  }
  if (spool_ < 0) return writer_->Close();
  if (levels_.peak() > 0) {
    gain_ = std::min(std::pow(10.0, *normalize_ / 20), full_) / levels_.peak();
    gainDb_ = 20 * std::log10(gain_);
  }
  const std::size_t bytes = FrameBytes(taken_, channels_);
  std::vector<char> part(std::size_t{8192} * bytes);
  off_t position = 0;
  for (;;) {
    if (Interrupted()) return Failed("interrupted");
    const ssize_t got = ::pread(spool_, part.data(), part.size(), position);
    if (got < 0) return Failed(WithSystemReason("cannot read the sound again"));
    if (got == 0) return writer_->Close();
    position += got;
    if (MaybeExit check = Pass(part.data(), static_cast<std::size_t>(got) / bytes)) return check;
  }
}

}  // namespace korva
