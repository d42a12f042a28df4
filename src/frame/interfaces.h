#pragma once

#include <cstdint>

#include "platform/persist.h"
#include "platform/wave_format.h"

// The interfaces of our own that every effect shares.
namespace korva {

inline constexpr IID IID_ITailOnlySample{0x447da113, 0x4ac8, 0x4833, {0x84, 0x9a, 0x2b, 0xa2, 0x85, 0xe1, 0xe5, 0x2b}};
inline constexpr IID IID_IStaticFilterPreset{
    0x36a22460, 0x0cc9, 0x11d0, {0x85, 0x74, 0x00, 0xa0, 0xc9, 0x05, 0x39, 0x12}};
inline constexpr IID IID_IQvAudioTransformFloat{
    0x8568d2a1, 0x2a86, 0x11d3, {0x9e, 0x94, 0x00, 0xc0, 0x4f, 0x68, 0xbe, 0x44}};
inline constexpr IID IID_IQvTranslationInfo{
    0x9e43494c, 0x2217, 0x425f, {0xb3, 0x6a, 0x76, 0x2c, 0x9d, 0x4e, 0xe5, 0x8a}};

/// What a media sample may answer to: nonzero means that the host has sent it only so that the effect may ring out,
/// with no new audio in it.
struct ITailOnlySample : IUnknown {
  virtual LONG IsTailOnly() = 0;
};

/// The built-in presets of a filter.
struct IStaticFilterPreset : IUnknown {
  virtual HRESULT GetPresetCount(LONG* count) = 0;
  /// Copies the name with its terminator. The buffer must hold 260 characters. `E_INVALIDARG` out of range.
  virtual HRESULT GetPresetName(LONG index, WCHAR* name) = 0;
  /// `E_INVALIDARG` out of range.
  virtual HRESULT SetPreset(LONG index) = 0;
};

/// The direct road, for hosts that hold no graph: interleaved 32-bit float frames, rewritten in place. One thread at a
/// time; refused while the filter runs in a graph, and the graph's start while this road is open.
struct IQvAudioTransformFloat : IUnknown {
  virtual HRESULT FloatStart(WORD channels, DWORD samplesPerSecond) = 0;
  /// `tailOnly` nonzero: no new audio, the effect rings out. 1 when there is nothing more to come.
  virtual HRESULT FloatProcess(float* buffer, DWORD frames, LONG tailOnly) = 0;
  /// Fills `buffer` with the next frames of the tail; `frames` says how many are offered and how many came. `S_FALSE`
  /// with the last of them.
  virtual HRESULT FloatTail(float* buffer, DWORD* frames) = 0;
  virtual HRESULT FloatStop() = 0;
  virtual HRESULT FloatQuery() = 0;
  /// Picks waiting changes up; `rewind` nonzero also restarts the engine and sets the host's time to 0. `S_FALSE` when
  /// there was nothing to do. In a running graph, where any thread may call it, the engine follows at the next chunk;
  /// with no stream there is no engine to bring in line.
  virtual HRESULT FloatReset(LONG rewind) = 0;
};

struct IQvTranslationInfo : IUnknown {
  /// Switches the module's language: a locale id and two reserved values.
  virtual HRESULT UpdateLanguage(DWORD locale, DWORD reserved1, DWORD reserved2) = 0;
};

KORVA_INTERFACE_ID(ITailOnlySample, IID_ITailOnlySample)
KORVA_INTERFACE_ID(IStaticFilterPreset, IID_IStaticFilterPreset)
KORVA_INTERFACE_ID(IQvAudioTransformFloat, IID_IQvAudioTransformFloat)
KORVA_INTERFACE_ID(IQvTranslationInfo, IID_IQvTranslationInfo)

}  // namespace korva
