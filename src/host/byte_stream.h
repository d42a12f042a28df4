#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/persist.h"

namespace korva {

/// A stream over bytes in memory, read from its front and written at its end. Lives on the stack of one call: its
/// references are not counted.
class ByteStream : public IStream {
 public:
  ByteStream() = default;
  explicit ByteStream(std::vector<std::uint8_t> content) : bytes(std::move(content)) {}
  virtual ~ByteStream() = default;

  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    const bool known =
        iid == InterfaceId<IUnknown>() || iid == InterfaceId<ISequentialStream>() || iid == InterfaceId<IStream>();
    *out = known ? static_cast<IStream*>(this) : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG AddRef() override { return 1; }
  ULONG Release() override { return 1; }
  HRESULT Read(void* buffer, ULONG count, ULONG* done) override {
    const std::size_t part = std::min<std::size_t>(count, bytes.size() - position_);
    if (part != 0) std::memcpy(buffer, bytes.data() + position_, part);
    position_ += part;
    if (done != nullptr) *done = static_cast<ULONG>(part);
    return part == count ? S_OK : S_FALSE;
  }
  HRESULT Write(const void* buffer, ULONG count, ULONG* done) override {
    const auto* const data = static_cast<const std::uint8_t*>(buffer);
    bytes.insert(bytes.end(), data, data + count);
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

 private:
  std::size_t position_ = 0;
};

}  // namespace korva
