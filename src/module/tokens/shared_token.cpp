#include "module/tokens/shared_token.h"

#include "module/tokens/token_system.h"

namespace korva {

_qvmemorytoken ClearedToken() noexcept {
  _qvmemorytoken token{};
  token.mapping = INVALID_HANDLE_VALUE;
  return token;
}

HRESULT CreateSharedToken(_qvmemorytoken& token, DWORD size) noexcept {
  token = ClearedToken();
  const HANDLE mapping =
      tokenSystem->createFileMapping(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, nullptr);
  if (mapping == nullptr) return E_OUTOFMEMORY;
  void* const view = tokenSystem->mapViewOfFile(mapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0);
  if (view == nullptr) {
    tokenSystem->closeHandle(mapping);
    return E_OUTOFMEMORY;
  }
  token.mapping = mapping;
  token.base = view;
  token.dataSize = size;
  token.allocatedSize = size;
  token.kind = kTokenShared;
  token.owner = ::GetCurrentProcessId();
  return S_OK;
}

HRESULT DestroySharedToken(_qvmemorytoken& token) noexcept {
  const bool shared = token.kind == kTokenShared;
  if (shared) {
    tokenSystem->unmapViewOfFile(token.base);
    tokenSystem->closeHandle(token.mapping);
  }
  token = ClearedToken();
  return shared ? S_OK : E_INVALIDARG;
}

}  // namespace korva
