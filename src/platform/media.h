// Published interfaces of the media-streaming model: filters, pins, samples, allocators, clocks, seeking.
// Includes the records, identifiers and wave formats that go with them.
#pragma once

#include "platform/media_types.h"
#include "platform/persist.h"
#include "platform/wave_format.h"

#ifndef _WIN32

struct IBaseFilter;
struct IEnumFilters;
struct IEnumMediaTypes;
struct IEnumPins;

struct IReferenceClock : IUnknown {
  virtual HRESULT GetTime(REFERENCE_TIME* time) = 0;
  virtual HRESULT AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, HEVENT event, DWORD_PTR* cookie) = 0;
  virtual HRESULT AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME periodTime, HSEMAPHORE semaphore,
                                 DWORD_PTR* cookie) = 0;
  virtual HRESULT Unadvise(DWORD_PTR cookie) = 0;
};

struct IPin : IUnknown {
  virtual HRESULT Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) = 0;
  virtual HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) = 0;
  virtual HRESULT Disconnect() = 0;
  virtual HRESULT ConnectedTo(IPin** pin) = 0;
  virtual HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) = 0;
  virtual HRESULT QueryPinInfo(PIN_INFO* info) = 0;
  virtual HRESULT QueryDirection(PIN_DIRECTION* direction) = 0;
  virtual HRESULT QueryId(LPWSTR* id) = 0;
  virtual HRESULT QueryAccept(const AM_MEDIA_TYPE* type) = 0;
  virtual HRESULT EnumMediaTypes(IEnumMediaTypes** enumerator) = 0;
  virtual HRESULT QueryInternalConnections(IPin** pins, ULONG* count) = 0;
  virtual HRESULT EndOfStream() = 0;
  virtual HRESULT BeginFlush() = 0;
  virtual HRESULT EndFlush() = 0;
  virtual HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) = 0;
};

struct IEnumPins : IUnknown {
  virtual HRESULT Next(ULONG count, IPin** pins, ULONG* fetched) = 0;
  virtual HRESULT Skip(ULONG count) = 0;
  virtual HRESULT Reset() = 0;
  virtual HRESULT Clone(IEnumPins** clone) = 0;
};

struct IEnumMediaTypes : IUnknown {
  virtual HRESULT Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) = 0;
  virtual HRESULT Skip(ULONG count) = 0;
  virtual HRESULT Reset() = 0;
  virtual HRESULT Clone(IEnumMediaTypes** clone) = 0;
};

struct IEnumFilters : IUnknown {
  virtual HRESULT Next(ULONG count, IBaseFilter** filters, ULONG* fetched) = 0;
  virtual HRESULT Skip(ULONG count) = 0;
  virtual HRESULT Reset() = 0;
  virtual HRESULT Clone(IEnumFilters** clone) = 0;
};

struct IFilterGraph : IUnknown {
  virtual HRESULT AddFilter(IBaseFilter* filter, LPCWSTR name) = 0;
  virtual HRESULT RemoveFilter(IBaseFilter* filter) = 0;
  virtual HRESULT EnumFilters(IEnumFilters** enumerator) = 0;
  virtual HRESULT FindFilterByName(LPCWSTR name, IBaseFilter** filter) = 0;
  virtual HRESULT ConnectDirect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) = 0;
  virtual HRESULT Reconnect(IPin* pin) = 0;
  virtual HRESULT Disconnect(IPin* pin) = 0;
  virtual HRESULT SetDefaultSyncSource() = 0;
};

struct IMediaEventSink : IUnknown {
  virtual HRESULT Notify(LONG eventCode, LONG_PTR parameter1, LONG_PTR parameter2) = 0;
};

struct IMediaFilter : IPersist {
  virtual HRESULT Stop() = 0;
  virtual HRESULT Pause() = 0;
  virtual HRESULT Run(REFERENCE_TIME start) = 0;
  virtual HRESULT GetState(DWORD timeoutMilliseconds, FILTER_STATE* state) = 0;
  virtual HRESULT SetSyncSource(IReferenceClock* clock) = 0;
  virtual HRESULT GetSyncSource(IReferenceClock** clock) = 0;
};

struct IBaseFilter : IMediaFilter {
  virtual HRESULT EnumPins(IEnumPins** enumerator) = 0;
  virtual HRESULT FindPin(LPCWSTR id, IPin** pin) = 0;
  virtual HRESULT QueryFilterInfo(FILTER_INFO* info) = 0;
  virtual HRESULT JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) = 0;
  virtual HRESULT QueryVendorInfo(LPWSTR* vendorInfo) = 0;
};

struct IAMovieSetup : IUnknown {
  virtual HRESULT Register() = 0;
  virtual HRESULT Unregister() = 0;
};

struct IMediaSample : IUnknown {
  virtual HRESULT GetPointer(BYTE** buffer) = 0;
  virtual LONG GetSize() = 0;
  virtual HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) = 0;
  virtual HRESULT SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) = 0;
  virtual HRESULT IsSyncPoint() = 0;
  virtual HRESULT SetSyncPoint(BOOL syncPoint) = 0;
  virtual HRESULT IsPreroll() = 0;
  virtual HRESULT SetPreroll(BOOL preroll) = 0;
  virtual LONG GetActualDataLength() = 0;
  virtual HRESULT SetActualDataLength(LONG length) = 0;
  virtual HRESULT GetMediaType(AM_MEDIA_TYPE** type) = 0;
  virtual HRESULT SetMediaType(AM_MEDIA_TYPE* type) = 0;
  virtual HRESULT IsDiscontinuity() = 0;
  virtual HRESULT SetDiscontinuity(BOOL discontinuity) = 0;
  virtual HRESULT GetMediaTime(LONGLONG* start, LONGLONG* stop) = 0;
  virtual HRESULT SetMediaTime(LONGLONG* start, LONGLONG* stop) = 0;
};

struct IMediaSample2 : IMediaSample {
  virtual HRESULT GetProperties(DWORD bytes, BYTE* properties) = 0;
  virtual HRESULT SetProperties(DWORD bytes, const BYTE* properties) = 0;
};

struct IMemAllocator : IUnknown {
  virtual HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) = 0;
  virtual HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) = 0;
  virtual HRESULT Commit() = 0;
  virtual HRESULT Decommit() = 0;
  virtual HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop, DWORD flags) = 0;
  virtual HRESULT ReleaseBuffer(IMediaSample* sample) = 0;
};

struct IMemAllocatorNotifyCallbackTemp : IUnknown {
  virtual HRESULT NotifyRelease() = 0;
};

struct IMemAllocatorCallbackTemp : IMemAllocator {
  virtual HRESULT SetNotify(IMemAllocatorNotifyCallbackTemp* notify) = 0;
  virtual HRESULT GetFreeCount(LONG* freeBuffers) = 0;
};

struct IMemInputPin : IUnknown {
  virtual HRESULT GetAllocator(IMemAllocator** allocator) = 0;
  virtual HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) = 0;
  virtual HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) = 0;
  virtual HRESULT Receive(IMediaSample* sample) = 0;
  virtual HRESULT ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) = 0;
  virtual HRESULT ReceiveCanBlock() = 0;
};

struct IQualityControl : IUnknown {
  virtual HRESULT Notify(IBaseFilter* self, Quality quality) = 0;
  virtual HRESULT SetSink(IQualityControl* sink) = 0;
};

struct IMediaSeeking : IUnknown {
  virtual HRESULT GetCapabilities(DWORD* capabilities) = 0;
  virtual HRESULT CheckCapabilities(DWORD* capabilities) = 0;
  virtual HRESULT IsFormatSupported(const GUID* format) = 0;
  virtual HRESULT QueryPreferredFormat(GUID* format) = 0;
  virtual HRESULT GetTimeFormat(GUID* format) = 0;
  virtual HRESULT IsUsingTimeFormat(const GUID* format) = 0;
  virtual HRESULT SetTimeFormat(const GUID* format) = 0;
  virtual HRESULT GetDuration(LONGLONG* duration) = 0;
  virtual HRESULT GetStopPosition(LONGLONG* stop) = 0;
  virtual HRESULT GetCurrentPosition(LONGLONG* current) = 0;
  virtual HRESULT ConvertTimeFormat(LONGLONG* target, const GUID* targetFormat, LONGLONG source,
                                    const GUID* sourceFormat) = 0;
  virtual HRESULT SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop, DWORD stopFlags) = 0;
  virtual HRESULT GetPositions(LONGLONG* current, LONGLONG* stop) = 0;
  virtual HRESULT GetAvailable(LONGLONG* earliest, LONGLONG* latest) = 0;
  virtual HRESULT SetRate(double rate) = 0;
  virtual HRESULT GetRate(double* rate) = 0;
  virtual HRESULT GetPreroll(LONGLONG* preroll) = 0;
};

inline constexpr IID IID_IPin{0x56a86891, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IEnumPins{0x56a86892, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IEnumFilters{0x56a86893, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IBaseFilter{0x56a86895, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IReferenceClock{0x56a86897, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IMediaFilter{0x56a86899, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IMediaSample{0x56a8689a, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IMemAllocator{0x56a8689c, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IMemInputPin{0x56a8689d, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IFilterGraph{0x56a8689f, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IMediaEventSink{0x56a868a2, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IQualityControl{0x56a868a5, 0x0ad4, 0x11ce, {0xb0, 0x3a, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
inline constexpr IID IID_IEnumMediaTypes{0x89c31040, 0x846b, 0x11ce, {0x97, 0xd3, 0x00, 0xaa, 0x00, 0x55, 0x59, 0x5a}};
inline constexpr IID IID_IMediaSeeking{0x36b73880, 0xc2c8, 0x11cf, {0x8b, 0x46, 0x00, 0x80, 0x5f, 0x6c, 0xef, 0x60}};
inline constexpr IID IID_IMediaSample2{0x36b73884, 0xc2c8, 0x11cf, {0x8b, 0x46, 0x00, 0x80, 0x5f, 0x6c, 0xef, 0x60}};
inline constexpr IID IID_IAMovieSetup{0xa3d8cec0, 0x7e5a, 0x11cf, {0xbb, 0xc5, 0x00, 0x80, 0x5f, 0x6c, 0xef, 0x20}};
inline constexpr IID IID_IMemAllocatorCallbackTemp{
    0x379a0cf0, 0xc1de, 0x11d2, {0xab, 0xf5, 0x00, 0xa0, 0xc9, 0x05, 0xf3, 0x75}};
inline constexpr IID IID_IMemAllocatorNotifyCallbackTemp{
    0x92980b30, 0xc1de, 0x11d2, {0xab, 0xf5, 0x00, 0xa0, 0xc9, 0x05, 0xf3, 0x75}};

#endif

KORVA_PLATFORM_INTERFACE(IPin)
KORVA_PLATFORM_INTERFACE(IEnumPins)
KORVA_PLATFORM_INTERFACE(IEnumFilters)
KORVA_PLATFORM_INTERFACE(IBaseFilter)
KORVA_PLATFORM_INTERFACE(IReferenceClock)
KORVA_PLATFORM_INTERFACE(IMediaFilter)
KORVA_PLATFORM_INTERFACE(IMediaSample)
KORVA_PLATFORM_INTERFACE(IMemAllocator)
KORVA_PLATFORM_INTERFACE(IMemInputPin)
KORVA_PLATFORM_INTERFACE(IFilterGraph)
KORVA_PLATFORM_INTERFACE(IMediaEventSink)
KORVA_PLATFORM_INTERFACE(IQualityControl)
KORVA_PLATFORM_INTERFACE(IEnumMediaTypes)
KORVA_PLATFORM_INTERFACE(IMediaSeeking)
KORVA_PLATFORM_INTERFACE(IMediaSample2)
KORVA_PLATFORM_INTERFACE(IAMovieSetup)
KORVA_PLATFORM_INTERFACE(IMemAllocatorCallbackTemp)
KORVA_PLATFORM_INTERFACE(IMemAllocatorNotifyCallbackTemp)
