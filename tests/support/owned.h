#pragma once

#include <atomic>
#include <type_traits>

#include "streaming/com_ptr.h"
#include "streaming/unknown.h"

namespace korva {

/// A component that a test makes and holds by one reference.
template <class Object>
class Owned {
 public:
  /// Nothing aggregates it.
  Owned() : object_(Make()) { object_->InnerUnknown()->AddRef(); }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() { object_->InnerUnknown()->Release(); }

  Object* operator->() const noexcept { return object_; }
  Object& operator*() const noexcept { return *object_; }
  Object* Get() const noexcept { return object_; }
  template <class Interface>
  ComPtr<Interface> As() const {
    return Query<Interface>(object_->GetOwner());
  }

 private:
  static Object* Make() {
    if constexpr (std::is_default_constructible_v<Object>) {
      return new Object;
    } else {
      return new Object(nullptr);
    }
  }

  Object* object_;
};

/// `QueryInterface` and counts for an object of the test's own that lives on the stack: the counts only show whether
/// every reference was given back.
#define KORVA_STACK_UNKNOWN(...)                                              \
  HRESULT QueryInterface(REFIID iid, void** out) override {                   \
    return korva::AnswerStackObject<__VA_ARGS__>(this, iid, out, references); \
  }                                                                           \
  ULONG AddRef() override {                                                   \
    return ++references;                                                      \
  }                                                                           \
  ULONG Release() override {                                                  \
    return --references;                                                      \
  }                                                                           \
  std::atomic<ULONG> references {                                             \
    0                                                                         \
  }

template <class First, class... Rest, class Object>
HRESULT AnswerStackObject(Object* object, REFIID iid, void** out, std::atomic<ULONG>& references) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (iid == InterfaceId<IUnknown>() || iid == InterfaceId<First>()) *out = static_cast<First*>(object);
  ((iid == InterfaceId<Rest>() ? void(*out = static_cast<Rest*>(object)) : void()), ...);
  if (*out == nullptr) return E_NOINTERFACE;
  ++references;
  return S_OK;
}

}  // namespace korva
