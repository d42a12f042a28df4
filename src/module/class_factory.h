#pragma once

#include "module/class_table.h"
#include "streaming/counted.h"

namespace korva {

/// Creates the objects of one row of the class table.
class CClassFactory final : public Counted<InterfaceList<IClassFactory>> {
 public:
  explicit CClassFactory(const ClassRow& row) noexcept : row_(row) {}

  /// Null `out` gives `E_POINTER`. With an outer object the first interface asked for must be `IUnknown`, else
  /// `E_NOINTERFACE`.
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
  /// Keeps the module loaded with no object alive; calls are counted.
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

  /// Whether locks or live objects, factories included, need the module.
  static bool ModuleInUse() noexcept;

 private:
  ~CClassFactory() override = default;

  const ClassRow& row_;
};

/// The class object of `classId`, as a host asks the module for it: `E_NOINTERFACE` for an interface that no class
/// object has, before the class is looked for; `CLASS_E_CLASSNOTAVAILABLE` for a class that is not here.
HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** out) noexcept;

}  // namespace korva
