#include "streaming/seeking_pass_through.h"

#include "streaming/transform_filter.h"

namespace korva {

template <class Interface, class Operation, class... Arguments>
HRESULT CSeekingPassThru::AskOr(HRESULT otherwise, Operation operation, Arguments... arguments) {
  const ComPtr<IPin> peer = filter_.inputPin()->GetConnected();
  const ComPtr<Interface> upstream = Query<Interface>(peer.Get());
  return upstream ? (upstream.Get()->*operation)(arguments...) : otherwise;
}

HRESULT CSeekingPassThru::GetCapabilities(DWORD* capabilities) {
  return Upstream(&IMediaSeeking::GetCapabilities, capabilities);
}
HRESULT CSeekingPassThru::CheckCapabilities(DWORD* capabilities) {
  return Upstream(&IMediaSeeking::CheckCapabilities, capabilities);
}
HRESULT CSeekingPassThru::IsFormatSupported(const GUID* format) {
  return Upstream(&IMediaSeeking::IsFormatSupported, format);
}
HRESULT CSeekingPassThru::QueryPreferredFormat(GUID* format) {
  return Upstream(&IMediaSeeking::QueryPreferredFormat, format);
}
HRESULT CSeekingPassThru::GetTimeFormat(GUID* format) {
  return Upstream(&IMediaSeeking::GetTimeFormat, format);
}
HRESULT CSeekingPassThru::IsUsingTimeFormat(const GUID* format) {
  return Upstream(&IMediaSeeking::IsUsingTimeFormat, format);
}
HRESULT CSeekingPassThru::SetTimeFormat(const GUID* format) {
  return Upstream(&IMediaSeeking::SetTimeFormat, format);
}
HRESULT CSeekingPassThru::GetDuration(LONGLONG* duration) {
  return Upstream(&IMediaSeeking::GetDuration, duration);
}
HRESULT CSeekingPassThru::GetStopPosition(LONGLONG* stop) {
  return Upstream(&IMediaSeeking::GetStopPosition, stop);
}
HRESULT CSeekingPassThru::GetCurrentPosition(LONGLONG* current) {
  return Upstream(&IMediaSeeking::GetCurrentPosition, current);
}
HRESULT CSeekingPassThru::ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                                            const GUID* sourceFormat) {
  return Upstream(&IMediaSeeking::ConvertTimeFormat, target, targetFormat, source, sourceFormat);
}
HRESULT CSeekingPassThru::SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) {
  return Upstream(&IMediaSeeking::SetPositions, current, currentFlags, stop, stopFlags);
}
HRESULT CSeekingPassThru::GetPositions(LONGLONG* current, LONGLONG* stop) {
  return Upstream(&IMediaSeeking::GetPositions, current, stop);
}
HRESULT CSeekingPassThru::GetAvailable(LONGLONG* earliest, LONGLONG* latest) {
  return Upstream(&IMediaSeeking::GetAvailable, earliest, latest);
}
HRESULT CSeekingPassThru::SetRate(double rate) {
  return Upstream(&IMediaSeeking::SetRate, rate);
}
HRESULT CSeekingPassThru::GetRate(double* rate) {
  return Upstream(&IMediaSeeking::GetRate, rate);
}
HRESULT CSeekingPassThru::GetPreroll(LONGLONG* preroll) {
  return Upstream(&IMediaSeeking::GetPreroll, preroll);
}

HRESULT CSeekingPassThru::get_Duration(REFTIME* length) {
  return Upstream(&IMediaPosition::get_Duration, length);
}
HRESULT CSeekingPassThru::put_CurrentPosition(REFTIME time) {
  return Upstream(&IMediaPosition::put_CurrentPosition, time);
}
HRESULT CSeekingPassThru::get_CurrentPosition(REFTIME* time) {
  return Upstream(&IMediaPosition::get_CurrentPosition, time);
}
HRESULT CSeekingPassThru::get_StopTime(REFTIME* time) {
  return Upstream(&IMediaPosition::get_StopTime, time);
}
HRESULT CSeekingPassThru::put_StopTime(REFTIME time) {
  return Upstream(&IMediaPosition::put_StopTime, time);
}
HRESULT CSeekingPassThru::get_PrerollTime(REFTIME* time) {
  return Upstream(&IMediaPosition::get_PrerollTime, time);
}
HRESULT CSeekingPassThru::put_PrerollTime(REFTIME time) {
  return Upstream(&IMediaPosition::put_PrerollTime, time);
}
HRESULT CSeekingPassThru::put_Rate(double rate) {
  return Upstream(&IMediaPosition::put_Rate, rate);
}
HRESULT CSeekingPassThru::get_Rate(double* rate) {
  return Upstream(&IMediaPosition::get_Rate, rate);
}
HRESULT CSeekingPassThru::CanSeekForward(LONG* can) {
  return Upstream(&IMediaPosition::CanSeekForward, can);
}
HRESULT CSeekingPassThru::CanSeekBackward(LONG* can) {
  return Upstream(&IMediaPosition::CanSeekBackward, can);
}

HRESULT CSeekingPassThru::GetTypeInfoCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = 0;
  return AskOr<IMediaPosition>(S_OK, &IMediaPosition::GetTypeInfoCount, count);
}
HRESULT CSeekingPassThru::GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) {
  if (info == nullptr) return E_POINTER;
  *info = nullptr;
  return AskOr<IMediaPosition>(DISP_E_BADINDEX, &IMediaPosition::GetTypeInfo, index, locale, info);
}
HRESULT CSeekingPassThru::GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale, DISPID* ids) {
  if (names == nullptr || ids == nullptr) return E_POINTER;
  for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
  return AskOr<IMediaPosition>(DISP_E_UNKNOWNNAME, &IMediaPosition::GetIDsOfNames, reserved, names, count, locale, ids);
}
HRESULT CSeekingPassThru::Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags, DISPPARAMS* parameters,
                                 VARIANT* result, EXCEPINFO* exception, UINT* badArgument) {
  return AskOr<IMediaPosition>(DISP_E_MEMBERNOTFOUND, &IMediaPosition::Invoke, member, reserved, locale, flags,
                               parameters, result, exception, badArgument);
}

}  // namespace korva
