#pragma once

#include <array>
#include <cstdint>

#include "audio/zeroed_buffer.h"
#include "frame/effect_filter.h"
#include "pitchtime/stretch_engine.h"
#include "streaming/transform_filter.h"

namespace korva {

/// The input pin of a filter of variable length. On a connected filter it also takes a new format that the pin
/// downstream would take.
class CQvStretchInputPin final : public CTransformInputPin {
 public:
  explicit CQvStretchInputPin(CTransformFilter& filter) : CTransformInputPin(filter) {}
  HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override;
};

/// The streaming of the two effects whose output length differs from their input length: one input buffer may yield no
/// output buffer, or several.
///
/// Stamps are a running count of output from the first input stamp after each discontinuity; the engine's delay is not
/// taken off. What the engine holds at the end of the stream is drained in samples without stamps.
class CQvStretchFilter : public EffectFilter<CTransformFilter> {
 public:
  CQvStretchFilter(IUnknown* outer, const EffectDescription& effect)
      : EffectFilter<CTransformFilter>(outer, effect.filterClass) {}

  HRESULT CheckInputType(const AM_MEDIA_TYPE& type) override;
  HRESULT CheckTransform(const AM_MEDIA_TYPE& in, const AM_MEDIA_TYPE& out) override;
  HRESULT DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) override;
  HRESULT GetMediaType(int position, CMediaType& type) override;
  HRESULT StartStreaming() override;
  HRESULT StopStreaming() override;
  HRESULT SetMediaType(PIN_DIRECTION direction, const AM_MEDIA_TYPE& type) override;
  HRESULT CompleteConnect(PIN_DIRECTION direction, IPin* pin) override;
  HRESULT BreakConnect(PIN_DIRECTION direction) override;
  HRESULT Receive(IMediaSample* sample) override;
  HRESULT EndOfStream() override;

  /// The effect's engine, for hosts that run it with no graph while this filter does not stream.
  virtual StretchEngine& engine() noexcept = 0;

 protected:
  CTransformInputPin* CreateInputPin() override;

 private:
  /// Times of the stream, each pair the start and end of the last output sample.
  struct StreamTimes {
    std::int64_t start = 0, end = 0;            // 100 ns
    std::int64_t mediaStart = 0, mediaEnd = 0;  // frames
  };

  HRESULT FeedEngine(ComPtr<IMediaSample>& output, const std::uint8_t* data, std::uint32_t left, ProcessMode mode);
  HRESULT StampAndDeliver(IMediaSample& sample, std::uint32_t frames);
  HRESULT DeliverFrames(IMediaSample& sample, std::uint32_t frames);
  HRESULT Capacity(IMediaSample& sample, BYTE*& data, std::uint32_t& frames) const;
  HRESULT AnnounceFormat(IMediaSample& sample);
  HRESULT WritableInput(BYTE*& data, std::uint32_t bytes);

  std::array<FormatRecord, 2> formatRecords_{};  // by direction
  bool pendingDiscontinuity_ = false;            // the next output sample carries the flag
  bool pendingSyncPoint_ = false;
  StreamTimes streamTimes_;
  ZeroedBuffer<std::uint8_t> inputCopy_;  // for upstream buffers that must not be written
};

/// One of the two effects as a filter: the streaming above over its parameters and engine.
template <class Transform>
class StretchEffect : public EffectOn<CQvStretchFilter, Transform> {
 public:
  using EffectOn<CQvStretchFilter, Transform>::EffectOn;

  StretchEngine& engine() noexcept override { return this->engine_; }
};

}  // namespace korva
