#pragma once

#include "module/class_table.h"

// The keys of a class under HKEY_CLASSES_ROOT. Failures come as 0x80070000 with the system's code.
namespace korva {

constexpr HRESULT SystemFailure(LONG code) noexcept {
  return static_cast<HRESULT>(0x80070000U | (static_cast<ULONG>(code) & 0xFFFFU));
}

/// Writes the keys of a class that `modulePath` holds, over what is there.
HRESULT WriteClassKeys(const ClassRow& row, const WCHAR* modulePath) noexcept;

/// Deletes the keys of a class with everything below them. What resists, or is not there, is passed over.
void DeleteClassKeys(REFCLSID classId) noexcept;

/// Creates the key of a class, with nothing in it, and deletes it again.
HRESULT CreateAndDeleteClassKey(REFCLSID classId) noexcept;

}  // namespace korva
