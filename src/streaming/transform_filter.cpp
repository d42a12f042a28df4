#include "streaming/transform_filter.h"

#include <new>

#include "streaming/seeking_pass_through.h"

namespace korva {

CTransformInputPin::CTransformInputPin(CTransformFilter& filter)
    : CBaseInputPin(filter, KORVA_WTEXT("Input"), KORVA_WTEXT("In")), transform_(filter) {}

HRESULT CTransformInputPin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  if (const HRESULT result = transform_.CheckInputType(type); result != S_OK) return result;
  const CTransformOutputPin* const output = transform_.outputPin();
  if (output == nullptr || !output->IsConnected()) return S_OK;
  return transform_.CheckTransform(type, output->connectionType().get());
}

HRESULT CTransformInputPin::SetMediaType(const AM_MEDIA_TYPE& type) {
  if (const HRESULT result = CBaseInputPin::SetMediaType(type); FAILED(result)) return result;
  return transform_.SetMediaType(PINDIR_INPUT, type);
}

HRESULT CTransformInputPin::CompleteConnect(IPin* pin) {
  if (const HRESULT result = transform_.CompleteConnect(PINDIR_INPUT, pin); FAILED(result)) return result;
  return CBaseInputPin::CompleteConnect(pin);
}

HRESULT CTransformInputPin::BreakConnect() {
  transform_.BreakConnect(PINDIR_INPUT);
  return CBaseInputPin::BreakConnect();
}

HRESULT CTransformInputPin::CheckStreaming() {
  const CTransformOutputPin* const output = transform_.outputPin();
  if (output == nullptr || !output->IsConnected()) return VFW_E_NOT_CONNECTED;
  return CBaseInputPin::CheckStreaming();
}

HRESULT CTransformInputPin::Receive(IMediaSample* sample) {
  const std::lock_guard guard(transform_.receiveLock());
  if (sample == nullptr) return E_POINTER;
  if (const HRESULT result = CheckStreaming(); result != S_OK) return result;
  return transform_.Receive(sample);
}

HRESULT CTransformInputPin::EndOfStream() {
  const std::lock_guard guard(transform_.receiveLock());
  if (const HRESULT result = CheckStreaming(); result != S_OK) return result;
  return transform_.EndOfStream();
}

HRESULT CTransformInputPin::BeginFlush() {
  const std::lock_guard guard(transform_.filterLock());
  if (!IsConnected()) return VFW_E_NOT_CONNECTED;
  CBaseInputPin::BeginFlush();
  return transform_.BeginFlush();
}

HRESULT CTransformInputPin::EndFlush() {
  const std::lock_guard guard(transform_.filterLock());
  if (!IsConnected()) return VFW_E_NOT_CONNECTED;
  {
    // Nothing of the old stream may be on its way any more when the flush ends.
    const std::lock_guard wait(transform_.receiveLock());
  }
  const HRESULT result = transform_.EndFlush();
  CBaseInputPin::EndFlush();
  return result;
}

HRESULT CTransformInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  return transform_.NewSegment(start, stop, rate);
}

CTransformOutputPin::CTransformOutputPin(CTransformFilter& filter)
    : CBaseOutputPin(filter, KORVA_WTEXT("Output"), KORVA_WTEXT("Out")), transform_(filter) {}

CTransformOutputPin::~CTransformOutputPin() {
  if (seeking_ != nullptr) seeking_->InnerUnknown()->Release();
}

HRESULT CTransformOutputPin::NonDelegatingQueryInterface(REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  if (iid != InterfaceId<IMediaSeeking>()) return CBaseOutputPin::NonDelegatingQueryInterface(iid, out);
  const std::lock_guard guard(transform_.filterLock());
  if (seeking_ == nullptr) {
    *out = nullptr;
    CTransformInputPin* const input = transform_.inputPin();
    if (input == nullptr) return E_NOINTERFACE;
    seeking_ = new (std::nothrow) CSeekingPassThru(static_cast<IPin*>(this), *input);
    if (seeking_ == nullptr) return E_OUTOFMEMORY;
    seeking_->InnerUnknown()->AddRef();
  }
  return seeking_->NonDelegatingQueryInterface(iid, out);
}

HRESULT CTransformOutputPin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  const CTransformInputPin* const input = transform_.inputPin();
  if (input == nullptr || !input->IsConnected()) return E_INVALIDARG;
  return transform_.CheckTransform(input->connectionType().get(), type);
}

HRESULT CTransformOutputPin::SetMediaType(const AM_MEDIA_TYPE& type) {
  if (const HRESULT result = CBaseOutputPin::SetMediaType(type); FAILED(result)) return result;
  return transform_.SetMediaType(PINDIR_OUTPUT, type);
}

HRESULT CTransformOutputPin::GetMediaType(int position, CMediaType& type) {
  const CTransformInputPin* const input = transform_.inputPin();
  if (input == nullptr || !input->IsConnected()) return VFW_S_NO_MORE_ITEMS;
  return transform_.GetMediaType(position, type);
}

HRESULT CTransformOutputPin::Notify(IBaseFilter*, Quality quality) {
  if (const HRESULT result = transform_.AlterQuality(quality); result != S_FALSE) return result;
  // What this filter cannot do for a late renderer, a filter upstream may.
  const CTransformInputPin* const input = transform_.inputPin();
  if (input == nullptr || !input->IsConnected()) return VFW_E_NOT_CONNECTED;
  const ComPtr<IQualityControl> upstream = Query<IQualityControl>(input->GetConnected());
  return upstream ? upstream->Notify(&transform_, quality) : VFW_E_NO_SINK;
}

HRESULT CTransformOutputPin::CompleteConnect(IPin* pin) {
  if (const HRESULT result = transform_.CompleteConnect(PINDIR_OUTPUT, pin); FAILED(result)) return result;
  return CBaseOutputPin::CompleteConnect(pin);
}

HRESULT CTransformOutputPin::BreakConnect() {
  transform_.BreakConnect(PINDIR_OUTPUT);
  return CBaseOutputPin::BreakConnect();
}

HRESULT CTransformOutputPin::DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) {
  return transform_.DecideBufferSize(allocator, properties);
}

CTransformFilter::~CTransformFilter() {
  delete input_;
  delete output_;
}

CTransformInputPin* CTransformFilter::CreateInputPin() {
  return new (std::nothrow) CTransformInputPin(*this);
}

CTransformOutputPin* CTransformFilter::CreateOutputPin() {
  return new (std::nothrow) CTransformOutputPin(*this);
}

CBasePin* CTransformFilter::GetPin(int n) {
  const std::lock_guard guard(filterLock());
  if (input_ == nullptr) {
    CTransformInputPin* const input = CreateInputPin();
    if (input == nullptr) return nullptr;
    output_ = CreateOutputPin();
    if (output_ == nullptr) {
      delete input;
      return nullptr;
    }
    input_ = input;
  }
  if (n == 0) return input_;
  return n == 1 ? output_ : nullptr;
}

HRESULT CTransformFilter::Stop() {
  const std::lock_guard guard(filterLock());
  if (IsStopped()) return S_OK;
  // Both decommits come before the receive lock: a streaming thread that waits for a buffer holds that lock.
  if (input_ != nullptr && input_->IsConnected()) input_->Inactive();
  if (output_ != nullptr && output_->IsConnected()) output_->Inactive();
  const std::lock_guard wait(receiveLock_);
  const bool started = started_;
  started_ = false;
  SetState(State_Stopped);
  return started ? StopStreaming() : S_OK;
}

HRESULT CTransformFilter::Pause() {
  const std::lock_guard guard(filterLock());
  if (!IsStopped()) {
    SetState(State_Paused);
    return S_OK;
  }
  const std::lock_guard wait(receiveLock_);
  // A filter that lacks a connection follows its graph's state and does no work.
  if (input_ != nullptr && input_->IsConnected() && output_ != nullptr && output_->IsConnected()) {
    if (const HRESULT result = StartStreaming(); FAILED(result)) return result;
    started_ = true;
  }
  const HRESULT result = CBaseFilter::Pause();
  if (FAILED(result) && started_) {
    started_ = false;
    StopStreaming();
  }
  return result;
}

HRESULT CTransformFilter::EndOfStream() {
  return output_ != nullptr ? output_->DeliverEndOfStream() : S_OK;
}

HRESULT CTransformFilter::BeginFlush() {
  return output_ != nullptr ? output_->DeliverBeginFlush() : S_OK;
}

HRESULT CTransformFilter::EndFlush() {
  return output_ != nullptr ? output_->DeliverEndFlush() : S_OK;
}

HRESULT CTransformFilter::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  return output_ != nullptr ? output_->DeliverNewSegment(start, stop, rate) : S_OK;
}

}  // namespace korva
