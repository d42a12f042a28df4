#include "host/files/shaped_output.h"

#include <soxr.h>
#include <unistd.h>

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
  output.format_ = plan.format;
  output.channels_ = plan.traits.channels;
  output.normalize_ = shape.normalize;
  if (shape.normalize && (output.spool_ = OpenNameless()) < 0) {
    return Failed(WithSystemReason("cannot make a temporary file"));
  }
  if (plan.traits.rate != shape.rate) {
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
      format_(other.format_),
      channels_(other.channels_),
      normalize_(other.normalize_),
      ratio_(other.ratio_),
      spool_(std::exchange(other.spool_, -1)),
      resampler_(std::move(other.resampler_)) {}

ShapedOutput::~ShapedOutput() {
  if (spool_ >= 0) ::close(spool_);
}

std::size_t ShapedOutput::frameBytes() const noexcept {
  return VisitFormat(format_, [&](auto policy) { return sizeof(typename decltype(policy)::Sample) * channels_; });
}

MaybeExit ShapedOutput::Write(const void* data, std::size_t frames) {
  if (spool_ < 0) return Pass(data, frames);
  levels_.Add(format_, data, frames * channels_);
  if (WriteAll(spool_, data, frames * frameBytes())) return std::nullopt;
  return Failed(WithSystemReason("cannot keep the sound to find its peak"));
}

MaybeExit ShapedOutput::Pass(const void* data, std::size_t frames) {
  if (gain_ == 1 && !resampler_) return writer_->Write(data, frames);
  doubles_.resize(frames * channels_);
  VisitFormat(format_, [&](auto policy) {
    using Policy = decltype(policy);
    const auto* const in = static_cast<const typename Policy::Sample*>(data);
    for (std::size_t i = 0; i < doubles_.size(); ++i) doubles_[i] = Policy::Read(in[i]) * gain_;
  });
  return resampler_ ? Resample(doubles_.data(), frames) : writer_->WriteDoubles(doubles_.data(), frames);
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
      if (MaybeExit check = writer_->WriteDoubles(resampled_.data(), made)) return check;
    }
  } while (read < frames || made == room || (data == nullptr && made != 0));
  return std::nullopt;
}

MaybeExit ShapedOutput::Finish() {
  if (spool_ >= 0) {
    if (levels_.peak() > 0) {
      gainDb_ = *normalize_ - 20 * std::log10(levels_.peak());
      gain_ = std::pow(10.0, gainDb_ / 20);
    }
    const std::size_t bytes = frameBytes();
    std::vector<char> part(std::size_t{8192} * bytes);
    off_t position = 0;
    for (;;) {
      if (Interrupted()) return Failed("interrupted");
      const ssize_t got = ::pread(spool_, part.data(), part.size(), position);
      if (got < 0) return Failed(WithSystemReason("cannot read the sound again"));
      if (got == 0) break;
      position += got;
      if (MaybeExit check = Pass(part.data(), static_cast<std::size_t>(got) / bytes)) return check;
    }
  }
  if (resampler_) {
    if (MaybeExit check = Resample(nullptr, 0)) return check;
  }
  return writer_->Close();
}

}  // namespace korva
