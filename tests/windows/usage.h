#pragma once

#include <malloc.h>

#include <cstddef>

#include "platform/platform.h"

namespace korva {

/// What the process holds: open handles, and bytes in use on its two heaps, the system's and the C library's.
struct Usage {
  long handles = 0;
  long long bytes = 0;

  static Usage Now() {
    Usage usage;
    DWORD handles = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &handles);
    usage.handles = static_cast<long>(handles);
    const auto library = reinterpret_cast<HANDLE>(::_get_heap_handle());
    usage.bytes = BytesOf(::GetProcessHeap());
    if (library != ::GetProcessHeap()) usage.bytes += BytesOf(library);
    return usage;
  }
  friend Usage operator-(const Usage& left, const Usage& right) {
    return {left.handles - right.handles, left.bytes - right.bytes};
  }

 private:
  static long long BytesOf(HANDLE heap) {
    long long bytes = 0;
    PROCESS_HEAP_ENTRY entry{};
    ::HeapLock(heap);
    while (::HeapWalk(heap, &entry)) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
    }
    ::HeapUnlock(heap);
    return bytes;
  }
};

}  // namespace korva
