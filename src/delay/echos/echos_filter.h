#pragma once

#include "delay/echos/echos_engine.h"
#include "delay/echos/echos_params.h"
#include "delay/echos/echos_property.h"
#include "frame/automated_transform.h"
#include "frame/in_place_effect.h"

namespace korva {

/// The Simple Delay's parameters and engine.
class CQvEchosTransform : public TempoTransform<IQvEchosProp2, EchosParams> {
 public:
  KORVA_ECHOS_GROUPS(KORVA_IMPLEMENT_GROUP)

 protected:
  CQvEchosTransform() noexcept : TempoTransform(kEchosEffect) {}

  HRESULT Update(const EchosParams& block, ProcessMode mode, const TempoInfo* tempo) {
    return engine_.UpdateEngine(block, mode, tempo);
  }
  bool engineReady() const noexcept { return engine_.engineReady(); }

  EchosEngine engine_;
};

/// The Simple Delay as a filter.
class CQvEchos final : public InPlaceEffect<CQvEchosTransform> {
 public:
  explicit CQvEchos(IUnknown* outer) : InPlaceEffect(outer, kEchosEffect) {}

 protected:
  bool PassesChunk() override;
};

}  // namespace korva
