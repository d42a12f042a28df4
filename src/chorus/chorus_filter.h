#pragma once

#include "chorus/chorus_engine.h"
#include "chorus/chorus_property.h"
#include "frame/automated_transform.h"
#include "frame/in_place_effect.h"

namespace korva {

/// The Chorus's parameters and engine, and the way from one to the other.
class CQvChorusTransform : public TempoTransform<IQvChorusProp2, ChorusParams> {
 public:
  KORVA_CHORUS_GROUPS(KORVA_IMPLEMENT_GROUP)

 protected:
  CQvChorusTransform() noexcept : TempoTransform(kChorusEffect) {}

  HRESULT Update(const ChorusParams& block, ProcessMode mode, const TempoInfo* tempo) {
    return engine_.UpdateEngine(block, mode != ModeRestart, tempo);
  }
  bool engineReady() const noexcept { return engine_.engineReady(); }
  void ValueSet(std::size_t row) override { engine_.AskFor(effect().rows[row].changeBit); }
  void AllValuesSet() override { engine_.AskForAll(); }

  ChorusEngine engine_;
};

/// The Chorus as a filter. It has no tail: what its lines hold at the end of a stream is let go.
class CQvChorus final : public InPlaceEffect<CQvChorusTransform> {
 public:
  /// Alone among the six, a new Chorus counts as saved.
  explicit CQvChorus(IUnknown* outer) : InPlaceEffect(outer, kChorusEffect) {
    stateDirty.store(0, std::memory_order_relaxed);
  }
};

}  // namespace korva
