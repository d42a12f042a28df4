#pragma once

#include "platform/platform.h"

namespace korva {

/// Starts the module as it is loaded, in this order: the handle is kept, the language opened, the control
/// classes registered, the help path found, the classes told.
/// Runs under the system's loader lock and cannot fail: what does not start is missed later, where it is asked for.
void StartModule(HMODULE module) noexcept;

/// Ends what `StartModule` began. At the end of the process the system has stopped every other thread, perhaps in the
/// middle of an allocation, so nothing is freed then.
void EndModule(bool processEnds) noexcept;

/// The module's own handle; null when it is not loaded.
HMODULE ModuleHandle() noexcept;

}  // namespace korva
