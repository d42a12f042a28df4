#pragma once

#include "streaming/com_ptr.h"
#include "streaming/media_type.h"
#include "streaming/unknown.h"

namespace korva {

class CBaseFilter;
class CBasePin;

/// What both enumerators share: a position in a numbered list that may change under it. A list that changed answers
/// `VFW_E_ENUM_OUT_OF_SYNC` until `Reset`.
class EnumeratorPosition {
 public:
  EnumeratorPosition(LONG version, ULONG at) noexcept : version_(version), at_(at) {}
  LONG version() const noexcept { return version_; }
  ULONG at() const noexcept { return at_; }
  void Advance() noexcept { ++at_; }
  void MoveTo(ULONG at) noexcept { at_ = at; }
  void Restart(LONG version) noexcept {
    version_ = version;
    at_ = 0;
  }

 private:
  LONG version_;
  ULONG at_;
};

/// Enumerates the pins of a filter, which it keeps alive.
class CEnumPins final : public CUnknown, public IEnumPins {
 public:
  CEnumPins(CBaseFilter& filter, EnumeratorPosition position);
  ~CEnumPins() override;
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;

  HRESULT Next(ULONG count, IPin** pins, ULONG* fetched) override;
  HRESULT Skip(ULONG count) override;
  HRESULT Reset() override;
  HRESULT Clone(IEnumPins** clone) override;

 private:
  CBaseFilter& filter_;
  EnumeratorPosition position_;
};

/// Enumerates the media types that a pin proposes; keeps the pin alive.
class CEnumMediaTypes final : public CUnknown, public IEnumMediaTypes {
 public:
  CEnumMediaTypes(CBasePin& pin, EnumeratorPosition position);
  ~CEnumMediaTypes() override;
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;

  HRESULT Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) override;
  HRESULT Skip(ULONG count) override;
  HRESULT Reset() override;
  HRESULT Clone(IEnumMediaTypes** clone) override;

 private:
  CBasePin& pin_;
  EnumeratorPosition position_;
};

}  // namespace korva
