#pragma once

#include "platform/platform.h"
#include "streaming/movie_setup.h"

namespace korva {

/// Makes the module's classes known: their keys under HKEY_CLASSES_ROOT, naming the file that the module was loaded
/// from, and the filters in the system's filter mapper. The first failure ends it and is returned; the codes of the
/// registry and the system come as 0x80070000 with the system's own code.
HRESULT RegisterModule() noexcept;

/// Takes everything out again that `RegisterModule` wrote. What is already gone is no failure.
HRESULT UnregisterModule() noexcept;

/// The registrar of the module's filters: through the newest filter mapper that the system has. With no mapper there is
/// nothing to do.
HRESULT EnterInMapper(const FilterSetup& setup, bool enter) noexcept;

}  // namespace korva
