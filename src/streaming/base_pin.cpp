#include "streaming/base_pin.h"

#include <new>

#include "streaming/allocator.h"
#include "streaming/enumerators.h"

namespace korva {
namespace {

/// What a connection attempt reports when a pin did not want a type: one code, whatever the pin's own reason was.
HRESULT RefusedType(HRESULT result) {
  return SUCCEEDED(result) || result == E_FAIL || result == E_INVALIDARG ? VFW_E_TYPE_NOT_ACCEPTED : result;
}

}  // namespace

HRESULT CBasePin::NonDelegatingQueryInterface(REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  if (iid == InterfaceId<IUnknown>()) {
    *out = static_cast<IPin*>(this);
    AddRef();
    return S_OK;
  }
  return AnswerInterface<IPin, IQualityControl>(this, iid, out);
}

HRESULT CBasePin::Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) {
  if (receivePin == nullptr) return E_POINTER;
  const std::lock_guard guard(filter_.filterLock());
  if (connected_) return VFW_E_ALREADY_CONNECTED;
  if (!filter_.IsStopped()) return VFW_E_NOT_STOPPED;
  return AgreeMediaType(receivePin, type);
}

HRESULT CBasePin::AgreeMediaType(IPin* receivePin, const AM_MEDIA_TYPE* wanted) {
  if (wanted != nullptr && !IsPartialMediaType(*wanted)) return AttemptConnection(receivePin, *wanted);
  HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
  for (int turn = 0; turn < 2; ++turn) {
    IPin* const proposer = (turn == 0) == ProposesFirst() ? static_cast<IPin*>(this) : receivePin;
    const HRESULT result = TryTypesOf(proposer, receivePin, wanted);
    if (SUCCEEDED(result)) return result;
    // A reason that is more than "not this type" is worth more to the caller.
    if (result != E_FAIL && result != E_INVALIDARG && result != VFW_E_TYPE_NOT_ACCEPTED &&
        result != VFW_E_NO_ACCEPTABLE_TYPES) {
      failure = result;
    }
  }
  return failure;
}

HRESULT CBasePin::TryTypesOf(IPin* proposer, IPin* receivePin, const AM_MEDIA_TYPE* wanted) {
  ComPtr<IEnumMediaTypes> types;
  if (FAILED(proposer->EnumMediaTypes(types.Put()))) return VFW_E_NO_ACCEPTABLE_TYPES;
  types->Reset();
  HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
  AM_MEDIA_TYPE* proposed = nullptr;
  ULONG fetched = 0;
  while (types->Next(1, &proposed, &fetched) == S_OK) {
    HRESULT result = VFW_E_NO_ACCEPTABLE_TYPES;
    if (wanted == nullptr || MatchesMediaType(*proposed, *wanted)) result = AttemptConnection(receivePin, *proposed);
    DeleteMediaType(proposed);
    if (SUCCEEDED(result)) return result;
    if (failure == VFW_E_NO_ACCEPTABLE_TYPES && result != VFW_E_TYPE_NOT_ACCEPTED) failure = result;
  }
  return failure;
}

HRESULT CBasePin::AttemptConnection(IPin* receivePin, const AM_MEDIA_TYPE& type) {
  HRESULT result = CheckConnect(receivePin);
  if (FAILED(result)) {
    BreakConnect();
    return result;
  }
  result = CheckMediaType(type);
  if (result != S_OK) {
    BreakConnect();
    return RefusedType(result);
  }
  filter_.Link(connected_, ComPtr<IPin>(receivePin));
  result = SetMediaType(type);
  if (SUCCEEDED(result)) result = receivePin->ReceiveConnection(this, &type);
  if (SUCCEEDED(result)) {
    result = CompleteConnect(receivePin);
    if (SUCCEEDED(result)) return result;
    receivePin->Disconnect();
  }
  ForgetConnection();
  BreakConnect();
  return result;
}

HRESULT CBasePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
  if (connector == nullptr || type == nullptr) return E_POINTER;
  const std::lock_guard guard(filter_.filterLock());
  if (connected_) return VFW_E_ALREADY_CONNECTED;
  if (!filter_.IsStopped()) return VFW_E_NOT_STOPPED;
  HRESULT result = CheckConnect(connector);
  if (FAILED(result)) {
    BreakConnect();
    return result;
  }
  result = CheckMediaType(*type);
  if (result != S_OK) {
    BreakConnect();
    return RefusedType(result);
  }
  filter_.Link(connected_, ComPtr<IPin>(connector));
  result = SetMediaType(*type);
  if (SUCCEEDED(result)) result = CompleteConnect(connector);
  if (SUCCEEDED(result)) return S_OK;
  ForgetConnection();
  BreakConnect();
  return result;
}

HRESULT CBasePin::Disconnect() {
  const std::lock_guard guard(filter_.filterLock());
  if (!filter_.IsStopped()) return VFW_E_NOT_STOPPED;
  return DropConnection();
}

HRESULT CBasePin::DropConnection() {
  if (!connected_) return S_FALSE;
  const HRESULT result = BreakConnect();
  if (FAILED(result)) return result;
  ForgetConnection();
  return S_OK;
}

void CBasePin::ForgetConnection() {
  ComPtr<IPin> peer;
  CMediaType type;
  const std::lock_guard guard(filter_.linkLock());
  std::swap(connected_, peer);
  type_.Swap(type);
}

HRESULT CBasePin::SetMediaType(const AM_MEDIA_TYPE& type) {
  CMediaType copy;
  if (const HRESULT result = copy.Set(type); FAILED(result)) return result;
  const std::lock_guard guard(filter_.linkLock());
  type_.Swap(copy);
  return S_OK;
}

bool CBasePin::IsConnected() const {
  const std::lock_guard guard(filter_.linkLock());
  return static_cast<bool>(connected_);
}

HRESULT CBasePin::CheckConnect(IPin* pin) {
  PIN_DIRECTION other = PINDIR_INPUT;
  if (const HRESULT result = pin->QueryDirection(&other); FAILED(result)) return result;
  return other == direction_ ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::ConnectedTo(IPin** pin) {
  if (pin == nullptr) return E_POINTER;
  *pin = GetConnected().Detach();
  return *pin != nullptr ? S_OK : VFW_E_NOT_CONNECTED;
}

HRESULT CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
  if (type == nullptr) return E_POINTER;
  const std::lock_guard guard(filter_.linkLock());
  // A connection that is only being made has no type yet.
  if (connected_ && !type_.empty()) return CopyMediaType(*type, type_.get());
  *type = AM_MEDIA_TYPE{};
  return VFW_E_NOT_CONNECTED;
}

HRESULT CBasePin::QueryPinInfo(PIN_INFO* info) {
  if (info == nullptr) return E_POINTER;
  info->pFilter = &filter_;
  info->pFilter->AddRef();
  info->dir = direction_;
  CopyText(info->achName, name_);
  return S_OK;
}

HRESULT CBasePin::QueryDirection(PIN_DIRECTION* direction) {
  if (direction == nullptr) return E_POINTER;
  *direction = direction_;
  return S_OK;
}

HRESULT CBasePin::QueryId(LPWSTR* id) {
  if (id == nullptr) return E_POINTER;
  *id = DuplicateText(id_);
  return *id != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CBasePin::QueryAccept(const AM_MEDIA_TYPE* type) {
  if (type == nullptr) return E_POINTER;
  return CheckMediaType(*type) == S_OK ? S_OK : S_FALSE;
}

HRESULT CBasePin::EnumMediaTypes(IEnumMediaTypes** enumerator) {
  if (enumerator == nullptr) return E_POINTER;
  *enumerator = new (std::nothrow) CEnumMediaTypes(*this, {MediaTypeVersion(), 0});
  if (*enumerator == nullptr) return E_OUTOFMEMORY;
  (*enumerator)->AddRef();
  return S_OK;
}

HRESULT CBasePin::QueryInternalConnections(IPin**, ULONG*) {
  return E_NOTIMPL;
}

HRESULT CBasePin::NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) {
  return S_OK;
}

HRESULT CBasePin::Notify(IBaseFilter*, Quality) {
  return E_NOTIMPL;
}

HRESULT CBasePin::SetSink(IQualityControl* sink) {
  const std::lock_guard guard(filter_.linkLock());
  qualitySink_ = sink;
  return S_OK;
}

ComPtr<IQualityControl> CBasePin::qualitySink() const {
  const std::lock_guard guard(filter_.linkLock());
  return ComPtr<IQualityControl>(qualitySink_);
}

HRESULT CBasePin::GetMediaType(int, CMediaType&) {
  return VFW_S_NO_MORE_ITEMS;
}

HRESULT CBaseInputPin::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(CBasePin, AnswerInterface<IMemInputPin>(this, iid, out));
}

HRESULT CBaseInputPin::CheckStreaming() {
  if (!IsConnected()) return VFW_E_NOT_CONNECTED;
  if (flushing_.load()) return S_FALSE;
  if (filter().IsStopped()) return VFW_E_WRONG_STATE;
  return runtimeError_.load() ? VFW_E_RUNTIME_ERROR : S_OK;
}

HRESULT CBaseInputPin::BeginFlush() {
  flushing_.store(true);
  return S_OK;
}

HRESULT CBaseInputPin::EndFlush() {
  flushing_.store(false);
  runtimeError_.store(false);
  return S_OK;
}

HRESULT CBaseInputPin::GetAllocator(IMemAllocator** allocator) {
  if (allocator == nullptr) return E_POINTER;
  *allocator = this->allocator().Detach();
  if (*allocator != nullptr) return S_OK;
  ComPtr<IMemAllocator> made;
  if (const HRESULT result = CreateMemoryAllocator(made.Put()); FAILED(result)) return result;
  const std::lock_guard guard(filter().linkLock());
  // Of two that ask at once, both get the same.
  if (!allocator_) allocator_ = made;
  *allocator = ComPtr<IMemAllocator>(allocator_).Detach();
  return S_OK;
}

HRESULT CBaseInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) {
  if (allocator == nullptr) return E_POINTER;
  readOnly_.store(readOnly != 0);
  filter().Link(allocator_, ComPtr<IMemAllocator>(allocator));
  return S_OK;
}

HRESULT CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) {
  return E_NOTIMPL;
}

HRESULT CBaseInputPin::ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) {
  if (samples == nullptr || processed == nullptr) return E_POINTER;
  *processed = 0;
  for (LONG i = 0; i < count; ++i) {
    if (const HRESULT result = Receive(samples[i]); result != S_OK) return result;
    ++*processed;
  }
  return S_OK;
}

HRESULT CBaseInputPin::Inactive() {
  runtimeError_.store(false);
  flushing_.store(false);
  const ComPtr<IMemAllocator> used = allocator();
  return used ? used->Decommit() : S_OK;
}

HRESULT CBaseInputPin::BreakConnect() {
  if (const ComPtr<IMemAllocator> used = allocator(); used) used->Decommit();
  filter().Link(allocator_, ComPtr<IMemAllocator>());
  readOnly_.store(false);
  return S_OK;
}

HRESULT CBaseOutputPin::CheckConnect(IPin* pin) {
  if (const HRESULT result = CBasePin::CheckConnect(pin); FAILED(result)) return result;
  const ComPtr<IMemInputPin> found = Query<IMemInputPin>(pin);
  filter().Link(peer_, found);
  return found ? S_OK : E_NOINTERFACE;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) {
  return DecideAllocator(*peer().Get());
}

HRESULT CBaseOutputPin::BreakConnect() {
  if (const ComPtr<IMemAllocator> used = allocator(); used) used->Decommit();
  UseAllocator(nullptr);
  filter().Link(peer_, ComPtr<IMemInputPin>());
  return S_OK;
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin& peer) {
  ALLOCATOR_PROPERTIES properties{};
  peer.GetAllocatorRequirements(&properties);
  if (properties.cbAlign == 0) properties.cbAlign = 1;
  ComPtr<IMemAllocator> theirs;
  if (SUCCEEDED(peer.GetAllocator(theirs.Put())) && SUCCEEDED(TryAllocator(peer, theirs.Get(), properties))) {
    return S_OK;
  }
  ComPtr<IMemAllocator> ours;
  if (const HRESULT result = CreateMemoryAllocator(ours.Put()); FAILED(result)) return result;
  return TryAllocator(peer, ours.Get(), properties);
}

HRESULT CBaseOutputPin::TryAllocator(IMemInputPin& peer, IMemAllocator* allocator, ALLOCATOR_PROPERTIES properties) {
  if (const HRESULT result = DecideBufferSize(*allocator, properties); FAILED(result)) return result;
  if (const HRESULT result = peer.NotifyAllocator(allocator, FALSE); FAILED(result)) return result;
  UseAllocator(allocator);
  return S_OK;
}

HRESULT CBaseOutputPin::Active() {
  const ComPtr<IMemAllocator> used = allocator();
  return used ? used->Commit() : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::Inactive() {
  const ComPtr<IMemAllocator> used = allocator();
  return used ? used->Decommit() : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                                          DWORD flags) {
  const ComPtr<IMemAllocator> used = allocator();
  return used ? used->GetBuffer(sample, start, stop, flags) : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* sample) {
  const ComPtr<IMemInputPin> to = peer();
  return to ? to->Receive(sample) : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
  const ComPtr<IPin> to = GetConnected();
  return to ? to->EndOfStream() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverBeginFlush() {
  const ComPtr<IPin> to = GetConnected();
  return to ? to->BeginFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndFlush() {
  const ComPtr<IPin> to = GetConnected();
  return to ? to->EndFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  const ComPtr<IPin> to = GetConnected();
  return to ? to->NewSegment(start, stop, rate) : VFW_E_NOT_CONNECTED;
}

}  // namespace korva
