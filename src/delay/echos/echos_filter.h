#pragma once

#include "delay/echos/echos_engine.h"
#include "delay/echos/echos_params.h"
#include "delay/echos/echos_property.h"
#include "frame/automated_transform.h"
#include "frame/in_place_filter.h"

namespace korva {

/// The Simple Delay's parameters and engine.
class CQvEchosTransform : public AutomatedTransform<IQvEchosProp2, EchosParams>, public CMFXTempo {
 public:
  KORVA_ECHOS_GROUPS(KORVA_IMPLEMENT_GROUP)
  HRESULT GetFormat(WAVEFORMATEX* format) override { return TransformState::GetFormat(format); }
  HRESULT IsTempoAvailable() override { return HasTempo() ? 1 : 0; }

 protected:
  CQvEchosTransform() noexcept : AutomatedTransform(kEchosEffect) {}

  EchosEngine engine_;
};

/// The Simple Delay as a filter.
class CQvEchos final : public CQvInPlaceFilter, public CQvEchosTransform {
 public:
  /// A new filter holds preset row 0.
  explicit CQvEchos(IUnknown* outer);
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;
  BlockHolder& parameters() noexcept override { return *this; }

 protected:
  CQvPlugInParams* automation() noexcept override { return this; }
  CMFXTempo* tempo() noexcept override { return this; }
  HRESULT StartEngine(const FormatRecord& format) override;
  void StopEngine() override { engine_.FreeDelayLines(); }
  bool HasTail() override { return true; }
  bool TailIsOver() override { return engine_.tailOnlyDone(); }
  bool PassesChunk() override;
  HRESULT PickUp(ChunkEvents& events) override;
  HRESULT RunKernel(ProcessMode mode, void* data, std::uint32_t& frames, bool tailOnly) override;
  HRESULT ResetEngine(bool rewind) override;
};

}  // namespace korva
