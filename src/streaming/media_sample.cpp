#include "streaming/media_sample.h"

#include <algorithm>
#include <cstring>

#include "audio/wrapping.h"
#include "streaming/allocator.h"
#include "streaming/media_type.h"

namespace korva {

CMediaSample::~CMediaSample() {
  DeleteMediaType(type_);
}

void CMediaSample::Clear() noexcept {
  DeleteMediaType(type_);
  type_ = nullptr;
  flags_ = 0;
  typeSpecificFlags_ = 0;
  streamId_ = AM_STREAM_MEDIA;
  hasMediaTime_ = false;
  actual_ = size_;
}

void CMediaSample::LetGo() {
  if (allocator_ != nullptr) {
    allocator_->ReleaseBuffer(this);
  } else {
    delete this;
  }
}

HRESULT CMediaSample::GetPointer(BYTE** buffer) {
  if (buffer == nullptr) return E_POINTER;
  *buffer = buffer_;
  return S_OK;
}

HRESULT CMediaSample::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) {
  if (start == nullptr || stop == nullptr) return E_POINTER;
  if ((flags_ & AM_SAMPLE_TIMEVALID) == 0) return VFW_E_SAMPLE_TIME_NOT_SET;
  *start = start_;
  if ((flags_ & AM_SAMPLE_STOPVALID) == 0) {
    *stop = WrappingSum(start_, 1);
    return VFW_S_NO_STOP_TIME;
  }
  *stop = stop_;
  return S_OK;
}

HRESULT CMediaSample::SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) {
  if (start == nullptr) {
    if (stop != nullptr) return E_INVALIDARG;
    flags_ &= ~static_cast<DWORD>(AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID);
    return S_OK;
  }
  start_ = *start;
  SetFlag(AM_SAMPLE_TIMEVALID, TRUE);
  SetFlag(AM_SAMPLE_STOPVALID, stop != nullptr);
  if (stop != nullptr) stop_ = *stop;
  return S_OK;
}

HRESULT CMediaSample::SetActualDataLength(LONG length) {
  if (length < 0 || length > size_) return VFW_E_BUFFER_OVERFLOW;
  actual_ = length;
  return S_OK;
}

HRESULT CMediaSample::GetMediaType(AM_MEDIA_TYPE** type) {
  if (type == nullptr) return E_POINTER;
  *type = nullptr;
  if (type_ == nullptr) return S_FALSE;
  *type = CreateMediaType(*type_);
  return *type != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CMediaSample::SetMediaType(AM_MEDIA_TYPE* type) {
  AM_MEDIA_TYPE* copy = nullptr;
  if (type != nullptr) {
    copy = CreateMediaType(*type);
    if (copy == nullptr) return E_OUTOFMEMORY;
  }
  DeleteMediaType(type_);
  type_ = copy;
  return SetFlag(AM_SAMPLE_TYPECHANGED, copy != nullptr);
}

HRESULT CMediaSample::GetMediaTime(LONGLONG* start, LONGLONG* stop) {
  if (start == nullptr || stop == nullptr) return E_POINTER;
  if (!hasMediaTime_) return VFW_E_MEDIA_TIME_NOT_SET;
  *start = mediaStart_;
  *stop = mediaStop_;
  return S_OK;
}

HRESULT CMediaSample::SetMediaTime(LONGLONG* start, LONGLONG* stop) {
  if (start == nullptr) {
    if (stop != nullptr) return E_INVALIDARG;
    hasMediaTime_ = false;
    return S_OK;
  }
  if (stop == nullptr) return E_POINTER;
  if (*stop < *start) return E_INVALIDARG;
  mediaStart_ = *start;
  mediaStop_ = *stop;
  hasMediaTime_ = true;
  return S_OK;
}

HRESULT CMediaSample::GetProperties(DWORD bytes, BYTE* properties) {
  if (properties == nullptr) return bytes == 0 ? S_OK : E_POINTER;
  AM_SAMPLE2_PROPERTIES own{};
  own.cbData = std::min(bytes, static_cast<DWORD>(sizeof own));
  own.dwTypeSpecificFlags = typeSpecificFlags_;
  own.dwSampleFlags = flags_;
  own.lActual = actual_;
  own.tStart = start_;
  own.tStop = stop_;
  own.dwStreamId = streamId_;
  own.pMediaType = type_;
  own.pbBuffer = buffer_;
  own.cbBuffer = size_;
  std::memcpy(properties, &own, own.cbData);
  return S_OK;
}

HRESULT CMediaSample::SetProperties(DWORD bytes, const BYTE* properties) {
  if (properties == nullptr) return bytes == 0 ? S_OK : E_POINTER;
  DWORD cbData = 0;
  if (bytes < sizeof cbData) return E_INVALIDARG;
  std::memcpy(&cbData, properties, sizeof cbData);
  // A caller may know fewer fields than there are; those it leaves out keep what they hold.
  AM_SAMPLE2_PROPERTIES wanted{};
  GetProperties(sizeof wanted, reinterpret_cast<BYTE*>(&wanted));
  wanted.pMediaType = type_;
  std::memcpy(&wanted, properties, std::min({bytes, cbData, static_cast<DWORD>(sizeof wanted)}));
  // A sample's buffer cannot be changed through it.
  if (wanted.pbBuffer != buffer_ || wanted.cbBuffer != size_) return E_INVALIDARG;
  if (const HRESULT result = SetActualDataLength(wanted.lActual); FAILED(result)) return result;
  if (wanted.pMediaType != type_) {
    if (const HRESULT result = SetMediaType(wanted.pMediaType); FAILED(result)) return result;
  }
  typeSpecificFlags_ = wanted.dwTypeSpecificFlags;
  streamId_ = wanted.dwStreamId;
  start_ = wanted.tStart;
  stop_ = wanted.tStop;
  flags_ = wanted.dwSampleFlags;
  SetFlag(AM_SAMPLE_TYPECHANGED, type_ != nullptr);
  return S_OK;
}

void CopyStamps(IMediaSample& source, IMediaSample& target) {
  REFERENCE_TIME start = 0, stop = 0;
  if (const HRESULT times = source.GetTime(&start, &stop); SUCCEEDED(times)) {
    target.SetTime(&start, times == VFW_S_NO_STOP_TIME ? nullptr : &stop);
  }
  LONGLONG mediaStart = 0, mediaStop = 0;
  if (SUCCEEDED(source.GetMediaTime(&mediaStart, &mediaStop))) target.SetMediaTime(&mediaStart, &mediaStop);
  target.SetSyncPoint(source.IsSyncPoint() == S_OK);
  target.SetPreroll(source.IsPreroll() == S_OK);
  target.SetDiscontinuity(source.IsDiscontinuity() == S_OK);
}

}  // namespace korva
