#pragma once

#include "frame/record_transform.h"
#include "pitchtime/pitchs_engine.h"
#include "pitchtime/pitchs_property.h"
#include "pitchtime/stretch_filter.h"

namespace korva {

/// The Pitch Shift's parameters and engine.
class CQvPitchsTransform : public RecordTransform<IQvPitchsProp, PitchsParams> {
 public:
  HRESULT GetFormat(WAVEFORMATEX* format, LONG pin) override { return TransformState::GetFormat(format, pin); }
  KORVA_IMPLEMENT_PAIR(Semitones, kPitchsSemitones, SetValue)
  KORVA_IMPLEMENT_PAIR(CentTenths, kPitchsCents, SetValue)
  KORVA_IMPLEMENT_PAIR(Accuracy, kPitchsAccuracy, SetFreeValue)
  KORVA_IMPLEMENT_PAIR(PreserveDuration, kPitchsPreserveDuration, SetFreeValue)
  KORVA_IMPLEMENT_PAIR(Mode, kPitchsMode, SetFreeValue)
  HRESULT GetTransposition(double* value) override { return GetField(&PitchsParams::transposition, value); }
  HRESULT SetTransposition(double value) override {
    return SetField(&PitchsParams::transposition, value, kPitchsTransposition);
  }
  KORVA_IMPLEMENT_PAIR(AntiAlias, kPitchsAntiAlias, SetFreeValue)
  HRESULT GetInitialSamples(double* value) override { return GetField(&PitchsParams::initialSamples, value); }
  HRESULT SetInitialSamples(double value) override {
    return SetField(&PitchsParams::initialSamples, HoldPitchsInitialSamples(value), kPitchsInitialSamples);
  }
  HRESULT GetSampleRate(DWORD* rate) override { return InputRate(rate); }

 protected:
  CQvPitchsTransform() noexcept : RecordTransform(kPitchsEffect) {}

  void RaiseRebuild() noexcept override { engine_.RaiseRebuild(); }

  PitchsEngine engine_{*this};
};

/// The Pitch Shift as a filter.
class CQvPitchs final : public StretchEffect<CQvPitchsTransform> {
 public:
  explicit CQvPitchs(IUnknown* outer) : StretchEffect(outer, kPitchsEffect) {}
};

}  // namespace korva
