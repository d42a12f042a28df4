#pragma once

#include <utility>

#include "platform/platform.h"

namespace korva {

/// A counted reference to an interface.
template <class Interface>
class ComPtr {
 public:
  ComPtr() = default;
  /// Adds a reference.
  explicit ComPtr(Interface* pointer) noexcept : pointer_(pointer) {
    if (pointer_ != nullptr) pointer_->AddRef();
  }
  ComPtr(const ComPtr& other) noexcept : ComPtr(other.pointer_) {}
  ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~ComPtr() { Reset(); }

  void Reset() noexcept {
    if (Interface* const old = std::exchange(pointer_, nullptr); old != nullptr) old->Release();
  }
  /// Gives the reference away.
  [[nodiscard]] Interface* Detach() noexcept { return std::exchange(pointer_, nullptr); }
  /// Where a call that returns a referenced interface puts it; what was held is released first.
  Interface** Put() noexcept {
    Reset();
    return &pointer_;
  }
  void** PutVoid() noexcept { return reinterpret_cast<void**>(Put()); }

  Interface* Get() const noexcept { return pointer_; }
  Interface* operator->() const noexcept { return pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }

 private:
  Interface* pointer_ = nullptr;
};

/// `object` as another interface; empty where it is none.
template <class Interface, class Object>
ComPtr<Interface> Query(Object* object) {
  ComPtr<Interface> result;
  if (object != nullptr && FAILED(object->QueryInterface(InterfaceId<Interface>(), result.PutVoid()))) {
    return ComPtr<Interface>();
  }
  return result;
}

}  // namespace korva
