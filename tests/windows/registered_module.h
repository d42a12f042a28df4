#pragma once

#include "module_file.h"
#include "streaming/com_ptr.h"

namespace korva {

/// The module as the test program has registered it, for as long as tests run.
const ModuleFile& RegisteredModule();

/// A filter by its class identifier, through the component library.
template <class Interface>
ComPtr<Interface> CreateRegistered(REFCLSID classId) {
  ComPtr<Interface> object;
  ::CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, InterfaceId<Interface>(), object.PutVoid());
  return object;
}

}  // namespace korva
