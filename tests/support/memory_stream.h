#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/persist.h"
#include "support/owned.h"

namespace korva {

/// A stream over bytes in memory. `readResult` and `writeResult` stand in for a medium that fails.
class MemoryStream final : public IStream {
 public:
  MemoryStream() = default;
  explicit MemoryStream(std::vector<std::uint8_t> content) : bytes(std::move(content)) {}
  KORVA_STACK_UNKNOWN(IStream, ISequentialStream);

  HRESULT Read(void* buffer, ULONG count, ULONG* done) override {
    if (FAILED(readResult)) return readResult;
    const std::size_t part = std::min<std::size_t>(count, bytes.size() - position);
    if (part != 0) std::memcpy(buffer, bytes.data() + position, part);
    position += part;
    if (done != nullptr) *done = static_cast<ULONG>(part);
    return part == count ? S_OK : S_FALSE;
  }
  HRESULT Write(const void* buffer, ULONG count, ULONG* done) override {
    if (FAILED(writeResult) && bytes.size() + count > writeLimit) return writeResult;
    const auto* const from = static_cast<const std::uint8_t*>(buffer);
    bytes.insert(bytes.end(), from, from + count);
    if (done != nullptr) *done = count;
    return S_OK;
  }
  HRESULT Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
  HRESULT SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return E_NOTIMPL; }
  HRESULT Commit(DWORD) override { return S_OK; }
  HRESULT Revert() override { return E_NOTIMPL; }
  HRESULT LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
  HRESULT Clone(IStream**) override { return E_NOTIMPL; }

  std::vector<std::uint8_t> bytes;
  std::size_t position = 0;
  HRESULT readResult = S_OK;
  HRESULT writeResult = S_OK;  ///< of a write that would pass `writeLimit`
  std::size_t writeLimit = 0;
};

}  // namespace korva
