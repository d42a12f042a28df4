#pragma once

#include <mutex>

#include "platform/locks.h"
#include "platform/media.h"
#include "streaming/counted.h"
#include "streaming/media_sample.h"

namespace korva {

/// Keeps a set of equal buffers and lends them out. `GetBuffer` waits while all are lent; `Decommit` wakes the waiting.
/// Buffers that are out when the allocator is decommitted are freed when the last of them comes back.
///
/// Any thread may call anything.
class CBaseAllocator : public Counted<InterfaceList<IMemAllocator>> {
 public:
  /// Refused while committed or while buffers are out.
  HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;
  HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) override;
  HRESULT Commit() override;
  HRESULT Decommit() override;
  HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop, DWORD flags) override;
  HRESULT ReleaseBuffer(IMediaSample* sample) override;

 protected:
  CBaseAllocator() = default;

  /// Makes `properties_.cBuffers` samples, each handed to `AddSample`. Called under the lock.
  virtual HRESULT AllocateBuffers() = 0;
  /// Frees the memory behind the samples, which are gone by then. Called under the lock.
  virtual void FreeBuffers() = 0;
  bool AddSample(BYTE* buffer) noexcept;
  const ALLOCATOR_PROPERTIES& properties() const noexcept { return properties_; }
  void DropSamples() noexcept;

 private:
  platform::Lock lock_;
  platform::Condition freed_;
  ALLOCATOR_PROPERTIES properties_{};
  CMediaSample* free_ = nullptr;
  LONG lent_ = 0;
  bool committed_ = false;
  bool hasBuffers_ = false;
};

/// Buffers on the heap, in one block, aligned and prefixed as negotiated.
class CMemAllocator final : public CBaseAllocator {
 public:
  CMemAllocator() = default;

 private:
  ~CMemAllocator() override;
  HRESULT AllocateBuffers() override;
  void FreeBuffers() override;

  void* block_ = nullptr;
};

/// A heap allocator with one reference.
HRESULT CreateMemoryAllocator(IMemAllocator** allocator);

}  // namespace korva
