// Published interfaces of media parameters: their description, their values, their envelopes, and the host's callback.
#pragma once

#include "platform/media_types.h"

#ifdef _WIN32

// The cross compiler's header lists the operations of IMediaParams in another order than the published one. Hosts call
// by slot, so that declaration is set aside and the published one stands below for both systems.
#define IMediaParams IMediaParamsInHeaderOrder
#include <medparam.h>
#undef IMediaParams

#else

using MP_DATA = float;
using MP_TIMEDATA = DWORD;
using MP_CAPS = DWORD;
using MP_FLAGS = DWORD;

enum MP_TYPE { MPT_INT = 0, MPT_FLOAT = 1, MPT_BOOL = 2, MPT_ENUM = 3, MPT_MAX = 4 };

enum MP_CURVE_TYPE {
  MP_CURVE_JUMP = 0x1,
  MP_CURVE_LINEAR = 0x2,
  MP_CURVE_SQUARE = 0x4,
  MP_CURVE_INVSQUARE = 0x8,
  MP_CURVE_SINE = 0x10
};

inline constexpr MP_CAPS MP_CAPS_CURVE_JUMP = MP_CURVE_JUMP;
inline constexpr MP_CAPS MP_CAPS_CURVE_LINEAR = MP_CURVE_LINEAR;
inline constexpr MP_CAPS MP_CAPS_CURVE_SQUARE = MP_CURVE_SQUARE;
inline constexpr MP_CAPS MP_CAPS_CURVE_INVSQUARE = MP_CURVE_INVSQUARE;
inline constexpr MP_CAPS MP_CAPS_CURVE_SINE = MP_CURVE_SINE;

struct MP_PARAMINFO {
  MP_TYPE mpType;
  MP_CAPS mopCaps;
  MP_DATA mpdMinValue;
  MP_DATA mpdMaxValue;
  MP_DATA mpdNeutralValue;
  WCHAR szUnitText[32];
  WCHAR szLabel[32];
};

struct MP_ENVELOPE_SEGMENT {
  REFERENCE_TIME rtStart;
  REFERENCE_TIME rtEnd;
  MP_DATA valStart;
  MP_DATA valEnd;
  MP_CURVE_TYPE iCurve;
  MP_FLAGS flags;
};

struct IMediaParamInfo : IUnknown {
  virtual HRESULT GetParamCount(DWORD* count) = 0;
  virtual HRESULT GetParamInfo(DWORD index, MP_PARAMINFO* info) = 0;
  virtual HRESULT GetParamText(DWORD index, WCHAR** text) = 0;
  virtual HRESULT GetNumTimeFormats(DWORD* count) = 0;
  virtual HRESULT GetSupportedTimeFormat(DWORD index, GUID* format) = 0;
  virtual HRESULT GetCurrentTimeFormat(GUID* format, MP_TIMEDATA* timeData) = 0;
};

inline constexpr IID IID_IMediaParamInfo{0x6d6cbb60, 0xa223, 0x44aa, {0x84, 0x2f, 0xa2, 0xf0, 0x67, 0x50, 0xbe, 0x6d}};

#endif

struct IMediaParams : IUnknown {
  virtual HRESULT GetParam(DWORD index, MP_DATA* value) = 0;
  virtual HRESULT SetParam(DWORD index, MP_DATA value) = 0;
  virtual HRESULT AddEnvelope(DWORD index, DWORD count, MP_ENVELOPE_SEGMENT* segments) = 0;
  virtual HRESULT FlushEnvelope(DWORD index, REFERENCE_TIME start, REFERENCE_TIME end) = 0;
  virtual HRESULT SetTimeFormat(GUID format, MP_TIMEDATA timeData) = 0;
};

namespace korva {
inline constexpr IID kIMediaParamsId{0x6d6cbb61, 0xa223, 0x44aa, {0x84, 0x2f, 0xa2, 0xf0, 0x67, 0x50, 0xbe, 0x6e}};
}  // namespace korva

KORVA_PLATFORM_INTERFACE(IMediaParamInfo)
KORVA_INTERFACE_ID(IMediaParams, korva::kIMediaParamsId)

// What a host hands over to hear of changes. Each call is made on the thread that made the change, with no lock held.
struct IMediaParamsUICallback : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE ParamsBeginCapture(DWORD* indices, DWORD count) = 0;
  virtual HRESULT STDMETHODCALLTYPE ParamsChanged(DWORD* indices, DWORD count, MP_DATA* values) = 0;
  virtual HRESULT STDMETHODCALLTYPE ParamsEndCapture(DWORD* indices, DWORD count) = 0;
};

struct IMediaParamsSetUICallback : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE SetUICallback(IMediaParamsUICallback* callback) = 0;
};

inline constexpr IID IID_IMediaParamsUICallback{
    0xb8e0480a, 0xe08d, 0x4a5d, {0x92, 0x28, 0x24, 0x80, 0x17, 0x03, 0x23, 0x68}};
inline constexpr IID IID_IMediaParamsSetUICallback{
    0xf5011136, 0xc416, 0x48b9, {0x8c, 0x35, 0xe7, 0xc5, 0xf9, 0xaa, 0x6f, 0xdf}};

KORVA_INTERFACE_ID(IMediaParamsUICallback, IID_IMediaParamsUICallback)
KORVA_INTERFACE_ID(IMediaParamsSetUICallback, IID_IMediaParamsSetUICallback)

namespace korva {

// In this namespace because some system headers declare it, as an object of an import library, and some do not.
inline constexpr GUID GUID_TIME_REFERENCE{0x93ad712b, 0xdaa0, 0x4ffe, {0xbc, 0x81, 0xb0, 0xce, 0x50, 0x0f, 0xcd, 0xd9}};

// The index that stands for every parameter.
inline constexpr DWORD kAllParams = 0xFFFFFFFFu;

}  // namespace korva
