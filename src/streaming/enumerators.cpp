#include "streaming/enumerators.h"

#include <new>

#include "streaming/base_filter.h"
#include "streaming/base_pin.h"

namespace korva {
namespace {

// Both enumerators take and skip alike; `take` fetches the entry at the position or answers false at the end.
template <class Take>
HRESULT Fetch(EnumeratorPosition& position, LONG version, ULONG count, ULONG* fetched, Take&& take) {
  if (fetched != nullptr) {
    *fetched = 0;
  } else if (count > 1) {
    return E_INVALIDARG;
  }
  if (version != position.version()) return VFW_E_ENUM_OUT_OF_SYNC;
  ULONG done = 0;
  while (done < count && take(done, position.at())) {
    position.Advance();
    ++done;
  }
  if (fetched != nullptr) *fetched = done;
  return done == count ? S_OK : S_FALSE;
}

template <class Enumerator, class Owner, class Interface>
HRESULT CloneOf(Owner& owner, LONG version, const EnumeratorPosition& position, Interface** clone) {
  if (clone == nullptr) return E_POINTER;
  *clone = nullptr;
  if (version != position.version()) return VFW_E_ENUM_OUT_OF_SYNC;
  auto* const copy = new (std::nothrow) Enumerator(owner, position);
  if (copy == nullptr) return E_OUTOFMEMORY;
  copy->AddRef();
  *clone = copy;
  return S_OK;
}

}  // namespace

CEnumPins::CEnumPins(CBaseFilter& filter, EnumeratorPosition position)
    : CUnknown(nullptr), filter_(filter), position_(position) {
  filter_.GetOwner()->AddRef();
}

CEnumPins::~CEnumPins() {
  filter_.GetOwner()->Release();
}

HRESULT CEnumPins::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(CUnknown, AnswerInterface<IEnumPins>(this, iid, out));
}

HRESULT CEnumPins::Next(ULONG count, IPin** pins, ULONG* fetched) {
  if (pins == nullptr) return E_POINTER;
  return Fetch(position_, filter_.PinVersion(), count, fetched, [&](ULONG slot, ULONG at) {
    CBasePin* const pin =
        at < static_cast<ULONG>(filter_.GetPinCount()) ? filter_.GetPin(static_cast<int>(at)) : nullptr;
    if (pin == nullptr) return false;
    pin->AddRef();
    pins[slot] = pin;
    return true;
  });
}

HRESULT CEnumPins::Skip(ULONG count) {
  if (filter_.PinVersion() != position_.version()) return VFW_E_ENUM_OUT_OF_SYNC;
  const auto pins = static_cast<ULONG>(filter_.GetPinCount());
  const bool enough = count <= pins - position_.at();
  position_.MoveTo(enough ? position_.at() + count : pins);
  return enough ? S_OK : S_FALSE;
}

HRESULT CEnumPins::Reset() {
  position_.Restart(filter_.PinVersion());
  return S_OK;
}

HRESULT CEnumPins::Clone(IEnumPins** clone) {
  return CloneOf<CEnumPins>(filter_, filter_.PinVersion(), position_, clone);
}

CEnumMediaTypes::CEnumMediaTypes(CBasePin& pin, EnumeratorPosition position)
    : CUnknown(nullptr), pin_(pin), position_(position) {
  pin_.AddRef();
}

CEnumMediaTypes::~CEnumMediaTypes() {
  pin_.Release();
}

HRESULT CEnumMediaTypes::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(CUnknown, AnswerInterface<IEnumMediaTypes>(this, iid, out));
}

HRESULT CEnumMediaTypes::Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) {
  if (types == nullptr) return E_POINTER;
  HRESULT failure = S_OK;
  const HRESULT result = Fetch(position_, pin_.MediaTypeVersion(), count, fetched, [&](ULONG slot, ULONG at) {
    CMediaType type;
    if (pin_.GetMediaType(static_cast<int>(at), type) != S_OK) return false;
    types[slot] = CreateMediaType(type.get());
    if (types[slot] == nullptr) failure = E_OUTOFMEMORY;
    return types[slot] != nullptr;
  });
  return result == S_FALSE && FAILED(failure) ? failure : result;
}

HRESULT CEnumMediaTypes::Skip(ULONG count) {
  if (pin_.MediaTypeVersion() != position_.version()) return VFW_E_ENUM_OUT_OF_SYNC;
  for (; count != 0; --count) {
    CMediaType type;
    if (pin_.GetMediaType(static_cast<int>(position_.at()), type) != S_OK) return S_FALSE;
    position_.Advance();
  }
  return S_OK;
}

HRESULT CEnumMediaTypes::Reset() {
  position_.Restart(pin_.MediaTypeVersion());
  return S_OK;
}

HRESULT CEnumMediaTypes::Clone(IEnumMediaTypes** clone) {
  return CloneOf<CEnumMediaTypes>(pin_, pin_.MediaTypeVersion(), position_, clone);
}

}  // namespace korva
