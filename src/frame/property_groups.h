#pragma once

#include "platform/platform.h"
#include "platform/wave_format.h"

// The shape that the property interfaces of the automated effects share: a head, one group of five operations for each
// parameter, a tail. An effect lists its groups once, as a macro that applies another to each (name, row); the list
// declares the slots of the interface and implements them on the Transform.
namespace korva {

template <class Block>
struct PropertyHead : IUnknown {
  /// Fills the whole block.
  virtual HRESULT GetParams(Block* block) = 0;
  /// Sets all parameters, as a preset does, and restarts the engine at the next chunk.
  virtual HRESULT SetParams(const Block* block) = 0;
  /// The 18-byte record of the stream's format; `VFW_E_NOT_CONNECTED` when there is none.
  virtual HRESULT GetFormat(WAVEFORMATEX* format) = 0;
  /// Registers a window for change notices, posted as `WM_COMMAND` with `id`; an id of 0 takes it out.
  virtual HRESULT SetNotifyWindow(HWND window, LONG id) = 0;
};

// Values are in block units; `Set` clamps. `IsFree` is 0 while automation owns the parameter.
#define KORVA_DECLARE_GROUP(Name, row)        \
  virtual HRESULT Get##Name(LONG* value) = 0; \
  virtual HRESULT Set##Name(LONG value) = 0;  \
  virtual HRESULT BeginEdit##Name() = 0;      \
  virtual HRESULT EndEdit##Name() = 0;        \
  virtual HRESULT Is##Name##Free() = 0;

// A pair of the effects without automation. `SetValue` holds to the row's range, `SetFreeValue` does not.
#define KORVA_DECLARE_PAIR(Name, row, set)    \
  virtual HRESULT Get##Name(LONG* value) = 0; \
  virtual HRESULT Set##Name(LONG value) = 0;

#define KORVA_IMPLEMENT_PAIR(Name, row, set) \
  HRESULT Get##Name(LONG* value) override {  \
    return this->GetValue(row, value);       \
  }                                          \
  HRESULT Set##Name(LONG value) override {   \
    return this->set(row, value);            \
  }

// Two operations without effect, kept for their slots, and a word for the host's own use.
#define KORVA_DECLARE_PROPERTY_TAIL()          \
  virtual HRESULT TakeAndLeaveLock() = 0;      \
  virtual HRESULT ReadZero(LONG* value) = 0;   \
  virtual HRESULT SetReserved(LONG value) = 0; \
  virtual HRESULT GetReserved(LONG* value) = 0;

#define KORVA_IMPLEMENT_GROUP(Name, row)    \
  HRESULT Get##Name(LONG* value) override { \
    return this->GetValue(row, value);      \
  }                                         \
  HRESULT Set##Name(LONG value) override {  \
    return this->SetValue(row, value);      \
  }                                         \
  HRESULT BeginEdit##Name() override {      \
    return this->BeginEdit(row);            \
  }                                         \
  HRESULT EndEdit##Name() override {        \
    return this->EndEditValue(row);         \
  }                                         \
  HRESULT Is##Name##Free() override {       \
    return this->IsFree(row);               \
  }

#define KORVA_IMPLEMENT_PROPERTY_TAIL()              \
  HRESULT TakeAndLeaveLock() override {              \
    return this->TransformState::TakeAndLeaveLock(); \
  }                                                  \
  HRESULT ReadZero(LONG* value) override {           \
    return this->TransformState::ReadZero(value);    \
  }                                                  \
  HRESULT SetReserved(LONG value) override {         \
    return this->TransformState::SetReserved(value); \
  }                                                  \
  HRESULT GetReserved(LONG* value) override {        \
    return this->TransformState::GetReserved(value); \
  }

}  // namespace korva
