#include "module/class_factory.h"

#include <atomic>
#include <new>

namespace korva {
namespace {

std::atomic<long> serverLocks{0};

bool IsClassObjectInterface(REFIID iid) noexcept {
  return iid == InterfaceId<IUnknown>() || iid == InterfaceId<IClassFactory>();
}

}  // namespace

HRESULT CClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (outer != nullptr && iid != InterfaceId<IUnknown>()) return E_NOINTERFACE;
  HRESULT result = S_OK;
  CUnknown* const object = row_.create(outer, &result);
  if (object == nullptr) return FAILED(result) ? result : E_OUTOFMEMORY;
  IUnknown* const inner = object->InnerUnknown();
  inner->AddRef();
  if (SUCCEEDED(result)) result = inner->QueryInterface(iid, out);
  inner->Release();
  return result;
}

HRESULT CClassFactory::LockServer(BOOL lock) {
  serverLocks.fetch_add(lock != FALSE ? 1 : -1, std::memory_order_relaxed);
  return S_OK;
}

bool CClassFactory::ModuleInUse() noexcept {
  return serverLocks.load(std::memory_order_relaxed) > 0 || ObjectsActive() > 0;
}

HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** out) noexcept {
  if (out != nullptr) *out = nullptr;
  if (!IsClassObjectInterface(iid)) return E_NOINTERFACE;
  if (out == nullptr) return E_POINTER;
  const ClassRow* const row = FindClass(classId);
  if (row == nullptr) return CLASS_E_CLASSNOTAVAILABLE;
  auto* const factory = new (std::nothrow) CClassFactory(*row);
  if (factory == nullptr) return E_OUTOFMEMORY;
  factory->AddRef();
  *out = static_cast<IClassFactory*>(factory);
  return S_OK;
}

}  // namespace korva
