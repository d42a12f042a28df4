#pragma once

#include "audio/param_source.h"
#include "frame/automated_transform.h"
#include "frame/in_place_filter.h"
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

  ReverbEngine engine_{*this};
};

/// The Reverb as a filter.
class CQvReverb final : public CQvInPlaceFilter, public CQvReverbTransform {
 public:
  /// A new filter holds preset row 0.
  explicit CQvReverb(IUnknown* outer);
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;
  BlockHolder& parameters() noexcept override { return *this; }

 protected:
  CQvPlugInParams* automation() noexcept override { return this; }
  HRESULT StartEngine(const FormatRecord& format) override;
  void StopEngine() override { engine_.ReverbRelease(); }
  void FormatChanged(const FormatRecord& format) override { engine_.SetFormat(format); }
  bool HasTail() override { return true; }
  bool TailIsOver() override { return engine_.tailOnlyDone(); }
  HRESULT PickUp(ChunkEvents& events) override;
  HRESULT RunKernel(ProcessMode mode, void* data, std::uint32_t& frames, bool tailOnly) override;
  HRESULT ChangesWaiting() override;
  HRESULT ResetEngine(bool rewind) override;
};

}  // namespace korva
