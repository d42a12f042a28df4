#pragma once

#include <array>
#include <cstdint>

#include "audio/format_record.h"
#include "audio/zeroed_buffer.h"
#include "pitchtime/sample_kernels.h"

namespace korva {

/// Reads a stream at `ratio` input frames per output frame, between frames by a windowed sinc or a straight line.
///
/// The sinc is a table of one side, read with linear interpolation: any ratio costs the same, and the weights of a
/// frame are found once for all channels. Sums are doubles up to the write kernel.
///
/// Latency: none when primed; the look-ahead of `halfTaps` frames is then read before the first frame is made. Not
/// primed, the output starts `halfTaps` + 1 frames late, behind zeros. The last frames of a stream that the sinc's
/// look-ahead would need are not made.
class Resampler {
 public:
  /// `accuracy`: 1 two taps, 3 fifteen, any other nine. Silence in the history. 0 or out of memory.
  std::int32_t Configure(std::int32_t accuracy, std::uint32_t channels) noexcept;
  /// Configures for every accuracy once and keeps the memory and the tables, so that no later configuration for as many
  /// channels asks for any. `Free` ends that. Must be configured again. 0 or out of memory.
  std::int32_t ReserveForAccuracies(std::uint32_t channels) noexcept;
  void SetKernels(SampleFormat source, SampleFormat destination) noexcept;

  /// Starts the position anew at the audio already read; drops a fraction of a frame. `ratio` above 0.
  void SetRatio(double ratio) noexcept;
  double ratio() const noexcept { return ratio_; }

  /// The next read fills the history ahead, or does not.
  void SetPrimeRing(bool prime) noexcept { primeRing_ = prime; }

  /// Whether frames can be made with no more input: the last run stopped for want of room alone.
  bool holdsFrames() const noexcept { return heldBack_ && framesOwed() <= 0; }

  /// Takes up to `sourceFrames` frames and makes up to `destinationFrames`; both come back as what was taken and made.
  void ResamplePitch(const void* source, std::uint32_t& sourceFrames, void* destination,
                     std::uint32_t& destinationFrames) noexcept;

  void Release() noexcept;
  void Free() noexcept;

 private:
  static constexpr std::int32_t kSpan = 4000;      // table steps over halfTaps + 1 frames
  static constexpr std::int32_t kBlock = 64;       // frames made before they are written
  static constexpr std::int32_t kReadAhead = 256;  // frames converted at once

  // Frames to be made: where each lies does not depend on the signal, so that a block is placed before any is summed.
  struct Places {
    std::int32_t taken = 0, made = 0;
    std::int32_t newest[kBlock];  // frames taken when this one is made
    double lead[kBlock];          // of the wanted position over that frame, below 1
  };

  /// Frames to read before the next one can be made.
  std::int64_t framesOwed() const noexcept { return static_cast<std::int64_t>(wantedPosition_) - framesRead_; }
  /// Steps of the table in one frame: the span divides by both numbers of taps.
  static constexpr std::int32_t StepsOf(std::int32_t taps) noexcept { return kSpan / ((taps - 1) / 2 + 1); }
  static constexpr std::size_t RowLength(std::int32_t taps) noexcept { return static_cast<std::size_t>(taps) + 1; }
  bool BuildRows() noexcept;
  void Place(Places& places, std::int32_t available, std::int32_t room) noexcept;
  void MakeFrames(const Places& places) noexcept;
  template <int kChannels>
  void MakeLinear(const Places& places) noexcept;
  template <int kChannels, int kTaps>
  void MakeSinc(const Places& places) noexcept;
  const double* Newest(const Places& places, std::int32_t i) const noexcept;

  std::int32_t halfTaps_ = 4, tapCount_ = 9;
  std::uint32_t channels_ = 0;
  double ratio_ = 1.0;
  ReadKernel<double> read_ = nullptr;
  WriteKernel<double> write_ = nullptr;
  std::size_t sourceSampleBytes_ = 0, destinationSampleBytes_ = 0;

  const double* rows() const noexcept { return rowTables_[tapCount_ == 15 ? 1 : 0].data(); }

  // The taps' weights at every step of a frame, for nine taps and for fifteen: one row a step, the newest tap first,
  // and a last row for the next frame. Rows of one length with an even number of entries.
  std::array<ZeroedBuffer<double>, 2> rowTables_;
  bool keepTables_ = false;
  // The frames of the taps, oldest first, then those converted ahead of the position. In a line and not in a ring, so
  // that the taps of a frame are neighbours.
  ZeroedBuffer<double> history_;
  ZeroedBuffer<double> block_;  // frames made and not yet written

  std::int64_t framesRead_ = 0;
  std::int64_t framesWritten_ = 0;
  double wantedPosition_ = 0;
  bool primeRing_ = false;
  bool heldBack_ = false;
};

}  // namespace korva
