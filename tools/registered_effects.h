#pragma once

#include <dshow.h>

#include <string>
#include <vector>

#include "platform/wide_text.h"
#include "streaming/com_ptr.h"

namespace korva {

/// The name that a host shows for a filter of the system's lists; empty when it has none.
inline std::string FriendlyName(IMoniker& moniker) {
  ComPtr<IPropertyBag> bag;
  VARIANT value;
  ::VariantInit(&value);
  if (SUCCEEDED(moniker.BindToStorage(nullptr, nullptr, IID_IPropertyBag, bag.PutVoid()))) {
    bag->Read(L"FriendlyName", &value, nullptr);
  }
  const std::string name = value.vt == VT_BSTR ? platform::ToUtf8(value.bstrVal) : std::string();
  ::VariantClear(&value);
  return name;
}

/// The module's filters as a host finds them: by their names in the default list.
inline std::vector<ComPtr<IMoniker>> RegisteredEffects() {
  std::vector<ComPtr<IMoniker>> effects;
  ComPtr<ICreateDevEnum> devices;
  ::CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum, devices.PutVoid());
  ComPtr<IEnumMoniker> found;
  if (devices) devices->CreateClassEnumerator(CLSID_LegacyAmFilterCategory, found.Put(), 0);
  for (ComPtr<IMoniker> moniker; found && found->Next(1, moniker.Put(), nullptr) == S_OK;) {
    if (FriendlyName(*moniker.Get()).rfind("KORVA ", 0) == 0) effects.push_back(moniker);
  }
  return effects;
}

}  // namespace korva
