#pragma once

#include <cstdint>

#include "audio/format_record.h"
#include "audio/zeroed_buffer.h"
#include "pitchtime/offset_search.h"
#include "pitchtime/sample_kernels.h"
#include "pitchtime/stretch_modes.h"

namespace korva {

/// Synchronised overlap-add: changes a signal's length and keeps its pitch.
///
/// Each block of `blockLength` frames of input gives `outputHop` frames of output, and the input moves on by
/// `inputHop`. Before a block is laid over the faded tail of the last one, a search finds the offset at which the two
/// line up best; one offset for all channels, so that their phases stay locked. It works on waveforms and not on
/// spectra: attacks stay whole, and at moderate ratios nothing smears.
///
///     input ─▶ block ─▶ search for the offset ─▶ x fade in  ─▶ + ─▶ outputHop frames out
///       ▲        │       (against the tail)                    ▲
///       │        │                    tail of the last block ──┘ x fade out
///       └────────┘ moves on by inputHop
///
/// Waveform-similarity overlap-add, of W. Verhelst and M. Roelands, "An Overlap-Add Technique Based on Waveform
/// Similarity (WSOLA) for High Quality Time-Scale Modification of Speech", Proc. ICASSP (1993); the search's measure
/// and the table of modes are this system's own.
///
/// Latency: no output before `blockLength` frames have come in; about as many are held while it runs.
/// `Real` is the precision of the blocks: float or double. Threads: one at a time.
template <class Real>
class StretchCore {
 public:
  /// How many frames the last block of a stream emits.
  enum class LastBlock {
    kInputLength,     ///< as many as were left of the input
    kStretchedLength  ///< as many as were left, times the ratio
  };

  explicit StretchCore(LastBlock lastBlock) noexcept : lastBlockRule_(lastBlock) {}

  /// The kernels of what is read and what is written.
  void SetKernels(SampleFormat sourceFormat, SampleFormat destinationFormat) noexcept;

  /// Derives everything from a mode and takes fresh, empty buffers. `rate` in frames per second, `channels` 1 to 32,
  /// `stretchRatio` output length over input length. Input comes (again); `firstBlock` stays. 0 or out of
  /// memory; the core is then not `ready`.
  std::int32_t ConfigureStretch(const StretchMode& mode, std::uint32_t rate, std::uint32_t channels,
                                double stretchRatio) noexcept;

  /// Carries the fraction of the input hop from block to block, so that over any time the output keeps pace with the
  /// ratio. Off, and for whoever never calls this, every hop is the same whole number of frames, and the output drifts
  /// by what that rounds away.
  void SetKeepPace(bool on) noexcept { keepPace_ = on; }

  /// A new ratio from the next block on; nothing is dropped.
  void UpdateStretchRatio(double stretchRatio) noexcept;

  /// Frees the buffers.
  void Release() noexcept;
  /// Configures for every mode once and keeps the memory of the largest, so that no later configuration for the same
  /// stream asks for any. `Free` ends that. Must be configured again. 0 or out of memory.
  std::int32_t ReserveForModes(std::uint32_t rate, std::uint32_t channels) noexcept;
  void Free() noexcept;

  /// Takes up to `sourceFrames` and writes up to `destinationFrames` frames; both come back as what was taken and
  /// written. 0 to go on, 1 when the stream is drained. Must be `ready`.
  std::int32_t RunStretch(const void* source, std::uint32_t& sourceFrames, void* destination,
                          std::uint32_t& destinationFrames) noexcept;

  /// The next block is laid in with no fade-in.
  void MarkFirstBlock() noexcept { firstBlock_ = true; }
  void ClearLastBlockTaken() noexcept { lastBlockTaken_ = false; }

  /// No more input will come, or input comes (again).
  void SetEndOfInput(bool ended) noexcept;

  bool ready() const noexcept { return !crossfade_.empty(); }
  /// A finished block waits to be written; no input is taken until it is.
  bool emitting() const noexcept { return emitting_; }
  /// Frames that the block being gathered lacks.
  std::uint32_t missing() const noexcept;

 private:
  void FillCrossfade() noexcept;
  bool WriteOutputFrames(void* destination, std::uint32_t& written, std::uint32_t room) noexcept;
  void ReadInputFrames(const void* source, std::uint32_t& taken, std::uint32_t offered) noexcept;
  void AdvanceBlocks() noexcept;
  bool TakeFromTail() noexcept;
  void NextHop() noexcept;
  void KeepMemory(bool on) noexcept;
  void LayBlock(std::int32_t offset) noexcept;

  const LastBlock lastBlockRule_;
  ReadKernel<Real> read_ = nullptr;
  WriteKernel<Real> write_ = nullptr;
  std::size_t sourceFrameBytes_ = 0, destinationFrameBytes_ = 0;
  SampleFormat sourceFormat_ = kPlainFormat<Real>, destinationFormat_ = kPlainFormat<Real>;

  std::uint32_t channels_ = 0;
  std::int32_t blockLength_ = 0, outputHop_ = 0, fadeLength_ = 0;
  std::int32_t inputHop_ = 0, keepLength_ = 0;
  float matchThreshold_ = 0;
  double stretchRatio_ = 1.0;
  bool keepPace_ = false;
  double carriedHop_ = 0;  // frames that the hops so far fell short of the ratio

  ZeroedBuffer<Real> inputBlock_;    // blockLength_ frames
  ZeroedBuffer<Real> overlapBlock_;  // blockLength_ frames
  ZeroedBuffer<Real> crossfade_;     // blockLength_ values, one a frame
  OffsetSearch<Real> search_;

  std::int32_t inputFill_ = 0;
  std::int32_t blockOutput_ = 0, blockOutputDone_ = 0;
  bool emitting_ = false;
  bool firstBlock_ = false;
  bool endOfInput_ = false;
  bool lastBlockTaken_ = false;
  bool madeAtEnd_ = false;  // the block being emitted was made after the end of the input
};

extern template class StretchCore<float>;
extern template class StretchCore<double>;

}  // namespace korva
