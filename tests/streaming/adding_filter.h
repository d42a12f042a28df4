#pragma once

#include <atomic>
#include <functional>

#include "streaming/trans_in_place.h"
#include "support/test_pins.h"

namespace korva {

inline const FormatRecord kStereo = MakeFormat(SampleFormat::kPcm16, 2, 44100);

struct AudioType : CMediaType {
  explicit AudioType(const FormatRecord& format = kStereo) { SetWave(format); }
  operator const AM_MEDIA_TYPE*() const { return &get(); }
};

/// The simplest in-place transform: adds one to every byte.
class AddingFilter final : public CTransInPlaceFilter {
 public:
  explicit AddingFilter(IUnknown* outer = nullptr) : CTransInPlaceFilter(outer, CLSID{7, 0, 0, {}}) {}
  KORVA_DELEGATE_UNKNOWN()

  HRESULT CheckInputType(const AM_MEDIA_TYPE& type) override {
    return type.majortype == MEDIATYPE_Audio ? S_OK : E_INVALIDARG;
  }
  HRESULT CheckTransform(const AM_MEDIA_TYPE&, const AM_MEDIA_TYPE&) override { return S_OK; }
  HRESULT GetMediaType(int, CMediaType&) override { return E_UNEXPECTED; }
  HRESULT StartStreaming() override {
    ++starts;
    return startResult;
  }
  HRESULT StopStreaming() override {
    ++stops;
    return S_OK;
  }
  HRESULT Stop() override {
    const std::lock_guard guard(filterLock());
    return onStop && !onStop() ? E_FAIL : CTransInPlaceFilter::Stop();
  }
  HRESULT Receive(IMediaSample* sample) override {
    ComPtr<IMediaSample> writable;
    if (const HRESULT result = Writable(sample, writable); FAILED(result)) return result;
    BYTE* bytes = nullptr;
    writable->GetPointer(&bytes);
    for (LONG i = 0; i < writable->GetActualDataLength(); ++i) ++bytes[i];
    return outputPin()->Deliver(writable.Get());
  }

  std::function<bool()> onStop;  ///< called under the filter lock; false gives the stop up
  std::atomic<int> starts{0}, stops{0};
  HRESULT startResult = S_OK;
};

/// A source, the filter and a sink that a test connects as it likes. Taken apart at the end.
struct LoosePins {
  ~LoosePins() {
    for (IPin* const pin : pins) pin->Disconnect();
  }

  Owned<SourceFilter> sourceFilter;
  Owned<AddingFilter> filter;
  Owned<SinkFilter> sinkFilter;
  SourcePin& source = sourceFilter->pin;
  SinkPin& sink = sinkFilter->pin;
  IPin *const in = filter->GetPin(0), *const out = filter->GetPin(1);
  IPin* const pins[4] = {in, out, &source, &sink};
};

}  // namespace korva
