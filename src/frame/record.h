#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "frame/block_holder.h"
#include "platform/persist.h"

namespace korva {

/// A persistent record starts with this, little-endian, and the parameter block follows.
#pragma pack(push, 1)
struct RecordHeader {
  std::uint32_t size;  ///< of the whole record in bytes, header included
  GUID id;             ///< says which form follows
};
#pragma pack(pop)
static_assert(sizeof(RecordHeader) == 20);

/// The form that a header names among those of `effect`; null for an unknown pair of size and identifier.
const RecordForm* FindRecordForm(const EffectDescription& effect, const RecordHeader& header) noexcept;

/// Takes the block out of a record of any form that lies in memory; false, with `block` unchanged, for an unknown form
/// or a record that ends early.
bool ReadRecord(const EffectDescription& effect, std::span<const std::byte> record, void* block) noexcept;

/// Holds a block to what `effect` keeps of it, as setting it whole does; false if anything was outside.
bool HoldBlock(const EffectDescription& effect, void* block) noexcept;

/// Reads a record of any form and sets the parameters from it. `E_FAIL` for an unknown form or a record that ends
/// early; a stream's own failure is passed on. The parameters are unchanged then.
HRESULT LoadRecord(BlockHolder& holder, IStream* stream);

/// Writes the newest form. `clearDirty` 0 leaves the effect marked as unsaved, even if it was not.
HRESULT SaveRecord(BlockHolder& holder, IStream* stream, bool clearDirty);

/// Sets the parameters from preset `index`; `E_INVALIDARG` out of range.
HRESULT ApplyPreset(BlockHolder& holder, LONG index);

}  // namespace korva
