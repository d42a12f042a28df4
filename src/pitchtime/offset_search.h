#pragma once

#include <array>
#include <cstdint>

#include "audio/format_record.h"
#include "audio/zeroed_buffer.h"
#include "pitchtime/search_loops.h"

namespace korva {

/// Finds where in a block of input the audio lines up best with the tail of what was written before.
///
/// Every offset's score is the energy of the mix of the two spans, per channel, summed in index order in `Real`; the
/// answer is always the one that the plain double loop over offsets and frames finds. Two things make it fast. Offsets
/// and frames share one stride, so both spans are thinned once and neighbouring offsets become neighbouring lanes. And
/// a screen in 16-bit integers, with a proven bound on its error, first rules out the offsets that cannot be the
/// answer; only the rest are scored in full.
template <class Real>
class OffsetSearch {
 public:
  OffsetSearch() noexcept;

  /// Takes the memory for spans of `searchLength` frames searched in strides of `searchStep` (at least 1). False,
  /// and empty, if there is none.
  [[nodiscard]] bool Allocate(std::int32_t searchLength, std::int32_t searchStep, std::uint32_t channels,
                              StreamBudget& budget) noexcept;
  void Release() noexcept;
  /// As `ZeroedBuffer::KeepMemory`, for all that is held here.
  void KeepMemory(bool on) noexcept;

  /// The offset in frames, below the search length (0 when that is 0). `overlap` holds `searchLength` frames, `input`
  /// twice as many. The first offset at which every channel's score beats `matchThreshold` times the tail's energy
  /// ends the search; otherwise the first of those with the highest sum of scores is taken.
  std::int32_t FindBestOffset(const Real* overlap, const Real* input, float matchThreshold) noexcept;

  /// For tests: whether the loops for wide units are taken where the processor has them. They find the same.
  void SetWide(bool on) noexcept;
  /// For tests: does without the screen.
  void SetScreen(bool on) noexcept { screenOn_ = on; }

 private:
  static constexpr std::int32_t kLanes = kSearchLanes<Real>;

  const Real* Tail(std::uint32_t channel) const noexcept { return tail_.data() + channel * tailStride_; }
  const Real* Trial(std::uint32_t channel) const noexcept { return trial_.data() + channel * trialStride_; }
  void Thin(const Real* overlap, const Real* input) noexcept;
  bool Screen() noexcept;
  bool ScreenChannel(std::uint32_t channel) noexcept;
  bool MayHoldAnswer(std::int32_t first) const noexcept;
  bool Accepts(const Real (&scores)[kMaxChannels][kLanes], std::int32_t lane) const noexcept;

  std::int32_t taps_ = 0;  // frames compared, and offsets tried
  std::int32_t step_ = 1;
  std::uint32_t channels_ = 0;
  std::size_t tailStride_ = 0, trialStride_ = 0;
  bool screenOn_ = true;
  const SearchLoops<Real>* loops_;
  std::array<Real, kMaxChannels> reference_{};

  ZeroedBuffer<Real> tail_;   // taps_ a channel
  ZeroedBuffer<Real> trial_;  // 2 taps_ - 1 a channel, then zeros for the lanes past the end

  ZeroedBuffer<std::int16_t> coarseTail_, coarseTrial_;  // one channel at a time
  ZeroedBuffer<double> lowest_, highest_;                // bounds on the sum of an offset's scores
  ZeroedBuffer<std::uint8_t> mayAccept_;
  double bestLowest_ = 0;
};

extern template class OffsetSearch<float>;
extern template class OffsetSearch<double>;

}  // namespace korva
