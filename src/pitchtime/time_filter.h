#pragma once

#include "frame/record_transform.h"
#include "pitchtime/stretch_filter.h"
#include "pitchtime/time_engine.h"
#include "pitchtime/time_property.h"

namespace korva {

/// The Time Stretch's parameters and engine.
class CQvTimeTransform : public RecordTransform<IQvTimeProp, TimeParams> {
 public:
  HRESULT GetFormat(WAVEFORMATEX* format, LONG pin) override { return TransformState::GetFormat(format, pin); }
  HRESULT GetPercent(double* value) override { return GetField(&TimeParams::percentTimes100, value); }
  HRESULT SetPercent(double value) override {
    return SetField(&TimeParams::percentTimes100, HoldPercentTimes100(value), kTimePercent);
  }
  KORVA_IMPLEMENT_PAIR(Mode, kTimeMode, SetFreeValue)
  HRESULT GetTempo(DWORD* value) override { return GetField(&TimeParams::tempoTimes100, value); }
  HRESULT SetTempo(DWORD value) override;
  HRESULT GetInitialSamples(double* value) override { return GetField(&TimeParams::initialSamples, value); }
  HRESULT SetInitialSamples(double value) override {
    return SetField(&TimeParams::initialSamples, HoldTimeInitialSamples(value), kTimeInitialSamples);
  }
  KORVA_IMPLEMENT_PAIR(InputFormatKind, kTimeInputFormatKind, SetFreeValue)
  HRESULT GetSampleRate(DWORD* rate) override { return InputRate(rate); }

 protected:
  CQvTimeTransform() noexcept : RecordTransform(kTimeEffect) {}

  void RaiseRebuild() noexcept override { engine_.RaiseRebuild(); }

  TimeEngine engine_{*this};
};

/// The Time Stretch as a filter.
class CQvTime final : public StretchEffect<CQvTimeTransform> {
 public:
  explicit CQvTime(IUnknown* outer) : StretchEffect(outer, kTimeEffect) {}
};

}  // namespace korva
