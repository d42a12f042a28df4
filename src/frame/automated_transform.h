#pragma once

#include <algorithm>

#include "frame/block_holder.h"
#include "frame/effect_description.h"
#include "frame/mfx_tempo.h"
#include "frame/plugin_params.h"
#include "frame/property_groups.h"
#include "frame/row_values.h"
#include "frame/transform_state.h"
#include "streaming/unknown.h"

namespace korva {

/// The Transform of an effect that a host can automate: values in the store, flags and locks, and the operations behind
/// the groups of its property interface, all driven by the description rows.
///
/// A writer never touches the engine: it changes a value and raises flags, and the audio thread picks the change up at
/// the next chunk.
template <class PropertyInterface, class Block>
class AutomatedTransform : public PropertyInterface, public CQvPlugInParams, public TransformState, public BlockHolder {
 public:
  using Params = Block;
  using Interfaces = InterfaceList<PropertyInterface, IMediaParamInfo, IMediaParams, IMediaParamsSetUICallback>;

  HRESULT GetParams(Block* block) override {
    if (block == nullptr) return E_POINTER;
    ReadAll(block);
    return S_OK;
  }
  HRESULT SetParams(const Block* block) override {
    if (block == nullptr) return E_POINTER;
    WriteAll(block);
    AllValuesSet();
    MarkChanged();
    return S_OK;
  }
  HRESULT GetFormat(WAVEFORMATEX* format) override { return TransformState::GetFormat(format); }
  HRESULT SetNotifyWindow(HWND window, LONG id) override { return TransformState::SetNotifyWindow(window, id); }
  KORVA_IMPLEMENT_PROPERTY_TAIL()

  /// Outside the lock, a value that changed is picked up, and the windows are notified. What the row asks of the engine
  /// is not raised on this road.
  HRESULT SetParam(DWORD index, MP_DATA value) override {
    const HRESULT result = CQvPlugInParams::SetParam(index, value);
    if (result != S_OK) return result;
    HostChangedValue(index);
    MarkChanged();
    NotifyWindows(kNoticeValueOrInput);
    return result;
  }

  const EffectDescription& effect() const noexcept final { return effect_; }
  TransformState& state() noexcept final { return *this; }
  HRESULT ReadBlock(void* block) final { return GetParams(static_cast<Block*>(block)); }
  HRESULT WriteBlock(const void* block) final { return SetParams(static_cast<const Block*>(block)); }
  HRESULT WriteRow(std::size_t row, const void* block) final {
    return SetValue(row, LoadField(effect_.rows[row], block));
  }

 protected:
  explicit AutomatedTransform(const EffectDescription& effect) noexcept
      : CQvPlugInParams(effect.rows), effect_(effect) {}

  HRESULT GetValue(std::size_t row, LONG* value) {
    if (value == nullptr) return E_POINTER;
    *value = ReadOne(row);
    return S_OK;
  }
  HRESULT SetValue(std::size_t row, LONG value) {
    const ParamDescriptor& descriptor = effect_.rows[row];
    const std::int32_t held = std::clamp<std::int32_t>(value, descriptor.externalMin, descriptor.externalMax);
    // An unchanged value costs the audio thread nothing, however often a page repeats it.
    if (!WriteOne(row, held)) return S_OK;
    ValueSet(row);
    MarkChanged();
    return S_OK;
  }
  HRESULT EndEditValue(std::size_t row) {
    EndEdit(row);
    paramsChanged.store(1, std::memory_order_relaxed);
    return S_OK;
  }

  /// Reads the parameters for the engine and takes the flag, under the lock; without it where nothing was written since
  /// the last time. One thread at a time, the one that updates the engine.
  Block TakeSnapshot(bool& changed) {
    changed = false;
    if (snapshotTaken_ && snapshotOf_ == writes() && paramsChanged.load(std::memory_order_relaxed) == 0) {
      return snapshot_;
    }
    const std::lock_guard guard(engineLock);
    // A value that is written in between is read now, and once more the next time.
    snapshotOf_ = writes();
    ReadAll(&snapshot_);
    snapshotTaken_ = true;
    changed = TakeChanged();
    return snapshot_;
  }

  /// What a change asks of the effect's own engine, beside the common flags.
  virtual void ValueSet(std::size_t /*row*/) {}
  virtual void AllValuesSet() {}
  virtual void HostChangedValue(DWORD /*index*/) {}

 private:
  const EffectDescription& effect_;
  Block snapshot_{};
  std::uint32_t snapshotOf_ = 0;
  bool snapshotTaken_ = false;
};

/// The same for an effect that also follows a host's tempo.
template <class PropertyInterface, class Block>
class TempoTransform : public AutomatedTransform<PropertyInterface, Block>, public CMFXTempo {
 public:
  using Interfaces =
      InterfaceList<PropertyInterface, IMediaParamInfo, IMediaParams, IMediaParamsSetUICallback, IMfxSoftSynth>;

  HRESULT GetFormat(WAVEFORMATEX* format) override { return TransformState::GetFormat(format); }
  HRESULT IsTempoAvailable() override { return HasTempo() ? 1 : 0; }

 protected:
  using AutomatedTransform<PropertyInterface, Block>::AutomatedTransform;
};

}  // namespace korva
