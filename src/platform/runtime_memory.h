#pragma once

#include "platform/platform.h"

namespace korva {

/// Gives back what the C++ and thread runtimes inside the module still hold as it goes: the memory that is set aside at
/// start for throwing when there is none left, and the calling thread's data with the index that names it. By
/// themselves they keep these to the end of the process, and the system has no more than about a thousand such indexes.
/// The last call of all: nothing may throw, and no thread of the module may run, after it.
void FreeRuntimeMemory(HMODULE module) noexcept;

}  // namespace korva
