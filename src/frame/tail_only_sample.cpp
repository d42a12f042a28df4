#include "frame/tail_only_sample.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "streaming/media_type.h"

namespace korva {

ComPtr<IMediaSample> TailOnlySample::Wrap(IMediaSample& source) {
  auto* const made = new (std::nothrow) TailOnlySample(source);
  if (made == nullptr) return {};
  made->SetActualDataLength(source.GetActualDataLength());
  CopyStamps(source, *made);
  if (AM_MEDIA_TYPE* type = nullptr; source.GetMediaType(&type) == S_OK) {
    made->SetMediaType(type);
    DeleteMediaType(type);
  }
  return ComPtr<IMediaSample>(made);
}

HRESULT TailOnlySample::QueryInterface(REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  // The properties of a sample show its memory, which is not there before it is asked for.
  if (iid == InterfaceId<IMediaSample2>()) return E_NOINTERFACE;
  if (iid != InterfaceId<ITailOnlySample>()) return CMediaSample::QueryInterface(iid, out);
  *out = static_cast<ITailOnlySample*>(this);
  AddRef();
  return S_OK;
}

HRESULT TailOnlySample::GetPointer(BYTE** buffer) {
  if (buffer == nullptr) return E_POINTER;
  *buffer = nullptr;
  const auto size = static_cast<std::size_t>(std::max<LONG>(GetSize(), 0));
  if (copy_.size() < size) {
    BYTE* bytes = nullptr;
    if (const HRESULT result = source_->GetPointer(&bytes); FAILED(result)) return result;
    if (!copy_.Allocate(size)) return E_OUTOFMEMORY;
    std::memcpy(copy_.data(), bytes,
                static_cast<std::size_t>(std::clamp<LONG>(source_->GetActualDataLength(), 0, GetSize())));
  }
  *buffer = copy_.data();
  return S_OK;
}

}  // namespace korva
