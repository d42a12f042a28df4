#include "module/filter_mapper.h"

#include <algorithm>
#include <array>

KORVA_PLATFORM_INTERFACE(IFilterMapper)
KORVA_PLATFORM_INTERFACE(IFilterMapper2)

namespace korva {
namespace {

constexpr HRESULT kFileNotFound = static_cast<HRESULT>(0x80070002);

// A mapper's records on the stack: ours have two pins of one type.
constexpr std::size_t kMostPins = 8;
constexpr std::size_t kMostTypes = 8;

HRESULT UnknownIsFine(HRESULT result) noexcept {
  return result == kFileNotFound ? S_OK : result;
}

BOOL AsBool(bool value) noexcept {
  return value ? TRUE : FALSE;
}

}  // namespace

FilterMapper::FilterMapper() noexcept {
  if (FAILED(::CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, InterfaceId<IFilterMapper2>(),
                                newer_.PutVoid()))) {
    newer_.Reset();
  }
  if (newer_) return;
  if (FAILED(::CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, InterfaceId<IFilterMapper>(),
                                older_.PutVoid()))) {
    older_.Reset();
  }
}

HRESULT FilterMapper::Enter(const FilterSetup& setup) const noexcept {
  return UnknownIsFine(newer_ ? EnterInNewer(setup) : EnterInOlder(setup));
}

HRESULT FilterMapper::TakeOut(const FilterSetup& setup) const noexcept {
  return UnknownIsFine(newer_ ? newer_->UnregisterFilter(nullptr, nullptr, setup.classId)
                              : older_->UnregisterFilter(setup.classId));
}

HRESULT FilterMapper::EnterInNewer(const FilterSetup& setup) const noexcept {
  std::array<REGFILTERPINS, kMostPins> pins{};
  std::array<std::array<REGPINTYPES, kMostTypes>, kMostPins> types{};
  const std::size_t pinCount = std::min(setup.pins.size(), kMostPins);
  for (std::size_t i = 0; i < pinCount; ++i) {
    const PinSetup& pin = setup.pins[i];
    const std::size_t typeCount = std::min(pin.types.size(), kMostTypes);
    for (std::size_t j = 0; j < typeCount; ++j) types[i][j] = {pin.types[j].majorType, pin.types[j].subtype};
    // The published record's texts are not const, yet only read.
    pins[i].strName = const_cast<LPWSTR>(pin.name);
    pins[i].bRendered = AsBool(pin.rendered);
    pins[i].bOutput = AsBool(pin.output);
    pins[i].bZero = AsBool(pin.zeroAllowed);
    pins[i].bMany = AsBool(pin.manyAllowed);
    pins[i].clsConnectsToFilter = pin.connectsToFilter;
    pins[i].strConnectsToPin = pin.connectsToPin;
    pins[i].nMediaTypes = static_cast<UINT>(typeCount);
    pins[i].lpMediaType = types[i].data();
  }
  REGFILTER2 record{};
  record.dwVersion = 1;
  record.dwMerit = setup.merit;
  record.cPins = static_cast<ULONG>(pinCount);
  record.rgPins = pins.data();
  return newer_->RegisterFilter(setup.classId, setup.name, nullptr, nullptr, nullptr, &record);
}

HRESULT FilterMapper::EnterInOlder(const FilterSetup& setup) const noexcept {
  HRESULT result = older_->RegisterFilter(setup.classId, setup.name, setup.merit);
  for (const PinSetup& pin : setup.pins) {
    if (FAILED(result)) return result;
    result =
        older_->RegisterPin(setup.classId, pin.name, AsBool(pin.rendered), AsBool(pin.output), AsBool(pin.zeroAllowed),
                            AsBool(pin.manyAllowed), *pin.connectsToFilter, pin.connectsToPin);
    for (const MediaTypeSetup& type : pin.types) {
      if (FAILED(result)) return result;
      result = older_->RegisterPinType(setup.classId, pin.name, *type.majorType, *type.subtype);
    }
  }
  return result;
}

}  // namespace korva
