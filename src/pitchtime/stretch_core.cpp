#include "pitchtime/stretch_core.h"

#include <algorithm>
#include <cstring>

#include "audio/narrow.h"
#include "audio/process_mode.h"

namespace korva {
namespace {

/// Whole frames of `milliseconds`. No rate of 32 bits leaves the range: the longest block is 300 ms.
std::int32_t FramesOf(std::uint32_t rate, std::int32_t milliseconds) noexcept {
  return static_cast<std::int32_t>(static_cast<std::int64_t>(rate) * milliseconds / 1000);
}

constexpr std::uint32_t kFullStrideRate = 32000;
constexpr std::int64_t kStrideReferenceRate = 44100;

template <std::size_t kChannels, class Real>
void AddFadedChannels(const Real* source, const Real* window, Real* target, std::size_t frames,
                      std::size_t channelCount) noexcept {
  const std::size_t channels = kChannels != 0 ? kChannels : channelCount;
  for (std::size_t i = 0; i < frames; ++i) {
    for (std::size_t c = 0; c < channels; ++c) target[i * channels + c] += source[i * channels + c] * window[i];
  }
}

/// Adds `frames` frames of `source`, each times its place in the window.
template <class Real>
void AddFaded(const Real* source, const Real* window, Real* target, std::size_t frames, std::size_t channels) noexcept {
  switch (channels) {
    case 1:
      return AddFadedChannels<1>(source, window, target, frames, channels);
    case 2:
      return AddFadedChannels<2>(source, window, target, frames, channels);
    default:
      return AddFadedChannels<0>(source, window, target, frames, channels);
  }
}

}  // namespace

template <class Real>
void StretchCore<Real>::SetKernels(SampleFormat sourceFormat, SampleFormat destinationFormat) noexcept {
  read_ = ChooseReadKernel<Real>(sourceFormat);
  write_ = ChooseWriteKernel<Real>(destinationFormat);
  sourceFormat_ = sourceFormat;
  destinationFormat_ = destinationFormat;
}

template <class Real>
std::int32_t StretchCore<Real>::ConfigureStretch(const StretchMode& mode, std::uint32_t rate, std::uint32_t channels,
                                                 double stretchRatio) noexcept {
  Release();
  channels_ = channels;
  sourceFrameBytes_ = SampleBytes(sourceFormat_) * channels;
  destinationFrameBytes_ = SampleBytes(destinationFormat_) * channels;

  // At least two frames, so that every block emits something whatever the rate.
  blockLength_ = std::max(FramesOf(rate, mode.blockMs), 2);
  outputHop_ = blockLength_ / 2;
  fadeLength_ = std::min(outputHop_ - 1, FramesOf(rate, mode.fadeMs));
  UpdateStretchRatio(stretchRatio);
  const std::int32_t searchLength = std::min(outputHop_ - fadeLength_, FramesOf(rate, mode.searchMs));
  std::int32_t searchStep = mode.searchStepBase;
  if (rate < kFullStrideRate) {
    searchStep =
        std::max(static_cast<std::int32_t>(static_cast<std::int64_t>(searchStep) * rate / kStrideReferenceRate), 1);
  }
  matchThreshold_ = static_cast<float>(mode.matchPercent / 100.0);
  blockOutput_ = outputHop_;
  inputFill_ = 0;
  blockOutputDone_ = 0;
  emitting_ = false;
  carriedHop_ = 0;
  SetEndOfInput(false);
  madeAtEnd_ = false;

  const std::size_t frames = static_cast<std::size_t>(blockLength_);
  // What else an engine holds does not grow with the rate.
  StreamBudget budget;
  if (!inputBlock_.Allocate(frames * channels, budget) || !overlapBlock_.Allocate(frames * channels, budget) ||
      !search_.Allocate(searchLength, searchStep, channels, budget) || !crossfade_.Allocate(frames, budget)) {
    Release();
    return kEngineOutOfMemory;
  }
  FillCrossfade();
  return kGoOn;
}

template <class Real>
void StretchCore<Real>::FillCrossfade() noexcept {
  Real* const window = crossfade_.data();
  std::fill_n(window, blockLength_, Real{1});
  if (fadeLength_ < 2) return;
  const std::int32_t end = outputHop_ + fadeLength_;
  for (std::int32_t i = 0; i < fadeLength_; ++i) {
    window[i] = static_cast<Real>(i) / static_cast<Real>(fadeLength_);
    window[end - i] = window[i];
  }
  std::fill(window + end + 1, window + blockLength_, Real{0});
}

template <class Real>
void StretchCore<Real>::UpdateStretchRatio(double stretchRatio) noexcept {
  stretchRatio_ = stretchRatio;
  inputHop_ = std::clamp(Truncate<std::int32_t>(outputHop_ / stretchRatio + 0.5), 1, std::max(blockLength_, 1));
  keepLength_ = blockLength_ - inputHop_;
}

/// The hop of the block that is being made.
template <class Real>
void StretchCore<Real>::NextHop() noexcept {
  if (!keepPace_) return;
  const double wanted = std::clamp(outputHop_ / stretchRatio_, 1.0, static_cast<double>(blockLength_)) + carriedHop_;
  inputHop_ = std::clamp(Truncate<std::int32_t>(wanted + 0.5), 1, blockLength_);
  carriedHop_ = wanted - inputHop_;
  keepLength_ = blockLength_ - inputHop_;
}

template <class Real>
void StretchCore<Real>::Release() noexcept {
  inputBlock_.Release();
  overlapBlock_.Release();
  crossfade_.Release();
  search_.Release();
  emitting_ = false;
}

template <class Real>
void StretchCore<Real>::KeepMemory(bool on) noexcept {
  inputBlock_.KeepMemory(on);
  overlapBlock_.KeepMemory(on);
  crossfade_.KeepMemory(on);
  search_.KeepMemory(on);
}

template <class Real>
std::int32_t StretchCore<Real>::ReserveForModes(std::uint32_t rate, std::uint32_t channels) noexcept {
  KeepMemory(true);
  for (const StretchMode& mode : StretchModeTable) {
    if (const std::int32_t result = ConfigureStretch(mode, rate, channels, 1.0); result < 0) return result;
  }
  return kGoOn;
}

template <class Real>
void StretchCore<Real>::Free() noexcept {
  Release();
  KeepMemory(false);
}

template <class Real>
void StretchCore<Real>::SetEndOfInput(bool ended) noexcept {
  if (endOfInput_ && !ended) {
    // The stream goes on after all: what the draining left behind must not count.
    inputFill_ = std::max(inputFill_, 0);
    lastBlockTaken_ = false;
  }
  endOfInput_ = ended;
}

template <class Real>
std::uint32_t StretchCore<Real>::missing() const noexcept {
  return static_cast<std::uint32_t>(blockLength_ - std::clamp(inputFill_, 0, blockLength_));
}

/// Writes what fits of the finished block; true when all of it is out.
template <class Real>
bool StretchCore<Real>::WriteOutputFrames(void* destination, std::uint32_t& written, std::uint32_t room) noexcept {
  const auto left = static_cast<std::uint32_t>(blockOutput_ - blockOutputDone_);
  const std::uint32_t frames = std::min(left, room - written);
  write_(overlapBlock_.data() + static_cast<std::size_t>(blockOutputDone_) * channels_,
         static_cast<unsigned char*>(destination) + written * destinationFrameBytes_,
         static_cast<std::size_t>(frames) * channels_);
  written += frames;
  blockOutputDone_ += static_cast<std::int32_t>(frames);
  return blockOutputDone_ >= blockOutput_;
}

template <class Real>
void StretchCore<Real>::ReadInputFrames(const void* source, std::uint32_t& taken, std::uint32_t offered) noexcept {
  const std::uint32_t frames = std::min(offered - taken, missing());
  if (frames == 0) return;
  read_(static_cast<const unsigned char*>(source) + taken * sourceFrameBytes_,
        inputBlock_.data() + static_cast<std::size_t>(inputFill_) * channels_,
        static_cast<std::size_t>(frames) * channels_);
  taken += frames;
  inputFill_ += static_cast<std::int32_t>(frames);
}

/// After a block is out: the input moves on, and the faded tail comes to the front.
template <class Real>
void StretchCore<Real>::AdvanceBlocks() noexcept {
  blockOutputDone_ = 0;
  emitting_ = false;
  // A block made after the end has already lowered the fill by its hop. The test is when it was made and not when it
  // was written out, so that the length of the whole does not hang on the size of buffers.
  if (!madeAtEnd_) inputFill_ = keepLength_;
  const std::size_t channels = channels_;
  const auto keep = static_cast<std::size_t>(keepLength_) * channels;
  if (keep != 0) {
    std::memmove(inputBlock_.data(), inputBlock_.data() + static_cast<std::size_t>(inputHop_) * channels,
                 keep * sizeof(Real));
  }
  Real* const overlap = overlapBlock_.data();
  const auto hop = static_cast<std::size_t>(outputHop_) * channels;
  const auto fade = static_cast<std::size_t>(fadeLength_) * channels;
  std::copy_n(overlap + hop, fade, overlap);
  // Beyond hop and fade nothing was ever laid.
  std::fill(overlap + fade, overlap + hop + fade, Real{0});
}

/// Whether a block is to be made of what the input left; lowers the fill for it.
template <class Real>
bool StretchCore<Real>::TakeFromTail() noexcept {
  if (inputFill_ < outputHop_) {
    if (lastBlockTaken_) return false;
    lastBlockTaken_ = true;
    if (inputFill_ < 1) return false;
    std::fill(inputBlock_.data() + static_cast<std::size_t>(inputFill_) * channels_,
              inputBlock_.data() + inputBlock_.size(), Real{0});
    blockOutput_ = lastBlockRule_ == LastBlock::kInputLength
                       ? inputFill_
                       : std::clamp(Truncate<std::int32_t>(inputFill_ * stretchRatio_), 0, blockLength_);
  } else {
    // What earlier moves left above the fill stays there and may be heard.
    blockOutput_ = outputHop_;
  }
  NextHop();
  inputFill_ -= inputHop_;
  return true;
}

template <class Real>
std::int32_t StretchCore<Real>::RunStretch(const void* source, std::uint32_t& sourceFrames, void* destination,
                                           std::uint32_t& destinationFrames) noexcept {
  const std::uint32_t offered = sourceFrames, room = destinationFrames;
  sourceFrames = 0;
  destinationFrames = 0;
  if (offered == 0 && !emitting_ && lastBlockTaken_) return kFinished;
  for (;;) {
    if (emitting_) {
      if (!WriteOutputFrames(destination, destinationFrames, room)) return kGoOn;
      AdvanceBlocks();
    }
    ReadInputFrames(source, sourceFrames, offered);
    if (endOfInput_) {
      if (!TakeFromTail()) return kGoOn;
    } else {
      if (inputFill_ != blockLength_) return kGoOn;
      blockOutput_ = outputHop_;
      NextHop();
    }
    LayBlock(search_.FindBestOffset(overlapBlock_.data(), inputBlock_.data(), matchThreshold_));
    madeAtEnd_ = endOfInput_;
    emitting_ = true;
  }
}

template <class Real>
void StretchCore<Real>::LayBlock(std::int32_t offset) noexcept {
  const std::size_t channels = channels_;
  const auto hop = static_cast<std::size_t>(outputHop_), fade = static_cast<std::size_t>(fadeLength_);
  const Real* const source = inputBlock_.data() + static_cast<std::size_t>(offset) * channels;
  Real* const target = overlapBlock_.data();
  const Real* const window = crossfade_.data();
  if (firstBlock_) {
    for (std::size_t s = 0; s < fade * channels; ++s) target[s] += source[s];
    firstBlock_ = false;
  } else {
    AddFaded(source, window, target, fade, channels);
  }
  std::copy(source + fade * channels, source + hop * channels, target + fade * channels);
  AddFaded(source + hop * channels, window + hop, target + hop * channels, fade, channels);
}

template class StretchCore<float>;
template class StretchCore<double>;

}  // namespace korva
