#pragma once

#include <span>

#include "platform/media_types.h"

// What the system's list of filters knows of a filter, and who enters it there.
namespace korva {

struct MediaTypeSetup {
  const GUID* majorType;
  const GUID* subtype;  ///< GUID_NULL stands for any
};

struct PinSetup {
  const WCHAR* name;
  bool rendered, output, zeroAllowed, manyAllowed;
  const CLSID* connectsToFilter;
  const WCHAR* connectsToPin;
  std::span<const MediaTypeSetup> types;
};

struct FilterSetup {
  CLSID classId;
  const WCHAR* name;  ///< shown to users
  DWORD merit;
  std::span<const PinSetup> pins;
};

/// The system's list of filters, as filters reach it.
struct FilterRegistrar {
  /// The record of a filter class; null for one that only its own program knows.
  const FilterSetup* (*find)(REFCLSID classId) noexcept;
  /// Enters a filter in the list, or takes it out. One that is not there counts as taken out.
  HRESULT (*enter)(const FilterSetup& setup, bool enter) noexcept;
};

/// Kept by address. Null, as at first, where there is no such list.
void SetFilterRegistrar(const FilterRegistrar* registrar) noexcept;
const FilterRegistrar* GetFilterRegistrar() noexcept;

}  // namespace korva
