#include "streaming/media_type.h"

#include <cstring>

#include "platform/services.h"

namespace korva {
namespace {

/// Whether two format blocks are the same. A block that claims a length and is not there is like no other.
bool SameBlock(const AM_MEDIA_TYPE& left, const AM_MEDIA_TYPE& right) noexcept {
  if (left.cbFormat != right.cbFormat) return false;
  if (left.cbFormat == 0) return true;
  return left.pbFormat != nullptr && right.pbFormat != nullptr &&
         std::memcmp(left.pbFormat, right.pbFormat, left.cbFormat) == 0;
}

}  // namespace

HRESULT CopyMediaType(AM_MEDIA_TYPE& target, const AM_MEDIA_TYPE& source) noexcept {
  AM_MEDIA_TYPE copy = source;
  copy.pbFormat = nullptr;
  copy.cbFormat = 0;
  if (source.cbFormat != 0 && source.pbFormat != nullptr) {
    copy.pbFormat = static_cast<BYTE*>(platform::AllocateTaskMemory(source.cbFormat));
    if (copy.pbFormat == nullptr) {
      target = AM_MEDIA_TYPE{};
      return E_OUTOFMEMORY;
    }
    copy.cbFormat = source.cbFormat;
    std::memcpy(copy.pbFormat, source.pbFormat, source.cbFormat);
  }
  if (copy.pUnk != nullptr) copy.pUnk->AddRef();
  target = copy;
  return S_OK;
}

void FreeMediaType(AM_MEDIA_TYPE& type) noexcept {
  platform::FreeTaskMemory(type.pbFormat);
  if (type.pUnk != nullptr) type.pUnk->Release();
  type = AM_MEDIA_TYPE{};
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE& source) noexcept {
  auto* copy = static_cast<AM_MEDIA_TYPE*>(platform::AllocateTaskMemory(sizeof(AM_MEDIA_TYPE)));
  if (copy == nullptr) return nullptr;
  if (FAILED(CopyMediaType(*copy, source))) {
    platform::FreeTaskMemory(copy);
    return nullptr;
  }
  return copy;
}

void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept {
  if (type == nullptr) return;
  FreeMediaType(*type);
  platform::FreeTaskMemory(type);
}

bool SameMediaType(const AM_MEDIA_TYPE& left, const AM_MEDIA_TYPE& right) noexcept {
  return left.majortype == right.majortype && left.subtype == right.subtype && left.formattype == right.formattype &&
         SameBlock(left, right);
}

bool MatchesMediaType(const AM_MEDIA_TYPE& type, const AM_MEDIA_TYPE& wanted) noexcept {
  if (wanted.majortype != GUID_NULL && wanted.majortype != type.majortype) return false;
  if (wanted.subtype != GUID_NULL && wanted.subtype != type.subtype) return false;
  if (wanted.formattype == GUID_NULL) return true;
  return wanted.formattype == type.formattype && (wanted.cbFormat == 0 || SameBlock(wanted, type));
}

bool IsPartialMediaType(const AM_MEDIA_TYPE& type) noexcept {
  return type.majortype == GUID_NULL || type.formattype == GUID_NULL;
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& source) noexcept {
  if (&source == &type_) return S_OK;
  AM_MEDIA_TYPE copy;
  if (const HRESULT result = CopyMediaType(copy, source); FAILED(result)) return result;
  FreeMediaType(type_);
  type_ = copy;
  return S_OK;
}

HRESULT CMediaType::SetWave(const FormatRecord& format) noexcept {
  AM_MEDIA_TYPE type{};
  type.majortype = MEDIATYPE_Audio;
  type.subtype = format.formatTag == kTagFloat ? MEDIASUBTYPE_IEEE_FLOAT : MEDIASUBTYPE_PCM;
  type.bFixedSizeSamples = TRUE;
  type.lSampleSize = format.blockAlign;
  type.formattype = FORMAT_WaveFormatEx;
  FormatRecord block = format;
  type.cbFormat = sizeof block;
  type.pbFormat = reinterpret_cast<BYTE*>(&block);
  return Set(type);
}

}  // namespace korva
