#pragma once

#include "delay/echomt/echomt_engine.h"
#include "delay/echomt/echomt_params.h"
#include "delay/echomt/echomt_property.h"
#include "frame/in_place_filter.h"
#include "frame/record_transform.h"

namespace korva {

/// The Multi-Tap Delay's parameters and engine. No automation, no tempo: the engine refreshes itself at each buffer.
class CQvEchomtTransform : public RecordTransform<IQvEchomtProp, EchomtParams> {
 public:
  KORVA_ECHOMT_PAIRS(KORVA_IMPLEMENT_PAIR)
  HRESULT GetFormat(WAVEFORMATEX* format) override { return TransformState::GetFormat(format); }

 protected:
  CQvEchomtTransform() noexcept : RecordTransform(kEchomtEffect) {}

  bool Hold(EchomtParams& block) noexcept override { return ValidateParams(block); }
  void RaiseRebuild() noexcept override { engine_.MarkLinesStale(); }

  EchomtEngine engine_{*this};
};

/// The Multi-Tap Delay as a filter.
class CQvEchomt final : public CQvInPlaceFilter, public CQvEchomtTransform {
 public:
  /// A new filter holds preset row 0.
  explicit CQvEchomt(IUnknown* outer);
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;
  BlockHolder& parameters() noexcept override { return *this; }

 protected:
  HRESULT StartEngine(const FormatRecord& format) override;
  void StopEngine() override { engine_.FreeLines(); }
  bool HasTail() override { return true; }
  bool TailIsOver() override { return engine_.tailOnlyDone(); }
  HRESULT PickUp(ChunkEvents& /*events*/) override { return S_OK; }
  HRESULT RunKernel(ProcessMode mode, void* data, std::uint32_t& frames, bool tailOnly) override;
  HRESULT ChangesWaiting() override;
  HRESULT ResetEngine(bool rewind) override { return engine_.Reset(rewind); }
};

}  // namespace korva
