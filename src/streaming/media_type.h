#pragma once

#include <utility>

#include "audio/format_record.h"
#include "platform/media.h"

namespace korva {

/// Copies a media type with its format block (task memory). `E_OUTOFMEMORY` leaves `target` empty.
HRESULT CopyMediaType(AM_MEDIA_TYPE& target, const AM_MEDIA_TYPE& source) noexcept;

/// Frees what a media type holds and empties it.
void FreeMediaType(AM_MEDIA_TYPE& type) noexcept;

/// A copy in task memory that the receiver frees with `DeleteMediaType`; null if there is no memory.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE& source) noexcept;
void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept;

/// Whether two types are the same in every field, block included.
bool SameMediaType(const AM_MEDIA_TYPE& left, const AM_MEDIA_TYPE& right) noexcept;

/// Whether `wanted`, which may leave major type, subtype or format open, is met by `type`.
bool MatchesMediaType(const AM_MEDIA_TYPE& type, const AM_MEDIA_TYPE& wanted) noexcept;
/// Whether `type` leaves its major type or format open.
bool IsPartialMediaType(const AM_MEDIA_TYPE& type) noexcept;

/// A media type that owns its format block.
class CMediaType {
 public:
  CMediaType() = default;
  CMediaType(const CMediaType&) = delete;
  CMediaType& operator=(const CMediaType&) = delete;
  ~CMediaType() { Reset(); }

  HRESULT Set(const AM_MEDIA_TYPE& source) noexcept;
  /// An audio type with `format` as its block.
  HRESULT SetWave(const FormatRecord& format) noexcept;
  void Reset() noexcept { FreeMediaType(type_); }
  void Swap(CMediaType& other) noexcept { std::swap(type_, other.type_); }

  bool empty() const noexcept { return type_.majortype == GUID_NULL; }
  const AM_MEDIA_TYPE& get() const noexcept { return type_; }
  AM_MEDIA_TYPE& get() noexcept { return type_; }
  const AM_MEDIA_TYPE* operator->() const noexcept { return &type_; }

 private:
  AM_MEDIA_TYPE type_{};
};

}  // namespace korva
