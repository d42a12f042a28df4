#pragma once

#include <atomic>

#include "streaming/unknown.h"

namespace korva {

template <class Implemented, class... Answered>
class Counted;

/// An object that counts its own references and is nobody's part: `Counted<InterfaceList<IMediaSample2>, IMediaSample>`
/// implements the first list and answers to all of them. The count starts at 0; whoever creates the object adds the
/// first reference.
template <class First, class... Rest, class... Answered>
class Counted<InterfaceList<First, Rest...>, Answered...> : public First, public Rest..., public CBaseObject {
 public:
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (iid == InterfaceId<IUnknown>()) return AnswerInterface<First>(this, InterfaceId<First>(), out);
    return AnswerInterface<First, Rest..., Answered...>(this, iid, out);
  }
  ULONG AddRef() override { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }
  ULONG Release() override {
    const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) LetGo();
    return left;
  }
  IUnknown* GetOwner() noexcept { return static_cast<First*>(this); }

 protected:
  Counted() = default;
  virtual ~Counted() = default;

  /// The last reference is gone.
  virtual void LetGo() { delete this; }

 private:
  std::atomic<ULONG> references_{0};
};

}  // namespace korva
