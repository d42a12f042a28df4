// The basic published types, the identifiers and the component interfaces that everything else is written in.
// On Windows these are the system's own headers. Elsewhere the same names are declared here, with the same sizes:
// 32-bit HRESULT, LONG, DWORD, ULONG and BOOL, 64-bit LONGLONG and 16-bit WCHAR. The two systems differ in the language
// type behind a name (LONG is `long` on one and `int` on the other), so pass pointers as LONG* or DWORD*, not as
// int32_t*.
#pragma once

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
// The order matters to them.
// clang-format off
#include <windows.h>
#include <objbase.h>
#include <vfwmsgs.h>
// clang-format on

// Object-like macros of the system's headers that would rename ordinary words.
#undef small
#undef GetTimeFormat

#define KORVA_WTEXT(text) L##text

#else

#include <cstddef>
#include <cstdint>

#include "platform/result_codes.h"

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using INT = std::int32_t;
using BOOL = std::int32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using DWORD_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LCID = DWORD;
using LANGID = WORD;
using FLOAT = float;

using WCHAR = char16_t;
using OLECHAR = WCHAR;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;

// NOLINTNEXTLINE(bugprone-reserved-identifier): the published name
struct HWND__;
using HWND = HWND__*;

#ifndef TRUE
inline constexpr BOOL TRUE = 1;
#endif
#ifndef FALSE
inline constexpr BOOL FALSE = 0;
#endif

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

union LARGE_INTEGER {
  struct {
    DWORD LowPart;
    LONG HighPart;
  } u;
  LONGLONG QuadPart;
};

union ULARGE_INTEGER {
  struct {
    DWORD LowPart;
    DWORD HighPart;
  } u;
  ULONGLONG QuadPart;
};

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];

  friend constexpr bool operator==(const GUID&, const GUID&) = default;
};

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

constexpr BOOL IsEqualGUID(REFGUID left, REFGUID right) noexcept {
  return left == right;
}
constexpr BOOL IsEqualIID(REFIID left, REFIID right) noexcept {
  return left == right;
}
constexpr BOOL IsEqualCLSID(REFCLSID left, REFCLSID right) noexcept {
  return left == right;
}

inline constexpr GUID GUID_NULL{};

#define STDMETHODCALLTYPE
#define KORVA_WTEXT(text) u##text

struct IUnknown {
  virtual HRESULT QueryInterface(REFIID interfaceId, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;
};

struct IClassFactory : IUnknown {
  virtual HRESULT CreateInstance(IUnknown* outer, REFIID interfaceId, void** object) = 0;
  virtual HRESULT LockServer(BOOL lock) = 0;
};

inline constexpr IID IID_IUnknown{0x00000000, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_IClassFactory{0x00000001, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

#endif

namespace korva {

template <class Interface>
struct InterfaceTag {};

// The identifier of an interface, in constant expressions too. Every interface that the headers of this folder name has
// one, and so has every interface given one by KORVA_INTERFACE_ID.
template <class Interface>
constexpr const GUID& InterfaceId() noexcept {
  return InterfaceIdOf(InterfaceTag<Interface>{});
}

}  // namespace korva

// Ties an interface to its identifier, a constant of static lifetime. Stands in the interface's own namespace.
#define KORVA_INTERFACE_ID(Interface, id)                                                             \
  constexpr const GUID& InterfaceIdOf([[maybe_unused]] korva::InterfaceTag<Interface> tag) noexcept { \
    return id;                                                                                        \
  }

// The same for an interface that the system's headers declare. The identifier constants of those headers need one
// import library or another; what the compiler knows of the type needs none.
#ifdef _WIN32
#define KORVA_PLATFORM_INTERFACE(Interface) KORVA_INTERFACE_ID(Interface, __uuidof(Interface))
#else
#define KORVA_PLATFORM_INTERFACE(Interface) KORVA_INTERFACE_ID(Interface, IID_##Interface)
#endif

KORVA_PLATFORM_INTERFACE(IUnknown)
KORVA_PLATFORM_INTERFACE(IClassFactory)
