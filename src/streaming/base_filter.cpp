#include "streaming/base_filter.h"

#include <new>

#include "streaming/base_pin.h"
#include "streaming/enumerators.h"

namespace korva {

HRESULT CBaseFilter::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(CUnknown, (AnswerInterface<IPersist, IMediaFilter, IBaseFilter, IAMovieSetup>(this, iid, out)));
}

HRESULT CBaseFilter::GetClassID(CLSID* classId) {
  if (classId == nullptr) return E_POINTER;
  *classId = classId_;
  return S_OK;
}

HRESULT CBaseFilter::Stop() {
  const std::lock_guard guard(filterLock_);
  HRESULT result = S_OK;
  if (!IsStopped()) {
    for (int i = 0; i < GetPinCount(); ++i) {
      CBasePin* const pin = GetPin(i);
      if (pin == nullptr || !pin->IsConnected()) continue;
      const HRESULT inactive = pin->Inactive();
      if (FAILED(inactive) && SUCCEEDED(result)) result = inactive;
    }
  }
  SetState(State_Stopped);
  return result;
}

HRESULT CBaseFilter::Pause() {
  const std::lock_guard guard(filterLock_);
  if (IsStopped()) {
    for (int i = 0; i < GetPinCount(); ++i) {
      CBasePin* const pin = GetPin(i);
      if (pin == nullptr || !pin->IsConnected()) continue;
      if (const HRESULT result = pin->Active(); FAILED(result)) return result;
    }
  }
  SetState(State_Paused);
  return S_OK;
}

HRESULT CBaseFilter::Run(REFERENCE_TIME) {
  const std::lock_guard guard(filterLock_);
  if (IsStopped()) {
    if (const HRESULT result = Pause(); FAILED(result)) return result;
  }
  SetState(State_Running);
  return S_OK;
}

HRESULT CBaseFilter::GetState(DWORD, FILTER_STATE* state) {
  if (state == nullptr) return E_POINTER;
  *state = this->state();
  return S_OK;
}

HRESULT CBaseFilter::SetSyncSource(IReferenceClock* clock) {
  Link(clock_, ComPtr<IReferenceClock>(clock));
  return S_OK;
}

HRESULT CBaseFilter::GetSyncSource(IReferenceClock** clock) {
  if (clock == nullptr) return E_POINTER;
  *clock = Linked(clock_).Detach();
  return S_OK;
}

HRESULT CBaseFilter::EnumPins(IEnumPins** enumerator) {
  if (enumerator == nullptr) return E_POINTER;
  *enumerator = new (std::nothrow) CEnumPins(*this, {PinVersion(), 0});
  if (*enumerator == nullptr) return E_OUTOFMEMORY;
  (*enumerator)->AddRef();
  return S_OK;
}

HRESULT CBaseFilter::FindPin(LPCWSTR id, IPin** pin) {
  if (id == nullptr || pin == nullptr) return E_POINTER;
  *pin = nullptr;
  for (int i = 0; i < GetPinCount(); ++i) {
    CBasePin* const candidate = GetPin(i);
    if (candidate == nullptr || !SameText(candidate->id(), id)) continue;
    candidate->AddRef();
    *pin = candidate;
    return S_OK;
  }
  return VFW_E_NOT_FOUND;
}

HRESULT CBaseFilter::QueryFilterInfo(FILTER_INFO* info) {
  if (info == nullptr) return E_POINTER;
  const std::lock_guard guard(linkLock_);
  CopyText(info->achName, name_.data());
  info->pGraph = graph_;
  if (graph_ != nullptr) graph_->AddRef();
  return S_OK;
}

HRESULT CBaseFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
  const std::lock_guard guard(linkLock_);
  graph_ = graph;
  if (name != nullptr) {
    CopyText(name_, name);
  } else {
    name_[0] = 0;
  }
  return S_OK;
}

ComPtr<IFilterGraph> CBaseFilter::graph() const {
  const std::lock_guard guard(linkLock_);
  return ComPtr<IFilterGraph>(graph_);
}

HRESULT CBaseFilter::QueryVendorInfo(LPWSTR*) {
  return E_NOTIMPL;
}

const FilterSetup* CBaseFilter::GetSetupData() {
  const FilterRegistrar* const registrar = GetFilterRegistrar();
  return registrar != nullptr ? registrar->find(classId_) : nullptr;
}

HRESULT CBaseFilter::Enter(bool enter) {
  const FilterRegistrar* const registrar = GetFilterRegistrar();
  if (registrar == nullptr) return E_NOTIMPL;
  const FilterSetup* const setup = GetSetupData();
  return setup != nullptr ? registrar->enter(*setup, enter) : S_FALSE;
}

HRESULT CBaseFilter::ReconnectPin(IPin* pin) {
  const ComPtr<IFilterGraph> own = graph();
  return own ? own->Reconnect(pin) : VFW_E_NOT_IN_GRAPH;
}

}  // namespace korva
