#pragma once

#include "platform/tempo_host.h"

namespace korva::test {

/// A song for the tempo, as far as its presence goes.
class SongMaps final : public IMfxTempoMap, public IMfxMeterMap {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    *out = iid == InterfaceId<IMfxTempoMap>()   ? static_cast<void*>(static_cast<IMfxTempoMap*>(this))
           : iid == InterfaceId<IMfxMeterMap>() ? static_cast<void*>(static_cast<IMfxMeterMap*>(this))
                                                : nullptr;
    return *out != nullptr ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  LONG STDMETHODCALLTYPE TicksToMsecs(LONG ticks) override { return ticks; }
  LONG STDMETHODCALLTYPE MsecsToTicks(LONG milliseconds) override { return milliseconds; }
  int STDMETHODCALLTYPE GetTicksPerQuarterNote() override { return 500; }
  int STDMETHODCALLTYPE GetTempoIndexForTime(LONG) override { return 0; }
  int STDMETHODCALLTYPE GetTempoCount() override { return 0; }
  HRESULT STDMETHODCALLTYPE GetTempoAt(int, LONG*, int*) override { return E_FAIL; }
  HRESULT STDMETHODCALLTYPE TicksToMBT(LONG, int*, int*, int*) override { return E_FAIL; }
  LONG STDMETHODCALLTYPE MBTToTicks(int, int, int) override { return 0; }
  int STDMETHODCALLTYPE GetMeterIndexForTime(LONG) override { return 0; }
  int STDMETHODCALLTYPE GetMeterCount() override { return 0; }
  HRESULT STDMETHODCALLTYPE GetMeterAt(int, int*, int*, int*) override { return E_FAIL; }
};

}  // namespace korva::test
