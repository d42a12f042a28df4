#pragma once

#include <vector>

#include "frame/interfaces.h"
#include "platform/media.h"
#include "support/owned.h"
#include "support/signals.h"

namespace korva {

/// A sample of a host that has memory of its own, on the test's stack. Can be marked as tail-only, and can fail where a
/// host's sample may fail.
class TestSample final : public IMediaSample, public ITailOnlySample {
 public:
  explicit TestSample(Bytes content) : data(std::move(content)), length(static_cast<LONG>(data.size())) {}

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
  LONG GetSize() override { return static_cast<LONG>(data.size()); }
  HRESULT GetTime(REFERENCE_TIME* from, REFERENCE_TIME* to) override {
    if (!hasTime) return VFW_E_SAMPLE_TIME_NOT_SET;
    *from = start;
    *to = stop;
    return S_OK;
  }
  HRESULT SetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return S_OK; }
  HRESULT IsSyncPoint() override { return S_OK; }
  HRESULT SetSyncPoint(BOOL) override { return S_OK; }
  HRESULT IsPreroll() override { return S_FALSE; }
  HRESULT SetPreroll(BOOL) override { return S_OK; }
  LONG GetActualDataLength() override { return length; }
  HRESULT SetActualDataLength(LONG newLength) override {
    length = newLength;
    return S_OK;
  }
  HRESULT GetMediaType(AM_MEDIA_TYPE**) override { return S_FALSE; }
  HRESULT SetMediaType(AM_MEDIA_TYPE*) override { return S_OK; }
  HRESULT IsDiscontinuity() override { return discontinuity ? S_OK : S_FALSE; }
  HRESULT SetDiscontinuity(BOOL on) override {
    discontinuity = on != 0;
    return S_OK;
  }
  HRESULT GetMediaTime(LONGLONG*, LONGLONG*) override { return VFW_E_MEDIA_TIME_NOT_SET; }
  HRESULT SetMediaTime(LONGLONG*, LONGLONG*) override { return S_OK; }

  Bytes data;
  LONG length;
  bool hasTime = false, discontinuity = false;
  REFERENCE_TIME start = 0, stop = 0;
  LONG tailOnly = 0;
  HRESULT pointerResult = S_OK;
  int pointerFetches = 0;
  std::atomic<ULONG> references{0};
};

}  // namespace korva
