#pragma once

#include "audio/param_source.h"
#include "frame/automated_transform.h"
#include "frame/in_place_effect.h"
#include "reverb/reverb_engine.h"
#include "reverb/reverb_property.h"

namespace korva {

/// The Reverb's parameters and engine.
class CQvReverbTransform : public AutomatedTransform<IQvReverbProp2, ReverbParams>, public ParamSource<ReverbParams> {
 public:
  KORVA_REVERB_GROUPS(KORVA_IMPLEMENT_GROUP)

  bool FetchParams(ReverbParams& block) noexcept override;

 protected:
  CQvReverbTransform() noexcept : AutomatedTransform(kReverbEffect) {}

  void ValueSet(std::size_t row) override;
  void AllValuesSet() override { engine_.MarkLinesStale(true); }
  void HostChangedValue(DWORD index) override;

  HRESULT Update(const ReverbParams& block, ProcessMode mode, const TempoInfo* /*tempo*/) {
    return engine_.UpdateEngine(block, mode);
  }

  ReverbEngine engine_{*this};
};

/// The Reverb as a filter.
class CQvReverb final : public InPlaceEffect<CQvReverbTransform> {
 public:
  explicit CQvReverb(IUnknown* outer) : InPlaceEffect(outer, kReverbEffect) {}

 protected:
  void FormatChanged(const FormatRecord& format) override { engine_.SetFormat(format); }
  HRESULT PickUp(ChunkEvents& events) override;
};

}  // namespace korva
