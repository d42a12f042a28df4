#pragma once

#include "platform/media_position.h"
#include "streaming/unknown.h"

namespace korva {

class CTransformFilter;

/// Part of an output pin: answers a host's seeking commands, in both published forms, with what the filter upstream
/// answers, since a transform has no position of its own. `E_NOTIMPL` while nothing upstream can seek.
///
/// Takes no lock but the link lock: a renderer asks from inside its end of stream.
class CSeekingPassThru final : public IMediaSeeking, public IMediaPosition {
 public:
  CSeekingPassThru(IUnknown* pin, CTransformFilter& filter) noexcept : pin_(pin), filter_(filter) {}
  IUnknown* GetOwner() const noexcept { return pin_; }
  KORVA_DELEGATE_UNKNOWN()

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

  HRESULT get_Duration(REFTIME* length) override;
  HRESULT put_CurrentPosition(REFTIME time) override;
  HRESULT get_CurrentPosition(REFTIME* time) override;
  HRESULT get_StopTime(REFTIME* time) override;
  HRESULT put_StopTime(REFTIME time) override;
  HRESULT get_PrerollTime(REFTIME* time) override;
  HRESULT put_PrerollTime(REFTIME time) override;
  HRESULT put_Rate(double rate) override;
  HRESULT get_Rate(double* rate) override;
  HRESULT CanSeekForward(LONG* can) override;
  HRESULT CanSeekBackward(LONG* can) override;

  // Calls by name. With nothing upstream there are no names: no type information, and no member is found.
  HRESULT GetTypeInfoCount(UINT* count) override;
  HRESULT GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override;
  HRESULT GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale, DISPID* ids) override;
  HRESULT Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                 EXCEPINFO* exception, UINT* badArgument) override;

 private:
  /// Calls `operation` of the pin upstream, or answers `otherwise`.
  template <class Interface, class Operation, class... Arguments>
  HRESULT AskOr(HRESULT otherwise, Operation operation, Arguments... arguments);
  template <class... Parameters, class... Arguments>
  HRESULT Upstream(HRESULT (IMediaSeeking::*operation)(Parameters...), Arguments... arguments) {
    return AskOr<IMediaSeeking>(E_NOTIMPL, operation, arguments...);
  }
  template <class... Parameters, class... Arguments>
  HRESULT Upstream(HRESULT (IMediaPosition::*operation)(Parameters...), Arguments... arguments) {
    return AskOr<IMediaPosition>(E_NOTIMPL, operation, arguments...);
  }

  IUnknown* const pin_;
  CTransformFilter& filter_;
};

}  // namespace korva
