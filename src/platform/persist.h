// Published interfaces of persistence and of the list of property pages.
#pragma once

#include "platform/platform.h"

#ifdef _WIN32

#include <objidl.h>
#include <ocidl.h>

#else

inline constexpr DWORD STGTY_STREAM = 2;

inline constexpr DWORD STATFLAG_DEFAULT = 0;
inline constexpr DWORD STATFLAG_NONAME = 1;

inline constexpr DWORD STREAM_SEEK_SET = 0;
inline constexpr DWORD STREAM_SEEK_CUR = 1;
inline constexpr DWORD STREAM_SEEK_END = 2;

struct STATSTG {
  LPOLESTR pwcsName;
  DWORD type;
  ULARGE_INTEGER cbSize;
  FILETIME mtime;
  FILETIME ctime;
  FILETIME atime;
  DWORD grfMode;
  DWORD grfLocksSupported;
  CLSID clsid;
  DWORD grfStateBits;
  DWORD reserved;
};

// `pElems` comes from task memory and belongs to the caller.
struct CAUUID {
  ULONG cElems;
  GUID* pElems;
};

struct ISequentialStream : IUnknown {
  virtual HRESULT Read(void* buffer, ULONG bytes, ULONG* bytesRead) = 0;
  virtual HRESULT Write(const void* buffer, ULONG bytes, ULONG* bytesWritten) = 0;
};

struct IStream : ISequentialStream {
  virtual HRESULT Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) = 0;
  virtual HRESULT SetSize(ULARGE_INTEGER newSize) = 0;
  virtual HRESULT CopyTo(IStream* target, ULARGE_INTEGER bytes, ULARGE_INTEGER* bytesRead,
                         ULARGE_INTEGER* bytesWritten) = 0;
  virtual HRESULT Commit(DWORD flags) = 0;
  virtual HRESULT Revert() = 0;
  virtual HRESULT LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD lockType) = 0;
  virtual HRESULT UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER bytes, DWORD lockType) = 0;
  virtual HRESULT Stat(STATSTG* statistics, DWORD flags) = 0;
  virtual HRESULT Clone(IStream** clone) = 0;
};

struct IPersist : IUnknown {
  virtual HRESULT GetClassID(CLSID* classId) = 0;
};

struct IPersistStream : IPersist {
  virtual HRESULT IsDirty() = 0;
  virtual HRESULT Load(IStream* stream) = 0;
  virtual HRESULT Save(IStream* stream, BOOL clearDirty) = 0;
  virtual HRESULT GetSizeMax(ULARGE_INTEGER* size) = 0;
};

struct ISpecifyPropertyPages : IUnknown {
  virtual HRESULT GetPages(CAUUID* pages) = 0;
};

inline constexpr IID IID_ISequentialStream{
    0x0c733a30, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr IID IID_IStream{0x0000000c, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_IPersist{0x0000010c, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_IPersistStream{0x00000109, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_ISpecifyPropertyPages{
    0xb196b28b, 0xbab4, 0x101a, {0xb6, 0x9c, 0x00, 0xaa, 0x00, 0x34, 0x1d, 0x07}};

#endif

KORVA_PLATFORM_INTERFACE(ISequentialStream)
KORVA_PLATFORM_INTERFACE(IStream)
KORVA_PLATFORM_INTERFACE(IPersist)
KORVA_PLATFORM_INTERFACE(IPersistStream)
KORVA_PLATFORM_INTERFACE(ISpecifyPropertyPages)

#ifdef _WIN32
KORVA_PLATFORM_INTERFACE(IPropertyPage)
KORVA_PLATFORM_INTERFACE(IPropertyPageSite)
#endif
