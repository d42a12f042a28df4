#pragma once

#include <limits>

#include "host/sound_file.h"

namespace korva {

/// What is done to the sound before the chain.
struct InputShape {
  double gain = 1;
  std::uint32_t channels = 0;                                     ///< 0: those of the file
  double from = 0, to = std::numeric_limits<double>::infinity();  ///< seconds of the file
  double silence = 0;                                             ///< seconds that follow, for the effects to ring in
};

/// A sound file as the chain gets it. With nothing asked for, the very samples of the file.
class ShapedInput final : public SampleInput {
 public:
  /// `reader` outlives this. One channel becomes all of several; several become one at the mean of all.
  ShapedInput(SoundReader& reader, const InputShape& shape);

  /// Whether `shape` asks for channels that can be made of the file's.
  static MaybeExit CheckChannels(const SoundReader& reader, const InputShape& shape);

  /// Frames in all, without the silence; -1 when the file does not say.
  std::int64_t frames() const noexcept { return frames_; }
  std::uint32_t channels() const noexcept { return channels_; }
  Outcome<std::size_t> Read(SampleFormat format, void* target, std::size_t frames) override;
  /// Samples that lay beyond what a stream of whole numbers holds.
  std::int64_t clipped() const noexcept { return clipped_; }
  /// The highest of those that were looked at, before the gain: all that may have been clipped.
  double peak() const noexcept { return peak_; }

 private:
  Outcome<std::size_t> ReadSound(SampleFormat format, void* target, std::size_t frames);
  MaybeExit Skip();

  SoundReader& reader_;
  const double gain_;
  const std::uint32_t channels_;
  std::int64_t skip_, most_, frames_, silence_, clipped_ = 0;
  double peak_ = 0;
  bool soundIsOver_ = false;
  std::vector<double> doubles_;
};

}  // namespace korva
