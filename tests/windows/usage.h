#pragma once

#include <malloc.h>

#include <algorithm>
#include <cstdint>

#include "platform/platform.h"

namespace korva {

/// What the process holds: how far its table of handles reaches, and bytes in use on its two heaps, the system's and
/// the C library's.
struct Usage {
  long handles = 0;
  long long bytes = 0;

  static Usage Now() {
    Usage usage;
    usage.handles = HighestHandle();
    const auto library = reinterpret_cast<HANDLE>(::_get_heap_handle());
    usage.bytes = BytesOf(::GetProcessHeap());
    if (library != ::GetProcessHeap()) usage.bytes += BytesOf(library);
    return usage;
  }
  friend Usage operator-(const Usage& left, const Usage& right) {
    return {left.handles - right.handles, left.bytes - right.bytes};
  }

 private:
  /// The system's own count is not to be had everywhere. Fresh handles fill the gaps first, so the highest of many
  /// tells how many are open.
  static long HighestHandle() {
    HANDLE fresh[300] = {};
    std::uintptr_t highest = 0;
    for (HANDLE& handle : fresh) {
      handle = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
      highest = std::max(highest, reinterpret_cast<std::uintptr_t>(handle));
    }
    for (const HANDLE handle : fresh) ::CloseHandle(handle);
    return static_cast<long>(highest / 4);
  }
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
