#pragma once

#include "delay/echomt/echomt_engine.h"
#include "delay/echomt/echomt_params.h"
#include "delay/echomt/echomt_property.h"
#include "frame/in_place_effect.h"
#include "frame/record_transform.h"

namespace korva {

/// The Multi-Tap Delay's parameters and engine. No automation, no tempo: the engine refreshes itself at each buffer.
class CQvEchomtTransform : public RecordTransform<IQvEchomtProp, EchomtParams> {
 public:
  KORVA_ECHOMT_PAIRS(KORVA_IMPLEMENT_PAIR)
  HRESULT GetFormat(WAVEFORMATEX* format) override { return TransformState::GetFormat(format); }

 protected:
  CQvEchomtTransform() noexcept : RecordTransform(kEchomtEffect) {}

  void RaiseRebuild() noexcept override { engine_.MarkLinesStale(); }

  EchomtEngine engine_{*this};
};

/// The Multi-Tap Delay as a filter.
class CQvEchomt final : public InPlaceEffect<CQvEchomtTransform> {
 public:
  explicit CQvEchomt(IUnknown* outer) : InPlaceEffect(outer, kEchomtEffect) {}
};

}  // namespace korva
