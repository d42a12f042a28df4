#pragma once

#include <string>

#include "platform/platform.h"
#include "streaming/com_ptr.h"

namespace korva {

/// The module loaded from its file, which lies beside the test program, as a host does that never registered it.
class ModuleFile {
 public:
  ModuleFile() : handle_(::LoadLibraryW(Path().c_str())) {}
  ModuleFile(const ModuleFile&) = delete;
  ModuleFile& operator=(const ModuleFile&) = delete;
  ~ModuleFile() {
    if (handle_ != nullptr) ::FreeLibrary(handle_);
  }

  HMODULE handle() const { return handle_; }
  HRESULT GetClassObject(REFCLSID classId, REFIID iid, void** out) const {
    return Call<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>("DllGetClassObject")(classId, iid, out);
  }
  HRESULT CanUnloadNow() const { return Call<HRESULT(STDAPICALLTYPE*)()>("DllCanUnloadNow")(); }
  HRESULT Register() const { return Call<HRESULT(STDAPICALLTYPE*)()>("DllRegisterServer")(); }
  HRESULT Unregister() const { return Call<HRESULT(STDAPICALLTYPE*)()>("DllUnregisterServer")(); }

  static std::wstring Path() {
    WCHAR path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring program = path;
    return program.substr(0, program.find_last_of(L'\\') + 1) + L"korvafx.dll";
  }

 private:
  template <class Function>
  Function Call(const char* name) const {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(handle_, name)));
  }

  HMODULE handle_;
};

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
