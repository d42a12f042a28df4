// Published result codes for systems that have none. Included through platform.h.
#pragma once

#include <cstdint>

using HRESULT = std::int32_t;

constexpr bool SUCCEEDED(HRESULT result) noexcept {
  return result >= 0;
}
constexpr bool FAILED(HRESULT result) noexcept {
  return result < 0;
}

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT NOERROR = 0;

inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005u);
inline constexpr HRESULT E_HANDLE = static_cast<HRESULT>(0x80070006u);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
inline constexpr HRESULT E_PROP_ID_UNSUPPORTED = static_cast<HRESULT>(0x80070490u);
inline constexpr HRESULT E_PROP_SET_UNSUPPORTED = static_cast<HRESULT>(0x80070492u);

inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111u);

inline constexpr HRESULT STG_E_INVALIDFUNCTION = static_cast<HRESULT>(0x80030001u);
inline constexpr HRESULT STG_E_ACCESSDENIED = static_cast<HRESULT>(0x80030005u);
inline constexpr HRESULT STG_E_INVALIDPOINTER = static_cast<HRESULT>(0x80030009u);
inline constexpr HRESULT STG_E_SEEKERROR = static_cast<HRESULT>(0x80030019u);
inline constexpr HRESULT STG_E_WRITEFAULT = static_cast<HRESULT>(0x8003001Du);
inline constexpr HRESULT STG_E_READFAULT = static_cast<HRESULT>(0x8003001Eu);
inline constexpr HRESULT STG_E_MEDIUMFULL = static_cast<HRESULT>(0x80030070u);

inline constexpr HRESULT VFW_S_NO_MORE_ITEMS = 0x00040103;
inline constexpr HRESULT VFW_S_STATE_INTERMEDIATE = 0x00040237;
inline constexpr HRESULT VFW_S_MEDIA_TYPE_IGNORED = 0x00040254;
inline constexpr HRESULT VFW_S_ESTIMATED = 0x00040260;
inline constexpr HRESULT VFW_S_RESERVED = 0x00040263;
inline constexpr HRESULT VFW_S_CANT_CUE = 0x00040268;
inline constexpr HRESULT VFW_S_NO_STOP_TIME = 0x00040270;

inline constexpr HRESULT VFW_E_INVALIDMEDIATYPE = static_cast<HRESULT>(0x80040200u);
inline constexpr HRESULT VFW_E_INVALIDSUBTYPE = static_cast<HRESULT>(0x80040201u);
inline constexpr HRESULT VFW_E_NEED_OWNER = static_cast<HRESULT>(0x80040202u);
inline constexpr HRESULT VFW_E_ENUM_OUT_OF_SYNC = static_cast<HRESULT>(0x80040203u);
inline constexpr HRESULT VFW_E_ALREADY_CONNECTED = static_cast<HRESULT>(0x80040204u);
inline constexpr HRESULT VFW_E_FILTER_ACTIVE = static_cast<HRESULT>(0x80040205u);
inline constexpr HRESULT VFW_E_NO_TYPES = static_cast<HRESULT>(0x80040206u);
inline constexpr HRESULT VFW_E_NO_ACCEPTABLE_TYPES = static_cast<HRESULT>(0x80040207u);
inline constexpr HRESULT VFW_E_INVALID_DIRECTION = static_cast<HRESULT>(0x80040208u);
inline constexpr HRESULT VFW_E_NOT_CONNECTED = static_cast<HRESULT>(0x80040209u);
inline constexpr HRESULT VFW_E_NO_ALLOCATOR = static_cast<HRESULT>(0x8004020Au);
inline constexpr HRESULT VFW_E_RUNTIME_ERROR = static_cast<HRESULT>(0x8004020Bu);
inline constexpr HRESULT VFW_E_BUFFER_NOTSET = static_cast<HRESULT>(0x8004020Cu);
inline constexpr HRESULT VFW_E_BUFFER_OVERFLOW = static_cast<HRESULT>(0x8004020Du);
inline constexpr HRESULT VFW_E_BADALIGN = static_cast<HRESULT>(0x8004020Eu);
inline constexpr HRESULT VFW_E_ALREADY_COMMITTED = static_cast<HRESULT>(0x8004020Fu);
inline constexpr HRESULT VFW_E_BUFFERS_OUTSTANDING = static_cast<HRESULT>(0x80040210u);
inline constexpr HRESULT VFW_E_NOT_COMMITTED = static_cast<HRESULT>(0x80040211u);
inline constexpr HRESULT VFW_E_SIZENOTSET = static_cast<HRESULT>(0x80040212u);
inline constexpr HRESULT VFW_E_NO_CLOCK = static_cast<HRESULT>(0x80040213u);
inline constexpr HRESULT VFW_E_NO_SINK = static_cast<HRESULT>(0x80040214u);
inline constexpr HRESULT VFW_E_NO_INTERFACE = static_cast<HRESULT>(0x80040215u);
inline constexpr HRESULT VFW_E_NOT_FOUND = static_cast<HRESULT>(0x80040216u);
inline constexpr HRESULT VFW_E_CANNOT_CONNECT = static_cast<HRESULT>(0x80040217u);
inline constexpr HRESULT VFW_E_CHANGING_FORMAT = static_cast<HRESULT>(0x80040219u);
inline constexpr HRESULT VFW_E_STATE_CHANGED = static_cast<HRESULT>(0x80040223u);
inline constexpr HRESULT VFW_E_NOT_STOPPED = static_cast<HRESULT>(0x80040224u);
inline constexpr HRESULT VFW_E_NOT_PAUSED = static_cast<HRESULT>(0x80040225u);
inline constexpr HRESULT VFW_E_NOT_RUNNING = static_cast<HRESULT>(0x80040226u);
inline constexpr HRESULT VFW_E_WRONG_STATE = static_cast<HRESULT>(0x80040227u);
inline constexpr HRESULT VFW_E_START_TIME_AFTER_END = static_cast<HRESULT>(0x80040228u);
inline constexpr HRESULT VFW_E_TYPE_NOT_ACCEPTED = static_cast<HRESULT>(0x8004022Au);
inline constexpr HRESULT VFW_E_SAMPLE_REJECTED = static_cast<HRESULT>(0x8004022Bu);
inline constexpr HRESULT VFW_E_SAMPLE_REJECTED_EOS = static_cast<HRESULT>(0x8004022Cu);
inline constexpr HRESULT VFW_E_DUPLICATE_NAME = static_cast<HRESULT>(0x8004022Du);
inline constexpr HRESULT VFW_E_TIMEOUT = static_cast<HRESULT>(0x8004022Eu);
inline constexpr HRESULT VFW_E_CIRCULAR_GRAPH = static_cast<HRESULT>(0x80040231u);
inline constexpr HRESULT VFW_E_SAMPLE_TIME_NOT_SET = static_cast<HRESULT>(0x80040249u);
inline constexpr HRESULT VFW_E_MEDIA_TIME_NOT_SET = static_cast<HRESULT>(0x80040251u);
inline constexpr HRESULT VFW_E_NO_TIME_FORMAT_SET = static_cast<HRESULT>(0x80040252u);
inline constexpr HRESULT VFW_E_NOT_IN_GRAPH = static_cast<HRESULT>(0x8004025Fu);
inline constexpr HRESULT VFW_E_NO_TIME_FORMAT = static_cast<HRESULT>(0x80040261u);
