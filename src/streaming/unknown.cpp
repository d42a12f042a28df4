#include "streaming/unknown.h"

namespace korva {

HRESULT CUnknown::NonDelegatingQueryInterface(REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (iid != InterfaceId<IUnknown>()) return E_NOINTERFACE;
  *out = &inner_;
  inner_.AddRef();
  return S_OK;
}

ULONG CUnknown::Inner::AddRef() {
  return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG CUnknown::Inner::Release() {
  const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) {
    // A destructor may take and give references to itself; they must not end it a second time.
    references_.store(1, std::memory_order_relaxed);
    delete &self_;
  }
  return left;
}

}  // namespace korva
