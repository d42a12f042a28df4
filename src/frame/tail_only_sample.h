#pragma once

#include "audio/zeroed_buffer.h"
#include "frame/interfaces.h"
#include "streaming/com_ptr.h"
#include "streaming/media_sample.h"

namespace korva {

/// A tail-only sample in memory that nobody may write, on its way to filters that take every sample as theirs. It has
/// stamps, a type and a length of its own, and whoever asks for its memory gets a copy, made then.
class TailOnlySample final : public CMediaSample, public ITailOnlySample {
 public:
  /// With one reference; empty where there is no memory.
  static ComPtr<IMediaSample> Wrap(IMediaSample& source);

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override { return CMediaSample::AddRef(); }
  ULONG Release() override { return CMediaSample::Release(); }
  HRESULT GetPointer(BYTE** buffer) override;
  LONG IsTailOnly() override { return 1; }

 private:
  explicit TailOnlySample(IMediaSample& source) : CMediaSample(source.GetSize()), source_(&source) {}
  ~TailOnlySample() override = default;

  const ComPtr<IMediaSample> source_;
  ZeroedBuffer<std::uint8_t> copy_;
};

}  // namespace korva
