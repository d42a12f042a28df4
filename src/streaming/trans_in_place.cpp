#include "streaming/trans_in_place.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "streaming/allocator.h"
#include "streaming/media_sample.h"

namespace korva {
namespace {

/// Whether a type that fits this filter also fits the connection on its other side: there it must be the type in use,
/// or one that the pin at the far end would change to.
HRESULT CheckAgainst(CBasePin* other, const AM_MEDIA_TYPE& type) {
  const ComPtr<IPin> beyond = other != nullptr ? other->GetConnected() : ComPtr<IPin>();
  CMediaType used;
  if (!beyond || FAILED(other->ConnectionMediaType(&used.get()))) return S_OK;
  if (SameMediaType(used.get(), type)) return S_OK;
  return beyond->QueryAccept(&type);
}

/// The types of the pin at the far end of `other`: an in-place transform has none of its own to propose.
HRESULT EnumTypesBeyond(const CBasePin* other, IEnumMediaTypes** enumerator) {
  if (enumerator == nullptr) return E_POINTER;
  *enumerator = nullptr;
  const ComPtr<IPin> beyond = other != nullptr ? other->GetConnected() : ComPtr<IPin>();
  return beyond ? beyond->EnumMediaTypes(enumerator) : VFW_E_NOT_CONNECTED;
}

bool Meets(const ALLOCATOR_PROPERTIES& has, const ALLOCATOR_PROPERTIES& wanted) {
  return has.cBuffers >= wanted.cBuffers && has.cbBuffer >= wanted.cbBuffer && has.cbPrefix >= wanted.cbPrefix &&
         (wanted.cbAlign <= 1 || (has.cbAlign != 0 && has.cbAlign % wanted.cbAlign == 0));
}

/// Raises the properties of `allocator` to what a pin downstream wants, where they fall short of it.
HRESULT Accommodate(IMemAllocator& allocator, const ALLOCATOR_PROPERTIES& wanted) {
  ALLOCATOR_PROPERTIES has{};
  if (const HRESULT result = allocator.GetProperties(&has); FAILED(result)) return result;
  if (Meets(has, wanted)) return S_OK;
  ALLOCATOR_PROPERTIES more = has;
  more.cBuffers = std::max(has.cBuffers, wanted.cBuffers);
  more.cbBuffer = std::max(has.cbBuffer, wanted.cbBuffer);
  more.cbPrefix = std::max(has.cbPrefix, wanted.cbPrefix);
  more.cbAlign = std::max(has.cbAlign, wanted.cbAlign);
  if (more.cBuffers == 0 || more.cbAlign == 0) return S_OK;  // not set up yet: whoever sets it up asks for these
  ALLOCATOR_PROPERTIES actual{};
  if (const HRESULT result = allocator.SetProperties(&more, &actual); FAILED(result)) return result;
  return Meets(actual, wanted) ? S_OK : E_FAIL;
}

}  // namespace

CTransInPlaceInputPin::CTransInPlaceInputPin(CTransInPlaceFilter& filter)
    : CTransformInputPin(filter), inPlace_(filter) {}

HRESULT CTransInPlaceInputPin::EnumMediaTypes(IEnumMediaTypes** enumerator) {
  return EnumTypesBeyond(inPlace_.outputPin(), enumerator);
}

HRESULT CTransInPlaceInputPin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  if (const HRESULT result = inPlace_.CheckInputType(type); result != S_OK) return result;
  return CheckAgainst(inPlace_.outputPin(), type);
}

HRESULT CTransInPlaceInputPin::GetAllocator(IMemAllocator** allocator) {
  if (allocator == nullptr) return E_POINTER;
  *allocator = nullptr;
  const CTransformOutputPin* const output = inPlace_.outputPin();
  if (output != nullptr && output->IsConnected()) *allocator = output->allocator().Detach();
  return *allocator != nullptr ? S_OK : CTransformInputPin::GetAllocator(allocator);
}

HRESULT CTransInPlaceInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) {
  if (allocator == nullptr) return E_POINTER;
  auto* const output = static_cast<CTransInPlaceOutputPin*>(inPlace_.outputPin());
  const bool connected = output != nullptr && output->IsConnected();
  const bool shared = connected && output->allocator().Get() == allocator;
  if (shared && readOnly != 0) {
    // A copy would wait for the very buffer that upstream holds.
    if (const HRESULT result = output->LeaveAllocator(*allocator); FAILED(result)) return result;
  }
  if (const HRESULT result = CTransformInputPin::NotifyAllocator(allocator, readOnly); FAILED(result)) return result;
  if (connected && !shared) output->ShareAllocator(*allocator, readOnly);
  return S_OK;
}

HRESULT CTransInPlaceInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) {
  if (properties == nullptr) return E_POINTER;
  const CTransformOutputPin* const output = inPlace_.outputPin();
  const ComPtr<IMemInputPin> beyond = output != nullptr ? output->peer() : ComPtr<IMemInputPin>();
  return beyond ? beyond->GetAllocatorRequirements(properties) : E_NOTIMPL;
}

CTransInPlaceOutputPin::CTransInPlaceOutputPin(CTransInPlaceFilter& filter)
    : CTransformOutputPin(filter), inPlace_(filter) {}

HRESULT CTransInPlaceOutputPin::EnumMediaTypes(IEnumMediaTypes** enumerator) {
  return EnumTypesBeyond(inPlace_.inputPin(), enumerator);
}

HRESULT CTransInPlaceOutputPin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  if (const HRESULT result = inPlace_.CheckInputType(type); result != S_OK) return result;
  return CheckAgainst(inPlace_.inputPin(), type);
}

HRESULT CTransInPlaceOutputPin::DecideAllocator(IMemInputPin& peer) {
  const CTransformInputPin* const input = inPlace_.inputPin();
  const ComPtr<IMemAllocator> upstream = input != nullptr ? input->allocator() : ComPtr<IMemAllocator>();
  if (!upstream || !input->IsConnected() || input->IsReadOnly()) return CTransformOutputPin::DecideAllocator(peer);
  ALLOCATOR_PROPERTIES wanted{};
  peer.GetAllocatorRequirements(&wanted);
  if (SUCCEEDED(Accommodate(*upstream.Get(), wanted)) && SUCCEEDED(peer.NotifyAllocator(upstream.Get(), FALSE))) {
    UseAllocator(upstream.Get());
    return S_OK;
  }
  return CTransformOutputPin::DecideAllocator(peer);
}

void CTransInPlaceOutputPin::ShareAllocator(IMemAllocator& allocator, BOOL readOnly) {
  const ComPtr<IMemInputPin> beyond = peer();
  if (!beyond) return;
  ALLOCATOR_PROPERTIES wanted{};
  beyond->GetAllocatorRequirements(&wanted);
  if (readOnly == 0 && SUCCEEDED(Accommodate(allocator, wanted)) &&
      SUCCEEDED(beyond->NotifyAllocator(&allocator, FALSE))) {
    UseAllocator(&allocator);
    return;
  }
  // Two allocators then, and a copy for each sample: the buffers downstream must hold what comes from upstream.
  const ComPtr<IMemAllocator> own = this->allocator();
  ALLOCATOR_PROPERTIES upstream{};
  if (own && SUCCEEDED(allocator.GetProperties(&upstream))) {
    ALLOCATOR_PROPERTIES least{1, upstream.cbBuffer, 1, 0};
    Accommodate(*own.Get(), least);
  }
}

HRESULT CTransInPlaceOutputPin::LeaveAllocator(IMemAllocator& allocator) {
  const ComPtr<IMemInputPin> beyond = peer();
  if (!beyond) return VFW_E_NOT_CONNECTED;
  ALLOCATOR_PROPERTIES properties{};
  if (const HRESULT result = allocator.GetProperties(&properties); FAILED(result)) return result;
  ComPtr<IMemAllocator> own;
  if (const HRESULT result = CreateMemoryAllocator(own.Put()); FAILED(result)) return result;
  return TryAllocator(*beyond.Get(), own.Get(), properties);
}

HRESULT CTransInPlaceFilter::DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) {
  // Buffers as large and as many as upstream's; before upstream is there, one of the least size, which the input's
  // connection sets anew.
  ALLOCATOR_PROPERTIES request{1, 1, 1, 0};
  const CTransformInputPin* const input = inputPin();
  const ComPtr<IMemAllocator> upstream = input != nullptr ? input->allocator() : ComPtr<IMemAllocator>();
  if (upstream && input->IsConnected()) {
    if (const HRESULT result = upstream->GetProperties(&request); FAILED(result)) return result;
  }
  request.cBuffers = std::max({request.cBuffers, properties.cBuffers, LONG{1}});
  request.cbBuffer = std::max({request.cbBuffer, properties.cbBuffer, LONG{1}});
  request.cbAlign = std::max({request.cbAlign, properties.cbAlign, LONG{1}});
  request.cbPrefix = std::max(request.cbPrefix, properties.cbPrefix);
  ALLOCATOR_PROPERTIES actual{};
  if (const HRESULT result = allocator.SetProperties(&request, &actual); FAILED(result)) return result;
  properties = actual;
  return actual.cbBuffer >= request.cbBuffer && actual.cBuffers >= request.cBuffers ? S_OK : E_FAIL;
}

HRESULT CTransInPlaceFilter::CompleteConnect(PIN_DIRECTION direction, IPin*) {
  CBasePin* const own = direction == PINDIR_INPUT ? static_cast<CBasePin*>(inputPin()) : outputPin();
  CBasePin* const other = direction == PINDIR_INPUT ? static_cast<CBasePin*>(outputPin()) : inputPin();
  if (other == nullptr || !other->IsConnected()) return S_OK;
  if (SameMediaType(own->connectionType().get(), other->connectionType().get())) return S_OK;
  return ReconnectPin(other);
}

CTransformInputPin* CTransInPlaceFilter::CreateInputPin() {
  return new (std::nothrow) CTransInPlaceInputPin(*this);
}

CTransformOutputPin* CTransInPlaceFilter::CreateOutputPin() {
  return new (std::nothrow) CTransInPlaceOutputPin(*this);
}

HRESULT CTransInPlaceFilter::Writable(IMediaSample* sample, ComPtr<IMediaSample>& writable) {
  const CTransformInputPin* const input = inputPin();
  const CTransformOutputPin* const output = outputPin();
  const bool shared = !input->IsReadOnly() && input->allocator().Get() == output->allocator().Get();
  if (!shared) return CopySample(*sample, writable);
  writable = ComPtr<IMediaSample>(sample);
  return S_OK;
}

HRESULT CTransInPlaceFilter::CopySample(IMediaSample& source, ComPtr<IMediaSample>& copy) {
  if (const HRESULT result = outputPin()->GetDeliveryBuffer(copy.Put(), nullptr, nullptr, 0); FAILED(result)) {
    return result;
  }
  BYTE* from = nullptr;
  BYTE* to = nullptr;
  const LONG length = source.GetActualDataLength();
  if (length > copy->GetSize()) return VFW_E_BUFFER_OVERFLOW;
  HRESULT result = source.GetPointer(&from);
  if (SUCCEEDED(result)) result = copy->GetPointer(&to);
  if (FAILED(result)) return result;
  if (length > 0) std::memcpy(to, from, static_cast<std::size_t>(length));
  copy->SetActualDataLength(length);
  CopyStamps(source, *copy.Get());
  return S_OK;
}

}  // namespace korva
