#pragma once

#include "frame/property_groups.h"
#include "pitchtime/pitchs_params.h"

namespace korva {

/// The Pitch Shift's property interface. Values are in the units of `PitchsParams`.
///
/// `transposition` is what is heard; whoever sets semitones or cents sets it too.
struct IQvPitchsProp : IUnknown {
  virtual HRESULT GetParams(PitchsParams* record) = 0;
  /// `E_FAIL` when a value had to be held to its range; the record is taken all the same.
  virtual HRESULT SetParams(const PitchsParams* record) = 0;
  /// `pin` 0 gives the input's format, 1 the output's; `VFW_E_NOT_CONNECTED` for any other or while there is none.
  virtual HRESULT GetFormat(WAVEFORMATEX* format, LONG pin) = 0;
  virtual HRESULT SetNotifyWindow(HWND window, LONG id) = 0;
  KORVA_DECLARE_PAIR(Semitones, kPitchsSemitones, SetValue)
  KORVA_DECLARE_PAIR(CentTenths, kPitchsCents, SetValue)
  KORVA_DECLARE_PAIR(Accuracy, kPitchsAccuracy, SetFreeValue)
  KORVA_DECLARE_PAIR(PreserveDuration, kPitchsPreserveDuration, SetFreeValue)
  KORVA_DECLARE_PAIR(Mode, kPitchsMode, SetFreeValue)
  virtual HRESULT GetTransposition(double* value) = 0;
  virtual HRESULT SetTransposition(double value) = 0;
  KORVA_DECLARE_PAIR(AntiAlias, kPitchsAntiAlias, SetFreeValue)
  virtual HRESULT GetInitialSamples(double* value) = 0;
  virtual HRESULT SetInitialSamples(double value) = 0;
  KORVA_DECLARE_PROPERTY_TAIL()
  /// Of the input; without one 44100 and `E_FAIL`.
  virtual HRESULT GetSampleRate(DWORD* rate) = 0;
};

inline constexpr IID IID_IQvPitchsProp{0xed1b4103, 0x93be, 0x11d0, {0xae, 0xbc, 0x00, 0xa0, 0xc9, 0x05, 0x39, 0x12}};
KORVA_INTERFACE_ID(IQvPitchsProp, IID_IQvPitchsProp)

}  // namespace korva
