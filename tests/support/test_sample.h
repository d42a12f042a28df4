#pragma once

#include "frame/interfaces.h"
#include "streaming/media_sample.h"
#include "support/owned.h"
#include "support/signals.h"

namespace korva {

/// A sample of a host that has memory of its own, on the test's stack. Can be marked as tail-only, and can fail where a
/// host's sample may fail.
class TestSample final : public CMediaSample, public ITailOnlySample {
 public:
  explicit TestSample(Bytes content)
      : CMediaSample(static_cast<LONG>(content.size())), data(std::move(content)), length(GetSize()) {}

  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (iid == InterfaceId<ITailOnlySample>() && tailOnly == 0) return E_NOINTERFACE;
    return AnswerStackObject<IMediaSample, ITailOnlySample>(this, iid, out, references);
  }
  ULONG AddRef() override { return ++references; }
  ULONG Release() override { return --references; }
  LONG IsTailOnly() override { return tailOnly; }
  HRESULT GetPointer(BYTE** buffer) override {
    ++pointerFetches;
    if (FAILED(pointerResult)) return pointerResult;
    *buffer = data.data();
    return S_OK;
  }
  LONG GetActualDataLength() override { return length; }
  HRESULT SetActualDataLength(LONG newLength) override {
    length = newLength;
    return S_OK;
  }

  Bytes data;
  LONG length;
  LONG tailOnly = 0;
  HRESULT pointerResult = S_OK;
  int pointerFetches = 0;
  std::atomic<ULONG> references{0};
};

}  // namespace korva
