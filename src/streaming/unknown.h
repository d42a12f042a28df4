#pragma once

#include <atomic>

#include "platform/platform.h"

// What every component class shares: the count of live objects, reference counts, aggregation and interface lists.
namespace korva {

/// Counts the live objects of the module, so that it knows when it can go.
class CBaseObject {
 public:
  CBaseObject() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
  CBaseObject(const CBaseObject&) = delete;
  CBaseObject& operator=(const CBaseObject&) = delete;
  ~CBaseObject() { count_.fetch_sub(1, std::memory_order_relaxed); }

  static long ObjectsActive() noexcept { return count_.load(std::memory_order_relaxed); }

 private:
  static inline std::atomic<long> count_{0};
};

/// An object that can stand alone or be part of another one (aggregation). Its interfaces hand `QueryInterface`,
/// `AddRef` and `Release` to the owner, which is `outer` or, with none, the object's own inner unknown.
///
/// The reference count starts at 0; whoever creates the object adds the first reference. The last `Release` of the
/// inner unknown deletes the object.
class CUnknown : public CBaseObject {
 public:
  explicit CUnknown(IUnknown* outer) noexcept : owner_(outer != nullptr ? outer : &inner_) {}

  /// The unknown that counts this object's own references: what an aggregating owner holds.
  IUnknown* InnerUnknown() noexcept { return &inner_; }
  IUnknown* GetOwner() const noexcept { return owner_; }

  /// The object's own interface list. Null `out` gives `E_POINTER`.
  virtual HRESULT NonDelegatingQueryInterface(REFIID iid, void** out);

 protected:
  virtual ~CUnknown() = default;

 private:
  class Inner final : public IUnknown {
   public:
    explicit Inner(CUnknown& self) noexcept : self_(self) {}
    HRESULT QueryInterface(REFIID iid, void** out) override { return self_.NonDelegatingQueryInterface(iid, out); }
    ULONG AddRef() override;
    ULONG Release() override;

   private:
    CUnknown& self_;
    std::atomic<ULONG> references_{0};
  };

  Inner inner_{*this};
  IUnknown* const owner_;
};

/// Hands out `object` as the interface `iid` with a reference, if it is one of `Interfaces`.
template <class... Interfaces, class Object>
HRESULT AnswerInterface(Object* object, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  ((*out == nullptr && iid == InterfaceId<Interfaces>() ? void(*out = static_cast<Interfaces*>(object)) : void()), ...);
  if (*out == nullptr) return E_NOINTERFACE;
  object->GetOwner()->AddRef();
  return S_OK;
}

/// The interfaces of a class as a type, for templates that answer for it.
template <class... Interfaces>
struct InterfaceList {};

template <class... Interfaces, class Object>
HRESULT AnswerListed(InterfaceList<Interfaces...>, Object* object, REFIID iid, void** out) {
  return AnswerInterface<Interfaces...>(object, iid, out);
}

/// `AnswerInterface` with what a base class offers after it.
#define KORVA_ANSWER_OR(Base, call)                     \
  do {                                                  \
    const HRESULT answer = (call);                      \
    if (answer != E_NOINTERFACE) return answer;         \
    return Base::NonDelegatingQueryInterface(iid, out); \
  } while (false)

/// The three operations of a class whose references are its owner's. Stands in the most derived classes that implement
/// interfaces. `answer` is what `QueryInterface` asks: the owner, or the class's own list.
#define KORVA_DELEGATE_TO_OWNER(answer)                     \
  HRESULT QueryInterface(REFIID iid, void** out) override { \
    return answer(iid, out);                                \
  }                                                         \
  ULONG AddRef() override {                                 \
    return this->GetOwner()->AddRef();                      \
  }                                                         \
  ULONG Release() override {                                \
    return this->GetOwner()->Release();                     \
  }
#define KORVA_DELEGATE_UNKNOWN() KORVA_DELEGATE_TO_OWNER(this->GetOwner()->QueryInterface)

}  // namespace korva
