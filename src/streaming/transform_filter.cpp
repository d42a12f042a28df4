#include "streaming/transform_filter.h"

#include <memory>
#include <new>

namespace korva {

CTransformInputPin::CTransformInputPin(CTransformFilter& filter)
    : CBaseInputPin(filter, KORVA_WTEXT("Input"), KORVA_WTEXT("In")), transform_(filter) {}

HRESULT CTransformInputPin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  if (const HRESULT result = transform_.CheckInputType(type); result != S_OK) return result;
  CTransformOutputPin* const output = transform_.outputPin();
  CMediaType going;
  if (output == nullptr || FAILED(output->ConnectionMediaType(&going.get()))) return S_OK;
  return transform_.CheckTransform(type, going.get());
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

// A flush waits for no state change: it may come from a seek inside the end of the very stream that a stop waits for.
HRESULT CTransformInputPin::BeginFlush() {
  if (!IsConnected()) return VFW_E_NOT_CONNECTED;
  CBaseInputPin::BeginFlush();
  return transform_.BeginFlush();
}

HRESULT CTransformInputPin::EndFlush() {
  if (!IsConnected()) return VFW_E_NOT_CONNECTED;
  {
    // Nothing of the old stream may be on its way any more when the flush ends.
    const std::lock_guard wait(transform_.receiveLock());
  }
  const HRESULT result = transform_.EndFlush();
  CBaseInputPin::EndFlush();
  return result;
}

HRESULT CTransformInputPin::PassNotify(Quality quality) {
  if (const ComPtr<IQualityControl> sink = qualitySink(); sink) return sink->Notify(&transform_, quality);
  const ComPtr<IPin> peer = GetConnected();
  if (!peer) return VFW_E_NOT_CONNECTED;
  const ComPtr<IQualityControl> upstream = Query<IQualityControl>(peer.Get());
  return upstream ? upstream->Notify(&transform_, quality) : VFW_E_NO_SINK;
}

HRESULT CTransformInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  return transform_.NewSegment(start, stop, rate);
}

CTransformOutputPin::CTransformOutputPin(CTransformFilter& filter)
    : CBaseOutputPin(filter, KORVA_WTEXT("Output"), KORVA_WTEXT("Out")),
      transform_(filter),
      seeking_(static_cast<IPin*>(this), filter) {}

HRESULT CTransformOutputPin::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(CBaseOutputPin, (AnswerInterface<IMediaSeeking, IMediaPosition>(&seeking_, iid, out)));
}

HRESULT CTransformOutputPin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  CTransformInputPin* const input = transform_.inputPin();
  CMediaType coming;
  if (input == nullptr || FAILED(input->ConnectionMediaType(&coming.get()))) return E_INVALIDARG;
  return transform_.CheckTransform(coming.get(), type);
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
  if (const ComPtr<IQualityControl> sink = qualitySink(); sink) return sink->Notify(&transform_, quality);
  CTransformInputPin* const input = transform_.inputPin();
  return input != nullptr ? input->PassNotify(quality) : VFW_E_NOT_CONNECTED;
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
  delete input_.load();
  delete output_.load();
}

CTransformInputPin* CTransformFilter::CreateInputPin() {
  return new (std::nothrow) CTransformInputPin(*this);
}

CTransformOutputPin* CTransformFilter::CreateOutputPin() {
  return new (std::nothrow) CTransformOutputPin(*this);
}

CBasePin* CTransformFilter::GetPin(int n) {
  if (outputPin() == nullptr && !MakePins()) return nullptr;
  if (n == 0) return inputPin();
  return n == 1 ? outputPin() : nullptr;
}

bool CTransformFilter::MakePins() {
  std::unique_ptr<CTransformInputPin> input(CreateInputPin());
  if (!input) return false;
  std::unique_ptr<CTransformOutputPin> output(CreateOutputPin());
  if (!output) return false;
  const std::lock_guard guard(linkLock());
  // Of two that ask at once, the first one's pins stay.
  if (outputPin() == nullptr) {
    input_.store(input.release());
    output_.store(output.release());
  }
  return true;
}

HRESULT CTransformFilter::Stop() {
  const std::lock_guard guard(filterLock());
  if (IsStopped()) return S_OK;
  // Both decommits come before the receive lock: a streaming thread that waits for a buffer holds that lock.
  if (inputPin() != nullptr && inputPin()->IsConnected()) inputPin()->Inactive();
  if (outputPin() != nullptr && outputPin()->IsConnected()) outputPin()->Inactive();
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
  if (inputPin() != nullptr && inputPin()->IsConnected() && outputPin() != nullptr && outputPin()->IsConnected()) {
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
  return outputPin() != nullptr ? outputPin()->DeliverEndOfStream() : S_OK;
}

HRESULT CTransformFilter::BeginFlush() {
  return outputPin() != nullptr ? outputPin()->DeliverBeginFlush() : S_OK;
}

HRESULT CTransformFilter::EndFlush() {
  return outputPin() != nullptr ? outputPin()->DeliverEndFlush() : S_OK;
}

HRESULT CTransformFilter::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
  return outputPin() != nullptr ? outputPin()->DeliverNewSegment(start, stop, rate) : S_OK;
}

}  // namespace korva
