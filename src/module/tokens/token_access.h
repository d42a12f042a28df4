#pragma once

#include "module/tokens/memory_token.h"
#include "module/tokens/token_arithmetic.h"

namespace korva {

/// The bits of `access` that count; reading and writing where it has neither.
constexpr unsigned long AccessOf(unsigned long access) noexcept {
  constexpr unsigned long kBoth = kTokenRead | kTokenWrite;
  return (access & kBoth) != 0 ? access & kBoth : kBoth;
}

}  // namespace korva
