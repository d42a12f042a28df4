#pragma once

#include "streaming/base_pin.h"
#include "streaming/unknown.h"

namespace korva {

/// Part of an output pin: answers a host's seeking commands with what the filter upstream of `input` answers, since a
/// transform has no position of its own. `E_NOTIMPL` while nothing upstream can seek.
class CSeekingPassThru final : public CUnknown, public IMediaSeeking {
 public:
  CSeekingPassThru(IUnknown* pin, CBasePin& input) noexcept : CUnknown(pin), input_(input) {}
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;

  HRESULT GetCapabilities(DWORD* capabilities) override;
  HRESULT CheckCapabilities(DWORD* capabilities) override;
  HRESULT IsFormatSupported(const GUID* format) override;
  HRESULT QueryPreferredFormat(GUID* format) override;
  HRESULT GetTimeFormat(GUID* format) override;
  HRESULT IsUsingTimeFormat(const GUID* format) override;
  HRESULT SetTimeFormat(const GUID* format) override;
  HRESULT GetDuration(LONGLONG* duration) override;
  HRESULT GetStopPosition(LONGLONG* stop) override;
  HRESULT GetCurrentPosition(LONGLONG* current) override;
  HRESULT ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                            const GUID* sourceFormat) override;
  HRESULT SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) override;
  HRESULT GetPositions(LONGLONG* current, LONGLONG* stop) override;
  HRESULT GetAvailable(LONGLONG* earliest, LONGLONG* latest) override;
  HRESULT SetRate(double rate) override;
  HRESULT GetRate(double* rate) override;
  HRESULT GetPreroll(LONGLONG* preroll) override;

 private:
  template <class... Parameters, class... Arguments>
  HRESULT Upstream(HRESULT (IMediaSeeking::*operation)(Parameters...), Arguments... arguments);

  CBasePin& input_;
};

}  // namespace korva
