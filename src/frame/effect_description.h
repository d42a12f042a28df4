#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "frame/param_descriptor.h"
#include "platform/platform.h"

namespace korva {

/// One built-in preset: the string id of its name and a whole parameter block.
template <class Block>
struct PresetRow {
  std::int32_t stringId;
  Block block;
};

/// A preset table with the block's type taken out, so that one piece of code serves every effect.
class PresetTable {
 public:
  template <class Block, std::size_t N>
  constexpr explicit PresetTable(const PresetRow<Block> (&table)[N])
      : table_(table), count_(N), name_(&Name<Block>), block_(&BlockOf<Block>) {}

  std::int32_t count() const noexcept { return static_cast<std::int32_t>(count_); }
  bool Has(std::int32_t index) const noexcept { return index >= 0 && index < count(); }
  std::int32_t NameId(std::int32_t index) const noexcept { return name_(table_, index); }
  const void* Block(std::int32_t index) const noexcept { return block_(table_, index); }

 private:
  template <class B>
  static std::int32_t Name(const void* table, std::int32_t index) noexcept {
    return static_cast<const PresetRow<B>*>(table)[index].stringId;
  }
  template <class B>
  static const void* BlockOf(const void* table, std::int32_t index) noexcept {
    return &static_cast<const PresetRow<B>*>(table)[index].block;
  }

  const void* table_;
  std::size_t count_;
  std::int32_t (*name_)(const void*, std::int32_t) noexcept;
  const void* (*block_)(const void*, std::int32_t) noexcept;
};

/// What the shared code has room for: rows in the store of automated parameters, rows of any effect, bytes of any
/// parameter block.
inline constexpr std::size_t kMostAutomatedRows = 16;
inline constexpr std::size_t kMostRows = 40;
inline constexpr std::size_t kLargestBlock = 256;

/// The rows of an effect with automation. A table that the store has no room for does not compile.
template <std::size_t N>
consteval std::span<const ParamDescriptor> AutomatedRows(const ParamDescriptor (&rows)[N]) {
  static_assert(N <= kMostAutomatedRows);
  return rows;
}

/// One form of a persistent record: 20 bytes of header (total size, identifier), then `bodySize` bytes of block.
struct RecordForm {
  std::uint32_t size;  ///< total, header included, as the header says it
  GUID id;
  std::uint32_t bodySize;                                 ///< bytes read into the block
  void (*bringUpToDate)(void* block) noexcept = nullptr;  ///< turns what an older form held into today's meaning
};

/// Everything about an effect that is data: one constant in each effect's `_params` file.
struct EffectDescription {
  const char* name;          ///< on the command line
  const char* summary;       ///< what it does, in a line
  const WCHAR* className;    ///< in the class table
  const WCHAR* displayName;  ///< in the graph
  GUID filterClass;
  GUID pageClass;
  std::uint32_t blockSize;  ///< bytes of the parameter block
  std::span<const ParamDescriptor> rows;
  PresetTable presets;
  std::span<const RecordForm> forms;  ///< the first is the one that is written
  const void* recordStart;            ///< block before a record is read: what older forms lack
  /// Whether a header that fits no form still ends in a notice.
  bool noticeOnUnknownRecord = false;
  /// Holds a block to what the effect keeps of it, and answers whether it was within; null where every field keeps to
  /// its row's range.
  bool (*hold)(void* block) noexcept = nullptr;
  /// Brings a block in line after one row was set by itself; null where the rows are independent.
  void (*afterSet)(std::size_t row, void* block) noexcept = nullptr;
};

/// `effect` as it is. One whose rows, block or record forms the shared code has no room for, or whose rows lie outside
/// of the block, does not compile.
consteval EffectDescription Checked(EffectDescription effect) {
  if (effect.blockSize > kLargestBlock || effect.forms.empty()) throw "no room for the block, or no form to write";
  if (effect.rows.size() > kMostRows) throw "no room for the rows";
  for (const RecordForm& form : effect.forms) {
    if (form.bodySize > effect.blockSize) throw "a form is larger than the block";
  }
  for (const ParamDescriptor& row : effect.rows) {
    const std::uint32_t width = row.storage == Storage::kDouble ? 8 : 4;
    if (row.blockOffset > effect.blockSize - width) throw "a row lies outside of the block";
  }
  return effect;
}

}  // namespace korva
