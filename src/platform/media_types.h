// Published records and identifiers of the media-streaming model.
#pragma once

#include "platform/platform.h"

#ifdef _WIN32

#include <evcode.h>
#include <strmif.h>
#include <uuids.h>

#else

struct IBaseFilter;
struct IFilterGraph;

// Times are in units of 100 ns.
using REFERENCE_TIME = LONGLONG;
using HEVENT = DWORD_PTR;
using HSEMAPHORE = DWORD_PTR;

inline constexpr std::size_t MAX_PIN_NAME = 128;
inline constexpr std::size_t MAX_FILTER_NAME = 128;

struct AM_MEDIA_TYPE {
  GUID majortype;
  GUID subtype;
  BOOL bFixedSizeSamples;
  BOOL bTemporalCompression;
  ULONG lSampleSize;
  GUID formattype;
  IUnknown* pUnk;
  ULONG cbFormat;
  BYTE* pbFormat;
};

enum PIN_DIRECTION { PINDIR_INPUT = 0, PINDIR_OUTPUT = 1 };

struct PIN_INFO {
  IBaseFilter* pFilter;
  PIN_DIRECTION dir;
  WCHAR achName[128];
};

enum FILTER_STATE { State_Stopped = 0, State_Paused = 1, State_Running = 2 };

struct FILTER_INFO {
  WCHAR achName[128];
  IFilterGraph* pGraph;
};

struct ALLOCATOR_PROPERTIES {
  LONG cBuffers;
  LONG cbBuffer;
  LONG cbAlign;
  LONG cbPrefix;
};

// Flags of IMemAllocator::GetBuffer.
inline constexpr DWORD AM_GBF_PREVFRAMESKIPPED = 1;
inline constexpr DWORD AM_GBF_NOTASYNCPOINT = 2;
inline constexpr DWORD AM_GBF_NOWAIT = 4;

enum tagAM_SAMPLE_PROPERTY_FLAGS {
  AM_SAMPLE_SPLICEPOINT = 0x1,
  AM_SAMPLE_PREROLL = 0x2,
  AM_SAMPLE_DATADISCONTINUITY = 0x4,
  AM_SAMPLE_TYPECHANGED = 0x8,
  AM_SAMPLE_TIMEVALID = 0x10,
  AM_SAMPLE_TIMEDISCONTINUITY = 0x40,
  AM_SAMPLE_FLUSH_ON_PAUSE = 0x80,
  AM_SAMPLE_STOPVALID = 0x100,
  AM_SAMPLE_ENDOFSTREAM = 0x200,
  AM_STREAM_MEDIA = 0,
  AM_STREAM_CONTROL = 1
};

struct AM_SAMPLE2_PROPERTIES {
  DWORD cbData;
  DWORD dwTypeSpecificFlags;
  DWORD dwSampleFlags;
  LONG lActual;
  REFERENCE_TIME tStart;
  REFERENCE_TIME tStop;
  DWORD dwStreamId;
  AM_MEDIA_TYPE* pMediaType;
  BYTE* pbBuffer;
  LONG cbBuffer;
};

enum QualityMessageType { Famine = 0, Flood = 1 };

struct Quality {
  QualityMessageType Type;
  LONG Proportion;
  REFERENCE_TIME Late;
  REFERENCE_TIME TimeStamp;
};

enum AM_SEEKING_SEEKING_FLAGS {
  AM_SEEKING_NoPositioning = 0x0,
  AM_SEEKING_AbsolutePositioning = 0x1,
  AM_SEEKING_RelativePositioning = 0x2,
  AM_SEEKING_IncrementalPositioning = 0x3,
  AM_SEEKING_PositioningBitsMask = 0x3,
  AM_SEEKING_SeekToKeyFrame = 0x4,
  AM_SEEKING_ReturnTime = 0x8,
  AM_SEEKING_Segment = 0x10,
  AM_SEEKING_NoFlush = 0x20
};

enum AM_SEEKING_SEEKING_CAPABILITIES {
  AM_SEEKING_CanSeekAbsolute = 0x1,
  AM_SEEKING_CanSeekForwards = 0x2,
  AM_SEEKING_CanSeekBackwards = 0x4,
  AM_SEEKING_CanGetCurrentPos = 0x8,
  AM_SEEKING_CanGetStopPos = 0x10,
  AM_SEEKING_CanGetDuration = 0x20,
  AM_SEEKING_CanPlayBackwards = 0x40,
  AM_SEEKING_CanDoSegments = 0x80,
  AM_SEEKING_Source = 0x100
};

inline constexpr LONG EC_COMPLETE = 0x01;
inline constexpr LONG EC_USERABORT = 0x02;
inline constexpr LONG EC_ERRORABORT = 0x03;
inline constexpr LONG EC_STREAM_ERROR_STOPPED = 0x06;
inline constexpr LONG EC_QUALITY_CHANGE = 0x0B;

inline constexpr GUID MEDIATYPE_NULL{};
inline constexpr GUID MEDIASUBTYPE_NULL{};
inline constexpr GUID MEDIATYPE_Audio{0x73647561, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};
inline constexpr GUID MEDIATYPE_Video{0x73646976, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};
inline constexpr GUID MEDIASUBTYPE_None{0xe436eb8e, 0x524f, 0x11ce, {0x9f, 0x53, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr GUID MEDIASUBTYPE_PCM{0x00000001, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};
inline constexpr GUID MEDIASUBTYPE_IEEE_FLOAT{
    0x00000003, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xaa, 0x00, 0x38, 0x9b, 0x71}};
inline constexpr GUID FORMAT_None{0x0f6417d6, 0xc318, 0x11d0, {0xa4, 0x3f, 0x00, 0xa0, 0xc9, 0x22, 0x31, 0x96}};
inline constexpr GUID FORMAT_WaveFormatEx{0x05589f81, 0xc356, 0x11ce, {0xbf, 0x01, 0x00, 0xaa, 0x00, 0x55, 0x59, 0x5a}};
inline constexpr GUID TIME_FORMAT_NONE{};
inline constexpr GUID TIME_FORMAT_FRAME{0x7b785570, 0x8c82, 0x11cf, {0xbc, 0x0c, 0x00, 0xaa, 0x00, 0xac, 0x74, 0xf6}};
inline constexpr GUID TIME_FORMAT_BYTE{0x7b785571, 0x8c82, 0x11cf, {0xbc, 0x0c, 0x00, 0xaa, 0x00, 0xac, 0x74, 0xf6}};
inline constexpr GUID TIME_FORMAT_SAMPLE{0x7b785572, 0x8c82, 0x11cf, {0xbc, 0x0c, 0x00, 0xaa, 0x00, 0xac, 0x74, 0xf6}};
inline constexpr GUID TIME_FORMAT_FIELD{0x7b785573, 0x8c82, 0x11cf, {0xbc, 0x0c, 0x00, 0xaa, 0x00, 0xac, 0x74, 0xf6}};
inline constexpr GUID TIME_FORMAT_MEDIA_TIME{
    0x7b785574, 0x8c82, 0x11cf, {0xbc, 0x0c, 0x00, 0xaa, 0x00, 0xac, 0x74, 0xf6}};

#endif
