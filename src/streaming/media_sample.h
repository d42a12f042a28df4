#pragma once

#include <cstdint>

#include "platform/media.h"
#include "streaming/counted.h"

namespace korva {

class CBaseAllocator;

/// A buffer of a stream with its stamps and flags. It belongs to an allocator: the last `Release` gives it back there
/// and empties it.
///
/// The buffer itself is the allocator's. Not locked: a sample is in one pair of hands at a time.
class CMediaSample : public Counted<InterfaceList<IMediaSample2>, IMediaSample> {
 public:
  CMediaSample(CBaseAllocator& allocator, BYTE* buffer, LONG size) noexcept
      : allocator_(&allocator), buffer_(buffer), size_(size) {}

  HRESULT GetPointer(BYTE** buffer) override;
  LONG GetSize() override { return size_; }
  HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override;
  HRESULT SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override;
  HRESULT IsSyncPoint() override { return Flag(AM_SAMPLE_SPLICEPOINT); }
  HRESULT SetSyncPoint(BOOL on) override { return SetFlag(AM_SAMPLE_SPLICEPOINT, on); }
  HRESULT IsPreroll() override { return Flag(AM_SAMPLE_PREROLL); }
  HRESULT SetPreroll(BOOL on) override { return SetFlag(AM_SAMPLE_PREROLL, on); }
  LONG GetActualDataLength() override { return actual_; }
  HRESULT SetActualDataLength(LONG length) override;
  HRESULT GetMediaType(AM_MEDIA_TYPE** type) override;
  HRESULT SetMediaType(AM_MEDIA_TYPE* type) override;
  HRESULT IsDiscontinuity() override { return Flag(AM_SAMPLE_DATADISCONTINUITY); }
  HRESULT SetDiscontinuity(BOOL on) override { return SetFlag(AM_SAMPLE_DATADISCONTINUITY, on); }
  HRESULT GetMediaTime(LONGLONG* start, LONGLONG* stop) override;
  HRESULT SetMediaTime(LONGLONG* start, LONGLONG* stop) override;
  HRESULT GetProperties(DWORD bytes, BYTE* properties) override;
  HRESULT SetProperties(DWORD bytes, const BYTE* properties) override;

 protected:
  /// Of no allocator: a derived class has the buffer.
  explicit CMediaSample(LONG size) noexcept : size_(size) {}
  ~CMediaSample() override;
  void LetGo() override;

 private:
  friend class CBaseAllocator;

  HRESULT Flag(DWORD flag) const noexcept { return (flags_ & flag) != 0 ? S_OK : S_FALSE; }
  HRESULT SetFlag(DWORD flag, BOOL on) noexcept {
    flags_ = on != 0 ? flags_ | flag : flags_ & ~flag;
    return S_OK;
  }
  void Clear() noexcept;

  CBaseAllocator* allocator_ = nullptr;
  BYTE* buffer_ = nullptr;
  LONG size_;
  LONG actual_ = 0;
  DWORD flags_ = 0;  // AM_SAMPLE_...
  DWORD typeSpecificFlags_ = 0;
  DWORD streamId_ = AM_STREAM_MEDIA;
  REFERENCE_TIME start_ = 0, stop_ = 0;
  bool hasMediaTime_ = false;
  LONGLONG mediaStart_ = 0, mediaStop_ = 0;
  AM_MEDIA_TYPE* type_ = nullptr;
  CMediaSample* next_ = nullptr;  // in the allocator's list of free samples
};

/// Copies the times and flags of one sample to another.
void CopyStamps(IMediaSample& source, IMediaSample& target);

}  // namespace korva
