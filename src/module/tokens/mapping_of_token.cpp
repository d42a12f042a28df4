#include <cstdint>

#include "module/tokens/memory_token.h"
#include "module/tokens/token_access.h"
#include "module/tokens/token_system.h"

using korva::tokenSystem;

namespace {

constexpr DWORD kMemoryRights = PROCESS_VM_OPERATION | PROCESS_VM_READ | PROCESS_VM_WRITE;

/// A handle to the process that owns a token's block, closed at the end.
class OwnerProcess {
 public:
  OwnerProcess(const _qvmemorytoken& token, DWORD rights) noexcept
      : handle_(tokenSystem->openProcess(rights, FALSE, token.owner)) {}
  OwnerProcess(const OwnerProcess&) = delete;
  OwnerProcess& operator=(const OwnerProcess&) = delete;
  ~OwnerProcess() {
    if (handle_ != nullptr) tokenSystem->closeHandle(handle_);
  }

  explicit operator bool() const noexcept { return handle_ != nullptr; }
  HANDLE get() const noexcept { return handle_; }

 private:
  HANDLE handle_;
};

/// An address in the owner process, `position` bytes into the data.
void* DataAddress(const _qvmemorytoken& token, std::uint64_t position = 0) noexcept {
  return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(token.base) + token.offset + position);
}

void* At(void* block, std::uint64_t position) noexcept {
  return static_cast<unsigned char*>(block) + position;
}

}  // namespace

CMappingOfQvMemoryToken::CMappingOfQvMemoryToken(const _qvmemorytoken& token, unsigned long access) noexcept
    : token_(token),
      pointer_(nullptr),
      view_(nullptr),
      duplicate_(INVALID_HANDLE_VALUE),
      mapped(0),
      copied(0),
      failed(1),
      writeBack(0),
      unused_{} {
  if (token_.owner == ::GetCurrentProcessId()) {
    // An address that wraps around names nothing.
    if (!korva::FitsAddressSpace(token_.base, token_.offset)) return;
    pointer_ = DataAddress(token_);
    failed = 0;
    return;
  }
  const unsigned long asked = korva::AccessOf(access);
  if (token_.kind == kTokenShared) {
    OpenShared(asked);
  } else if (token_.kind == kTokenPlain) {
    OpenPlain(asked);
  }
}

CMappingOfQvMemoryToken::~CMappingOfQvMemoryToken() {
  Dispose();
}

CMappingOfQvMemoryToken& CMappingOfQvMemoryToken::operator=(const CMappingOfQvMemoryToken& other) noexcept = default;

void CMappingOfQvMemoryToken::OpenShared(unsigned long access) noexcept {
  const OwnerProcess owner(token_, PROCESS_DUP_HANDLE);
  if (!owner) return;
  HANDLE duplicate = nullptr;
  if (tokenSystem->duplicateHandle(owner.get(), token_.mapping, ::GetCurrentProcess(), &duplicate, access, FALSE, 0) ==
      FALSE) {
    return;
  }
  // In 64 bits, so that no sum wraps into a view that is too short. What passes the mapping's end the system refuses.
  const std::uint64_t bytes = std::uint64_t{token_.dataSize} + token_.offset;
  view_ = tokenSystem->mapViewOfFile(duplicate, access, 0, 0, bytes);
  if (view_ == nullptr) {
    tokenSystem->closeHandle(duplicate);
    return;
  }
  duplicate_ = duplicate;
  pointer_ = static_cast<unsigned char*>(view_) + token_.offset;
  mapped = 1;
  failed = 0;
}

void CMappingOfQvMemoryToken::OpenPlain(unsigned long access) noexcept {
  if (!korva::FitsAddressSpace(token_.base, std::uint64_t{token_.offset} + token_.dataSize)) return;
  const HANDLE heap = ::GetProcessHeap();
  void* block = nullptr;
  if ((access & kTokenRead) == 0) {
    block = tokenSystem->heapAlloc(heap, HEAP_ZERO_MEMORY, token_.dataSize);
  } else {
    const OwnerProcess owner(token_, kMemoryRights);
    if (!owner) return;
    block = tokenSystem->heapAlloc(heap, HEAP_ZERO_MEMORY, token_.dataSize);
    if (block == nullptr) return;
    const bool read = korva::MoveInPieces(token_.dataSize, [&](std::uint64_t position, std::uint64_t bytes) noexcept {
      SIZE_T moved = 0;
      return tokenSystem->readProcessMemory(owner.get(), DataAddress(token_, position), At(block, position), bytes,
                                            &moved) != FALSE &&
             moved == bytes;
    });
    if (!read) {
      tokenSystem->heapFree(heap, 0, block);
      return;
    }
  }
  if (block == nullptr) return;
  pointer_ = block;
  copied = 1;
  writeBack = (access & kTokenWrite) != 0 ? 1 : 0;
  failed = 0;
}

void CMappingOfQvMemoryToken::Close() noexcept {
  Dispose();
}

void CMappingOfQvMemoryToken::Dispose() noexcept {
  if (failed == 0 && mapped != 0) {
    if (view_ != nullptr) tokenSystem->unmapViewOfFile(view_);
    if (duplicate_ != INVALID_HANDLE_VALUE) tokenSystem->closeHandle(duplicate_);
    view_ = nullptr;
    duplicate_ = INVALID_HANDLE_VALUE;
  } else if (failed == 0 && copied != 0 && pointer_ != nullptr) {
    if (writeBack != 0) WriteBack();
    tokenSystem->heapFree(::GetProcessHeap(), 0, pointer_);
  }
  pointer_ = nullptr;
}

void CMappingOfQvMemoryToken::WriteBack() noexcept {
  const OwnerProcess owner(token_, kMemoryRights);
  if (!owner) return;
  korva::MoveInPieces(token_.dataSize, [&](std::uint64_t position, std::uint64_t bytes) noexcept {
    return tokenSystem->writeProcessMemory(owner.get(), DataAddress(token_, position), At(pointer_, position), bytes,
                                           nullptr) != FALSE;
  });
}

long CMappingOfQvMemoryToken::GetPointer(void** out) noexcept {
  if (out == nullptr) return E_FAIL;
  *out = Pointer();
  return failed != 0 ? E_FAIL : S_OK;
}

void* CMappingOfQvMemoryToken::Pointer() noexcept {
  return failed != 0 ? nullptr : pointer_;
}

long CMappingOfQvMemoryToken::DataSize() noexcept {
  return failed != 0 ? -1 : static_cast<long>(token_.dataSize);
}
