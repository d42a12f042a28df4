#include "streaming/seeking_pass_through.h"

namespace korva {

HRESULT CSeekingPassThru::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(CUnknown, AnswerInterface<IMediaSeeking>(this, iid, out));
}

template <class... Parameters, class... Arguments>
HRESULT CSeekingPassThru::Upstream(HRESULT (IMediaSeeking::*operation)(Parameters...), Arguments... arguments) {
  ComPtr<IPin> peer;
  if (FAILED(input_.ConnectedTo(peer.Put()))) return E_NOTIMPL;
  const ComPtr<IMediaSeeking> seeking = Query<IMediaSeeking>(peer.Get());
  return seeking ? (seeking.Get()->*operation)(arguments...) : E_NOTIMPL;
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

}  // namespace korva
