#include "host/state_file.h"

#include <algorithm>
#include <cstring>

#include "frame/record.h"
#include "host/output_file.h"

namespace korva {
namespace {

constexpr std::size_t kLargestRecord = sizeof(RecordHeader) + kLargestBlock;

bool KnowsIdentifier(const GUID& id) {
  return std::any_of(EffectTable().begin(), EffectTable().end(), [&](const EffectRow& effect) {
    const auto& forms = effect.description.forms;
    return std::any_of(forms.begin(), forms.end(), [&](const RecordForm& form) { return form.id == id; });
  });
}

}  // namespace

HRESULT MemoryStream::QueryInterface(REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  const bool known =
      iid == InterfaceId<IUnknown>() || iid == InterfaceId<ISequentialStream>() || iid == InterfaceId<IStream>();
  *out = known ? static_cast<IStream*>(this) : nullptr;
  return known ? S_OK : E_NOINTERFACE;
}

HRESULT MemoryStream::Read(void* buffer, ULONG bytes, ULONG* bytesRead) {
  const std::size_t count = std::min<std::size_t>(bytes, bytes_.size() - position_);
  if (count != 0) std::memcpy(buffer, bytes_.data() + position_, count);
  position_ += count;
  if (bytesRead != nullptr) *bytesRead = static_cast<ULONG>(count);
  return count == bytes ? S_OK : S_FALSE;
}

HRESULT MemoryStream::Write(const void* buffer, ULONG bytes, ULONG* bytesWritten) {
  const auto* const data = static_cast<const std::uint8_t*>(buffer);
  bytes_.insert(bytes_.end(), data, data + bytes);
  if (bytesWritten != nullptr) *bytesWritten = bytes;
  return S_OK;
}

Outcome<StateRecord> ReadStateFile(const std::string& path) {
  // One byte more than any record has tells a larger file from one that fits.
  const Outcome<std::vector<char>> read = ReadFile(path, kLargestRecord + 1);
  if (!read) return read.ending();
  const std::vector<std::uint8_t> bytes(read->begin(), read->end());
  const std::string size = std::to_string(bytes.size()) + " bytes";
  RecordHeader header{};
  if (bytes.size() < sizeof header) return Failed(path + " is no effect record: it has only " + size);
  std::memcpy(&header, bytes.data(), sizeof header);
  for (const EffectRow& effect : EffectTable()) {
    const RecordForm* const form = FindRecordForm(effect.description, header);
    if (form == nullptr) continue;
    const std::string name = effect.description.name;
    if (bytes.size() != form->size) {
      const bool more = bytes.size() > kLargestRecord;
      return Failed(path + " is a damaged " + name + " record: " + (more ? "more than " : "") +
                    (more ? std::to_string(kLargestRecord) + " bytes" : size) + " instead of " +
                    std::to_string(form->size));
    }
    const auto index = static_cast<std::size_t>(form - effect.description.forms.data());
    return StateRecord{&effect, index, bytes};
  }
  const GUID id = header.id;
  if (KnowsIdentifier(id)) return Failed(path + " is a damaged effect record: its header says a wrong size");
  return Failed(path + " is no record of any effect");
}

Check LoadState(const StateRecord& record, EffectInstance& instance) {
  const ComPtr<IPersistStream> persist = Query<IPersistStream>(instance.filter.Get());
  MemoryStream stream(record.bytes);
  if (!persist || FAILED(persist->Load(&stream))) {
    return Failed("the " + std::string(record.effect->description.name) + " record cannot be loaded");
  }
  return std::nullopt;
}

Check LoadStateFile(const std::string& path, const EffectRow& effect, EffectInstance& instance) {
  const Outcome<StateRecord> record = ReadStateFile(path);
  if (!record) return record.ending();
  if (record->effect != &effect) {
    return Failed(path + " is a record of " + record->effect->description.name + ", not of " + effect.description.name);
  }
  return LoadState(*record, instance);
}

Outcome<std::vector<std::uint8_t>> SaveState(EffectInstance& instance) {
  const ComPtr<IPersistStream> persist = Query<IPersistStream>(instance.filter.Get());
  MemoryStream stream;
  if (!persist || FAILED(persist->Save(&stream, 1))) return Failed("the effect's record cannot be made");
  return stream.bytes();
}

}  // namespace korva
