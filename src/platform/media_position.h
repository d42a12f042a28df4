// The published interface of a stream's position in seconds, for hosts that script: seeking in its older form.
#pragma once

#include "platform/media.h"

#ifdef _WIN32

#include <control.h>

#else

// What scripts call by name passes these along; no code here looks into them.
struct ITypeInfo;
struct DISPPARAMS;
struct VARIANT;
struct EXCEPINFO;
using DISPID = LONG;
inline constexpr DISPID DISPID_UNKNOWN = -1;

struct IDispatch : IUnknown {
  virtual HRESULT GetTypeInfoCount(UINT* count) = 0;
  virtual HRESULT GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) = 0;
  virtual HRESULT GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale, DISPID* ids) = 0;
  virtual HRESULT Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags, DISPPARAMS* parameters,
                         VARIANT* result, EXCEPINFO* exception, UINT* badArgument) = 0;
};

using REFTIME = double;  // seconds

struct IMediaPosition : IDispatch {
  virtual HRESULT get_Duration(REFTIME* length) = 0;
  virtual HRESULT put_CurrentPosition(REFTIME time) = 0;
  virtual HRESULT get_CurrentPosition(REFTIME* time) = 0;
  virtual HRESULT get_StopTime(REFTIME* time) = 0;
  virtual HRESULT put_StopTime(REFTIME time) = 0;
  virtual HRESULT get_PrerollTime(REFTIME* time) = 0;
  virtual HRESULT put_PrerollTime(REFTIME time) = 0;
  virtual HRESULT put_Rate(double rate) = 0;
  virtual HRESULT get_Rate(double* rate) = 0;
  virtual HRESULT CanSeekForward(LONG* can) = 0;
  virtual HRESULT CanSeekBackward(LONG* can) = 0;
};

inline constexpr IID IID_IDispatch{0x00020400, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr HRESULT DISP_E_MEMBERNOTFOUND = static_cast<HRESULT>(0x80020003u);
inline constexpr HRESULT DISP_E_UNKNOWNNAME = static_cast<HRESULT>(0x80020006u);
inline constexpr HRESULT DISP_E_BADINDEX = static_cast<HRESULT>(0x8002000Bu);

#endif

namespace korva {

// The cross compiler's header ties no identifier to this one.
inline constexpr GUID kMediaPositionId{0x56a868b2, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};

}  // namespace korva

KORVA_INTERFACE_ID(IMediaPosition, korva::kMediaPositionId)
KORVA_PLATFORM_INTERFACE(IDispatch)
