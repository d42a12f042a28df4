#pragma once

#include <algorithm>

#include "audio/param_source.h"
#include "frame/block_holder.h"
#include "frame/effect_description.h"
#include "frame/property_groups.h"
#include "frame/record.h"
#include "frame/row_values.h"
#include "frame/transform_state.h"
#include "streaming/unknown.h"

namespace korva {

/// The Transform of an effect without automation: its values are the plain fields of one record, guarded by the one
/// lock, and its engine fetches them by itself.
template <class PropertyInterface, class Block>
class RecordTransform : public PropertyInterface, public TransformState, public BlockHolder, public ParamSource<Block> {
 public:
  using Params = Block;
  using Interfaces = InterfaceList<PropertyInterface>;

  HRESULT GetParams(Block* block) override {
    if (block == nullptr) return E_POINTER;
    const std::lock_guard guard(engineLock);
    *block = record_;
    return S_OK;
  }
  /// Takes the whole record and holds it to its ranges. `E_FAIL` when that changed a value; it is taken all the same.
  HRESULT SetParams(const Block* block) override {
    if (block == nullptr) return E_POINTER;
    const std::lock_guard guard(engineLock);
    record_ = *block;
    const bool within = HoldBlock(effect_, &record_);
    RaiseRebuild();
    MarkChanged();
    return within ? S_OK : E_FAIL;
  }
  HRESULT SetNotifyWindow(HWND window, LONG id) override { return TransformState::SetNotifyWindow(window, id); }
  KORVA_IMPLEMENT_PROPERTY_TAIL()

  bool FetchParams(Block& block) noexcept override {
    const std::lock_guard guard(engineLock);
    block = record_;
    return TakeChanged();
  }

  const EffectDescription& effect() const noexcept final { return effect_; }
  TransformState& state() noexcept final { return *this; }
  HRESULT ReadBlock(void* block) final { return GetParams(static_cast<Block*>(block)); }
  HRESULT WriteBlock(const void* block) final { return SetParams(static_cast<const Block*>(block)); }
  HRESULT WriteRow(std::size_t row, const void* block) final {
    const std::lock_guard guard(engineLock);
    Block wanted = record_;
    CopyField(effect_.rows[row], &wanted, block);
    HoldBlock(effect_, &wanted);
    if (SameField(effect_.rows[row], &wanted, &record_)) return S_OK;
    record_ = wanted;
    Changed(row);
    return S_OK;
  }

 protected:
  explicit RecordTransform(const EffectDescription& effect) noexcept : effect_(effect) {}

  template <class Out, class Field>
  HRESULT GetField(Field Block::*field, Out* value) {
    if (value == nullptr) return E_POINTER;
    const std::lock_guard guard(engineLock);
    *value = static_cast<Out>(record_.*field);
    return S_OK;
  }
  /// Stores `value`, held to its range by the caller where it has one. An equal value changes nothing.
  template <class Field>
  HRESULT SetField(Field Block::*field, Field value, std::size_t row) {
    const std::lock_guard guard(engineLock);
    if (record_.*field == value) return S_OK;
    record_.*field = value;
    Changed(row);
    return S_OK;
  }
  /// The same for a whole-number field, given by its row.
  HRESULT GetValue(std::size_t row, LONG* value) {
    if (value == nullptr) return E_POINTER;
    const std::lock_guard guard(engineLock);
    *value = LoadField(effect_.rows[row], &record_);
    return S_OK;
  }
  HRESULT SetValue(std::size_t row, LONG value) {
    const ParamDescriptor& descriptor = effect_.rows[row];
    return SetFreeValue(row, std::clamp<std::int32_t>(value, descriptor.externalMin, descriptor.externalMax));
  }
  /// A value that the setter does not hold to its range.
  HRESULT SetFreeValue(std::size_t row, LONG value) {
    const std::lock_guard guard(engineLock);
    if (LoadField(effect_.rows[row], &record_) == value) return S_OK;
    StoreField(effect_.rows[row], &record_, value);
    Changed(row);
    return S_OK;
  }

  /// The engine is to be built anew. Any thread.
  virtual void RaiseRebuild() noexcept = 0;

 private:
  void Changed(std::size_t row) {
    if (effect_.rows[row].changeBit == kChangeRebuild) RaiseRebuild();
    MarkChanged();
  }

  const EffectDescription& effect_;
  Block record_{};
};

}  // namespace korva
