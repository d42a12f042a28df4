#pragma once

#include "module/tokens/memory_token.h"
#include "platform/platform.h"

namespace korva {

/// Makes `token` name a new shared block of `size` zero bytes, mapped here. `E_OUTOFMEMORY` leaves it cleared.
HRESULT CreateSharedToken(_qvmemorytoken& token, DWORD size) noexcept;

/// Gives back what `CreateSharedToken` made; `E_INVALIDARG` for any other kind of token. Either way `token` is cleared.
HRESULT DestroySharedToken(_qvmemorytoken& token) noexcept;

/// A token that names nothing.
_qvmemorytoken ClearedToken() noexcept;

}  // namespace korva
