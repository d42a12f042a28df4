#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace korva {

/// One operation of an interface by its slot, as hosts in other languages call it.
template <class... Arguments>
HRESULT CallSlot(IUnknown* object, std::size_t slot, Arguments... arguments) {
  void* const* const table = *reinterpret_cast<void* const* const*>(object);
  return reinterpret_cast<HRESULT (*)(IUnknown*, Arguments...)>(table[slot])(object, arguments...);
}

}  // namespace korva
