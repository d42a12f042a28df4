#pragma once

#include <functional>
#include <vector>

#include "audio/format_record.h"
#include "host/outcome.h"
#include "host/sound_file.h"
#include "streaming/base_filter.h"
#include "streaming/base_pin.h"

namespace korva {

/// How a stream is cut: the frames of a sample, at least 1, and those that its buffer has room for, no fewer. An effect
/// that rings out fills whole buffers.
struct StreamCut {
  std::uint32_t blockFrames;
  std::uint32_t bufferFrames;
};

/// A filter that pushes a sound file through its one output pin, on the thread that calls `Push`.
class FileSource final : public CBaseFilter {
 public:
  /// Samples of `cut.blockFrames` frames in buffers for `cut.bufferFrames`. `input` outlives the filter.
  FileSource(SampleInput& input, const FormatRecord& format, StreamCut cut);
  KORVA_DELEGATE_UNKNOWN()

  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? &pin_ : nullptr; }

  /// Sends the whole file downstream, the first sample marked as a discontinuity, all stamped by the frames before
  /// them. Ends early, with nothing wrong, when downstream wants no more. `progress` hears how many frames have gone.
  MaybeExit Push(const std::function<void(std::int64_t)>& progress);
  /// Says downstream that there is no more.
  HRESULT PushEnd() { return pin_.DeliverEndOfStream(); }
  /// What downstream answered when `Push` failed for its sake; `S_OK` otherwise.
  HRESULT refusal() const noexcept { return refusal_; }
  std::int64_t framesSent() const noexcept { return framesSent_; }

 private:
  class Pin final : public CBaseOutputPin {
   public:
    explicit Pin(FileSource& source)
        : CBaseOutputPin(source, KORVA_WTEXT("Output"), KORVA_WTEXT("Out")), source_(source) {}
    HRESULT GetMediaType(int position, CMediaType& type) override;
    HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override;

   protected:
    HRESULT DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) override;

   private:
    FileSource& source_;
  };

  ~FileSource() override = default;
  MaybeExit Refill();
  REFERENCE_TIME TimeOf(std::int64_t frame) const noexcept;

  SampleInput& input_;
  const FormatRecord format_;
  const SampleFormat sampleFormat_;
  const StreamCut cut_;
  Pin pin_;
  std::vector<std::uint8_t> ahead_;  // read from the file and not sent yet
  std::size_t aheadFrames_ = 0, aheadSent_ = 0;
  std::int64_t framesSent_ = 0;
  HRESULT refusal_ = S_OK;
};

}  // namespace korva
