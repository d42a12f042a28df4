#include <new>

#include "module/tokens/memory_token.h"
#include "platform/platform.h"

// What the names of the Microsoft compiler stand for in the definition file. Its callers take the object's address from
// a constructor's result; the GNU compiler's constructors leave nothing there.

extern "C" {

CMappingOfQvMemoryToken* KorvaConstructMappingOfToken(void* place, const _qvmemorytoken& token,
                                                      unsigned long access) noexcept {
  return new (place) CMappingOfQvMemoryToken(token, access);
}

COutOfProcessMemoryToken* KorvaConstructOutOfProcessToken(void* place, _qvmemorytoken& token, unsigned long access,
                                                          int anyAddress) noexcept {
  return new (place) COutOfProcessMemoryToken(token, access, anyAddress);
}

}  // extern "C"
