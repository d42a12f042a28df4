#include <cstdint>

#include "module/tokens/memory_token.h"
#include "module/tokens/shared_token.h"
#include "module/tokens/token_access.h"
#include "module/tokens/token_system.h"

using korva::tokenSystem;

namespace {

bool LiesBelow4GB(const _qvmemorytoken& token) noexcept {
  return korva::FitsAddressSpace(token.base, token.offset) &&
         reinterpret_cast<std::uintptr_t>(token.base) + token.offset <= UINT32_MAX;
}

/// Copies one token's data into another's block. An address of this process that a token only claims fails here, where
/// a plain copy would end the program.
bool Copy(const _qvmemorytoken& from, const _qvmemorytoken& to) noexcept {
  CMappingOfQvMemoryToken source(from, kTokenRead);
  CMappingOfQvMemoryToken target(to, kTokenWrite);
  if (source.Pointer() == nullptr || target.Pointer() == nullptr || source.DataSize() != target.DataSize())
    return false;
  SIZE_T moved = 0;
  return tokenSystem->writeProcessMemory(::GetCurrentProcess(), target.Pointer(), source.Pointer(), from.dataSize,
                                         &moved) != FALSE &&
         moved == from.dataSize;
}

}  // namespace

COutOfProcessMemoryToken::COutOfProcessMemoryToken(_qvmemorytoken& token, unsigned long access, int anyAddress) noexcept
    : source_(token), portable_(token), ownsMapping(1), failed(1), access_(korva::AccessOf(access)), unused_(0) {
  const bool staysAsItIs =
      token.kind == kTokenShared || (token.kind == kTokenPlain && (anyAddress != 0 || LiesBelow4GB(token)));
  if (staysAsItIs) {
    ownsMapping = 0;
    failed = 0;
    return;
  }
  if (FAILED(korva::CreateSharedToken(portable_, source_.dataSize))) return;
  if ((access_ & kTokenRead) == 0 || Copy(source_, portable_)) {
    failed = 0;
  } else {
    korva::DestroySharedToken(portable_);
  }
}

COutOfProcessMemoryToken::~COutOfProcessMemoryToken() {
  if (ownsMapping == 0 || failed != 0) return;
  // The source may have gone meanwhile; then what was written is lost.
  if ((access_ & kTokenWrite) != 0) failed = Copy(portable_, source_) ? 0 : 1;
  korva::DestroySharedToken(portable_);
}

COutOfProcessMemoryToken& COutOfProcessMemoryToken::operator=(const COutOfProcessMemoryToken& other) noexcept = default;

long COutOfProcessMemoryToken::GetMemoryToken(_qvmemorytoken& out) noexcept {
  if (failed != 0) return E_FAIL;
  out = portable_;
  return S_OK;
}
