#pragma once

#include <optional>
#include <span>

#include "streaming/movie_setup.h"
#include "streaming/unknown.h"

namespace korva {

/// A class that the module offers: a filter, or a property page.
struct ClassRow {
  const WCHAR* name;
  CLSID classId;
  /// Makes an object with no references yet. Null for no memory, or with a failure in `result`, which starts as `S_OK`.
  CUnknown* (*create)(IUnknown* outer, HRESULT* result);
  /// Called as the module comes (true) and goes (false); null where there is nothing to do, which is all of today's
  /// classes. The column belongs to the table's form.
  void (*initialise)(bool coming, const CLSID& classId);
  /// Filters only.
  std::optional<FilterSetup> setup;
};

/// Every class of the module. The order is that of registration, and part of what hosts see.
std::span<const ClassRow> ClassTable() noexcept;

/// The row of a class; null for an unknown one.
const ClassRow* FindClass(REFCLSID classId) noexcept;

/// The setup record of a filter class; null for a page, or an unknown class.
const FilterSetup* FindFilterSetup(REFCLSID classId) noexcept;

/// Tells every row that the module comes or goes.
void InitialiseClasses(bool coming) noexcept;

}  // namespace korva
