#pragma once

#include <memory>

#include "host/levels.h"
#include "host/sound_file.h"

struct soxr;

namespace korva {

/// What is done to the sound after the chain.
struct OutputShape {
  std::uint32_t rate = 0;           ///< of the stream; the file's may be another
  std::optional<double> normalize;  ///< the peak that the file gets, in dB of full scale
};

/// Between a chain and its file. With nothing asked for, the very samples of the stream.
class ShapedOutput final : public SampleOutput {
 public:
  /// `writer` outlives this. `kFailed` when there is no memory or no room to keep the sound in.
  static Outcome<ShapedOutput> Make(SoundWriter& writer, const SoundPlan& plan, const OutputShape& shape);
  ShapedOutput(ShapedOutput&& other) noexcept;
  ShapedOutput& operator=(ShapedOutput&&) = delete;
  ~ShapedOutput() override;

  MaybeExit Write(const void* data, std::size_t frames) override;
  /// After the last frame: writes what is held back, and completes the file.
  MaybeExit Finish();
  /// What the file got, as gain in dB on the stream; 0 without a peak to reach.
  double gainDb() const noexcept { return gainDb_; }
  /// Of the sound before that gain, at the file's rate; null where that is the stream as it is.
  const Levels* levels() const noexcept { return spool_ >= 0 || resampler_ ? &levels_ : nullptr; }

 private:
  struct ResamplerEnd {
    void operator()(soxr* resampler) const noexcept;
  };

  ShapedOutput() = default;
  MaybeExit Pass(const void* data, std::size_t frames);
  /// `data` null at the end.
  MaybeExit Resample(const double* data, std::size_t frames);
  /// What is at the file's rate.
  MaybeExit Take(const void* data, std::size_t frames);

  SoundWriter* writer_ = nullptr;
  SampleFormat stream_ = SampleFormat::kFloat32, taken_ = SampleFormat::kFloat32;  // before and after resampling
  std::uint32_t channels_ = 0;
  std::optional<double> normalize_;
  double full_ = 1;  // the highest that the file holds
  double ratio_ = 1, gain_ = 1, gainDb_ = 0;
  int spool_ = -1;  // the whole sound, while its peak is not known
  Levels levels_;
  std::unique_ptr<soxr, ResamplerEnd> resampler_;
  std::vector<double> doubles_, resampled_, widened_;
};

}  // namespace korva
