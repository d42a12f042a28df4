#include "streaming/allocator.h"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

namespace korva {

HRESULT CBaseAllocator::SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) {
  if (request == nullptr || actual == nullptr) return E_POINTER;
  const LONG align = request->cbAlign;
  if (align <= 0 || (align & (align - 1)) != 0) return VFW_E_BADALIGN;
  if (request->cBuffers <= 0 || request->cbBuffer < 0 || request->cbPrefix < 0) return E_INVALIDARG;
  const std::lock_guard guard(lock_);
  if (committed_) return VFW_E_ALREADY_COMMITTED;
  if (lent_ != 0) return VFW_E_BUFFERS_OUTSTANDING;
  properties_ = *request;
  *actual = properties_;
  return S_OK;
}

HRESULT CBaseAllocator::GetProperties(ALLOCATOR_PROPERTIES* properties) {
  if (properties == nullptr) return E_POINTER;
  const std::lock_guard guard(lock_);
  *properties = properties_;
  return S_OK;
}

HRESULT CBaseAllocator::Commit() {
  const std::lock_guard guard(lock_);
  if (committed_) return S_OK;
  if (properties_.cBuffers == 0) return VFW_E_SIZENOTSET;
  // Buffers still out from before a decommit are good for this commit too.
  if (!hasBuffers_) {
    if (const HRESULT result = AllocateBuffers(); FAILED(result)) {
      DropSamples();
      FreeBuffers();
      return result;
    }
    hasBuffers_ = true;
  }
  committed_ = true;
  return S_OK;
}

HRESULT CBaseAllocator::Decommit() {
  const std::lock_guard guard(lock_);
  committed_ = false;
  if (hasBuffers_ && lent_ == 0) {
    DropSamples();
    FreeBuffers();
    hasBuffers_ = false;
  }
  freed_.notify_all();
  return S_OK;
}

HRESULT CBaseAllocator::GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop, DWORD flags) {
  if (sample == nullptr) return E_POINTER;
  *sample = nullptr;
  CMediaSample* taken = nullptr;
  {
    std::unique_lock guard(lock_);
    while (committed_ && free_ == nullptr) {
      if ((flags & AM_GBF_NOWAIT) != 0) return VFW_E_TIMEOUT;
      freed_.wait(guard);
    }
    if (!committed_) return VFW_E_NOT_COMMITTED;
    taken = std::exchange(free_, free_->next_);
    taken->next_ = nullptr;
    ++lent_;
  }
  // A lent sample keeps its allocator.
  AddRef();
  taken->Clear();
  taken->AddRef();
  if (start != nullptr) taken->SetTime(start, stop);
  *sample = taken;
  return S_OK;
}

HRESULT CBaseAllocator::ReleaseBuffer(IMediaSample* sample) {
  if (sample == nullptr) return E_POINTER;
  auto* const own = static_cast<CMediaSample*>(sample);
  own->Clear();
  {
    const std::lock_guard guard(lock_);
    own->next_ = std::exchange(free_, own);
    --lent_;
    if (!committed_ && lent_ == 0 && hasBuffers_) {
      DropSamples();
      FreeBuffers();
      hasBuffers_ = false;
    }
    freed_.notify_one();
  }
  Release();
  return S_OK;
}

bool CBaseAllocator::AddSample(BYTE* buffer) noexcept {
  auto* const sample = new (std::nothrow) CMediaSample(*this, buffer, properties_.cbBuffer);
  if (sample == nullptr) return false;
  sample->next_ = std::exchange(free_, sample);
  return true;
}

void CBaseAllocator::DropSamples() noexcept {
  while (free_ != nullptr) delete std::exchange(free_, free_->next_);
}

CMemAllocator::~CMemAllocator() {
  DropSamples();
  CMemAllocator::FreeBuffers();
}

HRESULT CMemAllocator::AllocateBuffers() {
  const auto align = static_cast<std::uint64_t>(properties().cbAlign);
  const auto prefix = static_cast<std::uint64_t>(properties().cbPrefix);
  const std::uint64_t stride = (prefix + static_cast<std::uint64_t>(properties().cbBuffer) + align - 1) / align * align;
  const auto count = static_cast<std::uint64_t>(properties().cBuffers);
  // Alignment holds where a buffer's prefix begins; the buffer itself follows its prefix.
  constexpr std::uint64_t kMost = std::uint64_t{1} << 40;
  if (stride != 0 && count > kMost / stride) return E_OUTOFMEMORY;
  block_ = std::calloc(1, stride * count + align);
  if (block_ == nullptr) return E_OUTOFMEMORY;
  const std::uint64_t past = reinterpret_cast<std::uintptr_t>(block_) % align;
  BYTE* const first = static_cast<BYTE*>(block_) + (past != 0 ? align - past : 0);
  for (std::uint64_t i = 0; i < count; ++i) {
    if (!AddSample(first + i * stride + prefix)) return E_OUTOFMEMORY;
  }
  return S_OK;
}

void CMemAllocator::FreeBuffers() {
  std::free(std::exchange(block_, nullptr));
}

HRESULT CreateMemoryAllocator(IMemAllocator** allocator) {
  *allocator = new (std::nothrow) CMemAllocator;
  if (*allocator == nullptr) return E_OUTOFMEMORY;
  (*allocator)->AddRef();
  return S_OK;
}

}  // namespace korva
