// The interfaces through which a host that plays music shares its tempo and its meter.
// They are fixed by the hosts in use: slots may not move, and those that nothing here calls keep their place.
#pragma once

#include "platform/wave_format.h"

// Formats of a time record.
inline constexpr LONG kMfxFrames = 2;
inline constexpr LONG kMfxTicks = 3;

// A time. `format` says which value counts; set `frames` to 0 before `ticks`, so that the unused half is never stale.
struct MfxTime {
  LONG format;
  LONG padding;
  union {
    LONGLONG frames;
    LONG ticks;
  };
};

// Times are whole ticks and whole milliseconds from the start of the song. Called from the audio thread, under the
// effect's own lock: no implementation may call back.
struct IMfxTempoMap : IUnknown {
  virtual LONG STDMETHODCALLTYPE TicksToMsecs(LONG ticks) = 0;
  virtual LONG STDMETHODCALLTYPE MsecsToTicks(LONG milliseconds) = 0;
  virtual int STDMETHODCALLTYPE GetTicksPerQuarterNote() = 0;
  virtual int STDMETHODCALLTYPE GetTempoIndexForTime(LONG ticks) = 0;
  virtual int STDMETHODCALLTYPE GetTempoCount() = 0;
  // `bpm100` is the tempo in hundredths of a beat per minute.
  virtual HRESULT STDMETHODCALLTYPE GetTempoAt(int index, LONG* ticks, int* bpm100) = 0;
};

// Measures and beats count from 1. The same rule for threads as above.
struct IMfxMeterMap : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE TicksToMBT(LONG time, int* measure, int* beat, int* ticks) = 0;
  virtual LONG STDMETHODCALLTYPE MBTToTicks(int measure, int beat, int ticks) = 0;
  virtual int STDMETHODCALLTYPE GetMeterIndexForTime(LONG ticks) = 0;
  virtual int STDMETHODCALLTYPE GetMeterCount() = 0;
  // The meter is `top` over 2 to the power of `bottomPower`.
  virtual HRESULT STDMETHODCALLTYPE GetMeterAt(int index, int* measure, int* top, int* bottomPower) = 0;
};

struct IMfxTimeConverter : IUnknown {
  // Rewrites `time` in place in `newFormat`, `format` word included.
  virtual HRESULT STDMETHODCALLTYPE ConvertMfxTime(MfxTime* time, int newFormat) = 0;
};

// Held while connected and never called, so its own slots are not declared.
struct IMfxPreciseTempo : IUnknown {};

// The effect's side: the host connects its maps and tells of the transport. All times are ticks.
struct IMfxSoftSynth : IUnknown {
  // `host` comes with a reference, which the callee releases once it is connected.
  virtual HRESULT STDMETHODCALLTYPE Connect(IUnknown* host) = 0;
  virtual HRESULT STDMETHODCALLTYPE Disconnect() = 0;
  virtual HRESULT STDMETHODCALLTYPE OnStart(LONG tick) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnLoop(LONG fromTick, LONG toTick) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnStop(LONG tick) = 0;
  // Ten slots for instruments: events, input, and eight queries for banks and names. An effect plays no notes.
  virtual HRESULT STDMETHODCALLTYPE OnEvents(LONG fromTick, LONG toTick, DWORD channel, void* queue) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnInput(DWORD channel, void* queue) = 0;
  virtual HRESULT STDMETHODCALLTYPE BankQuery1(void* first, void* second) = 0;
  virtual HRESULT STDMETHODCALLTYPE BankQuery2(int first, int second) = 0;
  virtual HRESULT STDMETHODCALLTYPE BankQuery3(int first, int second) = 0;
  virtual HRESULT STDMETHODCALLTYPE BankQuery4(int first, void* second) = 0;
  virtual HRESULT STDMETHODCALLTYPE BankQuery5(int first, int second, void* third) = 0;
  virtual HRESULT STDMETHODCALLTYPE BankQuery6(void* first) = 0;
  virtual HRESULT STDMETHODCALLTYPE BankQuery7(void* first) = 0;
  virtual HRESULT STDMETHODCALLTYPE BankQuery8(void* first) = 0;
  // VFW_E_NOT_CONNECTED while the effect has no format.
  virtual HRESULT STDMETHODCALLTYPE GetFormat(WAVEFORMATEX* format) = 0;
};

inline constexpr IID IID_IMfxSoftSynth{0x5bbdf239, 0x3046, 0x4daa, {0x8a, 0xdd, 0x3b, 0x93, 0x73, 0x54, 0x5b, 0x74}};
inline constexpr IID IID_IMfxTempoMap{0xff76f7c3, 0xf166, 0x11d1, {0xa8, 0xe0, 0x00, 0x00, 0xa0, 0x09, 0x0d, 0xaf}};
inline constexpr IID IID_IMfxMeterMap{0xff76f7c4, 0xf166, 0x11d1, {0xa8, 0xe0, 0x00, 0x00, 0xa0, 0x09, 0x0d, 0xaf}};
inline constexpr IID IID_IMfxTimeConverter{
    0xff94aba0, 0x4df9, 0x4120, {0x94, 0x7d, 0x5e, 0x30, 0x3e, 0x49, 0xb8, 0x1f}};
inline constexpr IID IID_IMfxPreciseTempo{0xf7c3b880, 0x0557, 0x44bb, {0x8c, 0x30, 0x3a, 0x77, 0xd5, 0xe9, 0x10, 0xba}};

KORVA_INTERFACE_ID(IMfxSoftSynth, IID_IMfxSoftSynth)
KORVA_INTERFACE_ID(IMfxTempoMap, IID_IMfxTempoMap)
KORVA_INTERFACE_ID(IMfxMeterMap, IID_IMfxMeterMap)
KORVA_INTERFACE_ID(IMfxTimeConverter, IID_IMfxTimeConverter)
KORVA_INTERFACE_ID(IMfxPreciseTempo, IID_IMfxPreciseTempo)
