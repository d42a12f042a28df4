#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/effect_table.h"
#include "host/outcome.h"
#include "platform/persist.h"

namespace korva {

/// A stream over bytes in memory, read from its front and written at its end. Lives on the stack of one call: its
/// references are not counted.
class MemoryStream final : public IStream {
 public:
  MemoryStream() = default;
  explicit MemoryStream(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}
  virtual ~MemoryStream() = default;
  const std::vector<std::uint8_t>& bytes() const noexcept { return bytes_; }

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override { return 1; }
  ULONG Release() override { return 1; }
  HRESULT Read(void* buffer, ULONG bytes, ULONG* bytesRead) override;
  HRESULT Write(const void* buffer, ULONG bytes, ULONG* bytesWritten) override;
  HRESULT Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
  HRESULT SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return E_NOTIMPL; }
  HRESULT Commit(DWORD) override { return S_OK; }
  HRESULT Revert() override { return E_NOTIMPL; }
  HRESULT LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
  HRESULT Clone(IStream**) override { return E_NOTIMPL; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

/// A persistent record that was read from a file and recognised.
struct StateRecord {
  const EffectRow* effect;
  std::size_t form;  ///< index among the effect's forms, 0 the one in use
  std::vector<std::uint8_t> bytes;
};

/// Reads a record of any effect. `kFailed`, with what is wrong, for anything else.
Outcome<StateRecord> ReadStateFile(const std::string& path, std::istream& in);
/// Reads a file that must be a record of `effect`, or such a text as `StateText` makes, and sets the parameters from
/// it.
/// `-` is `in`.
Check LoadStateFile(const std::string& path, std::istream& in, const EffectRow& effect, EffectInstance& instance);
/// The effect as lines of "name = value" that a person can edit.
std::string StateText(const EffectRow& effect, const EffectInstance& instance);
/// Sets an effect's parameters from a record of it.
Check LoadState(const StateRecord& record, EffectInstance& instance);
/// The record of an effect as it is now.
Outcome<std::vector<std::uint8_t>> SaveState(EffectInstance& instance);

}  // namespace korva
