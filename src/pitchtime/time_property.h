#pragma once

#include "frame/property_groups.h"
#include "pitchtime/time_params.h"

namespace korva {

/// The Time Stretch's property interface. Values are in the units of `TimeParams`. Percentage and mode are heard; the
/// rest serves the page.
struct IQvTimeProp : IUnknown {
  virtual HRESULT GetParams(TimeParams* record) = 0;
  /// `E_FAIL` when a value had to be held to its range; the record is taken all the same.
  virtual HRESULT SetParams(const TimeParams* record) = 0;
  /// `pin` 0 gives the input's format, 1 the output's; `VFW_E_NOT_CONNECTED` for any other or while there is none.
  virtual HRESULT GetFormat(WAVEFORMATEX* format, LONG pin) = 0;
  virtual HRESULT SetNotifyWindow(HWND window, LONG id) = 0;
  virtual HRESULT GetPercent(double* value) = 0;
  virtual HRESULT SetPercent(double value) = 0;
  KORVA_DECLARE_PAIR(Mode, kTimeMode, SetFreeValue)
  virtual HRESULT GetTempo(DWORD* value) = 0;
  virtual HRESULT SetTempo(DWORD value) = 0;
  virtual HRESULT GetInitialSamples(double* value) = 0;
  virtual HRESULT SetInitialSamples(double value) = 0;
  KORVA_DECLARE_PAIR(InputFormatKind, kTimeInputFormatKind, SetFreeValue)
  KORVA_DECLARE_PROPERTY_TAIL()
  /// Of the input; without one 44100 and `E_FAIL`.
  virtual HRESULT GetSampleRate(DWORD* rate) = 0;
};

inline constexpr IID IID_IQvTimeProp{0x5ff5b4a4, 0x858f, 0x11d0, {0xae, 0xbc, 0x00, 0xa0, 0xc9, 0x05, 0x39, 0x12}};
KORVA_INTERFACE_ID(IQvTimeProp, IID_IQvTimeProp)

}  // namespace korva
