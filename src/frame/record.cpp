#include "frame/record.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "frame/row_values.h"

namespace korva {
namespace {

HRESULT ReadExactly(IStream& stream, void* target, ULONG bytes) {
  ULONG done = 0;
  if (const HRESULT result = stream.Read(target, bytes, &done); FAILED(result)) return result;
  return done == bytes ? S_OK : E_FAIL;
}

HRESULT WriteExactly(IStream& stream, const void* source, ULONG bytes) {
  ULONG done = 0;
  if (const HRESULT result = stream.Write(source, bytes, &done); FAILED(result)) return result;
  return done == bytes ? S_OK : E_FAIL;
}

using BlockBytes = std::array<std::byte, kLargestBlock>;

}  // namespace

const RecordForm* FindRecordForm(const EffectDescription& effect, const RecordHeader& header) noexcept {
  const GUID id = header.id;
  const auto form = std::find_if(effect.forms.begin(), effect.forms.end(),
                                 [&](const RecordForm& f) { return f.size == header.size && f.id == id; });
  return form != effect.forms.end() ? &*form : nullptr;
}

bool ReadRecord(const EffectDescription& effect, std::span<const std::byte> record, void* block) noexcept {
  RecordHeader header{};
  if (record.size() < sizeof header) return false;
  std::memcpy(&header, record.data(), sizeof header);
  const RecordForm* const form = FindRecordForm(effect, header);
  if (form == nullptr || record.size() < sizeof header + form->bodySize) return false;
  std::memcpy(block, effect.recordStart, effect.blockSize);
  std::memcpy(block, record.data() + sizeof header, form->bodySize);
  if (form->bringUpToDate != nullptr) form->bringUpToDate(block);
  return true;
}

bool HoldBlock(const EffectDescription& effect, void* block) noexcept {
  if (effect.hold != nullptr) return effect.hold(block);
  bool within = true;
  for (const ParamDescriptor& row : effect.rows) within = HoldField(row, block) && within;
  return within;
}

HRESULT LoadRecord(BlockHolder& holder, IStream* stream) {
  if (stream == nullptr) return E_POINTER;
  const EffectDescription& effect = holder.effect();
  RecordHeader header{};
  if (const HRESULT result = ReadExactly(*stream, &header, sizeof header); FAILED(result)) return result;
  const RecordForm* const form = FindRecordForm(effect, header);
  HRESULT result = E_FAIL;
  if (form != nullptr) {
    alignas(8) BlockBytes block{};
    std::memcpy(block.data(), effect.recordStart, effect.blockSize);
    result = ReadExactly(*stream, block.data(), form->bodySize);
    if (SUCCEEDED(result)) {
      if (form->bringUpToDate != nullptr) form->bringUpToDate(block.data());
      holder.WriteBlock(block.data());
    }
  }
  if (form != nullptr || effect.noticeOnUnknownRecord) holder.state().NotifyWindows(kNoticeState);
  return result;
}

HRESULT SaveRecord(BlockHolder& holder, IStream* stream, bool clearDirty) {
  if (stream == nullptr) return E_POINTER;
  const EffectDescription& effect = holder.effect();
  const RecordForm& form = effect.forms.front();
  const RecordHeader header{form.size, form.id};
  alignas(8) BlockBytes block{};
  holder.ReadBlock(block.data());
  if (const HRESULT result = WriteExactly(*stream, &header, sizeof header); FAILED(result)) return result;
  if (const HRESULT result = WriteExactly(*stream, block.data(), effect.blockSize); FAILED(result)) return result;
  holder.state().stateDirty.store(clearDirty ? 0 : 1, std::memory_order_relaxed);
  return S_OK;
}

HRESULT ApplyPreset(BlockHolder& holder, LONG index) {
  const PresetTable& presets = holder.effect().presets;
  if (!presets.Has(index)) return E_INVALIDARG;
  const HRESULT result = holder.WriteBlock(presets.Block(index));
  if (result == S_OK) holder.state().NotifyWindows(kNoticeState);
  return result;
}

}  // namespace korva
