#include <cstddef>

#include "platform/runtime_memory.h"

#ifdef __GLIBCXX__
// Declared in none of its headers.
namespace __gnu_cxx {
void __freeres();
}
#endif

// The linker calls the system's own so, and puts the other in the place of what the runtimes import.
extern "C" {
extern DWORD(WINAPI* const __real___imp_TlsAlloc)();
extern DWORD(WINAPI* const __wrap___imp_TlsAlloc)();
}

namespace {

// The runtimes ask for one or two; any more are not given back.
constexpr std::size_t kMostIndexes = 8;
DWORD indexes[kMostIndexes];
std::size_t indexCount = 0;

DWORD WINAPI AllocateIndex() noexcept {
  const DWORD index = __real___imp_TlsAlloc();
  if (index != TLS_OUT_OF_INDEXES && indexCount < kMostIndexes) indexes[indexCount++] = index;
  return index;
}

}  // namespace

DWORD(WINAPI* const __wrap___imp_TlsAlloc)() = &AllocateIndex;

namespace korva {
namespace {

/// Tells the callbacks in the module's directory of thread data that the calling thread ends, as the system does.
void EndOfThread(HMODULE module) noexcept {
  const auto* const image = reinterpret_cast<const BYTE*>(module);
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
  const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(image + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& entry = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_TLS];
  if (entry.VirtualAddress == 0) return;
  const auto* const directory = reinterpret_cast<const IMAGE_TLS_DIRECTORY64*>(image + entry.VirtualAddress);
  const auto* callback = reinterpret_cast<const PIMAGE_TLS_CALLBACK*>(directory->AddressOfCallBacks);
  if (callback == nullptr) return;
  for (; *callback != nullptr; ++callback) (*callback)(module, DLL_THREAD_DETACH, nullptr);
}

}  // namespace

void FreeRuntimeMemory(HMODULE module) noexcept {
  EndOfThread(module);
  while (indexCount != 0) ::TlsFree(indexes[--indexCount]);
#ifdef __GLIBCXX__
  __gnu_cxx::__freeres();
#endif
}

}  // namespace korva
