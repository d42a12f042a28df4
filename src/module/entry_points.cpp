#include "module/class_factory.h"
#include "module/module_start.h"
#include "module/registration.h"

// What the module exports, beside its tokens; the definition file names them undecorated.

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
  if (reason == DLL_PROCESS_ATTACH) korva::StartModule(module);
  if (reason == DLL_PROCESS_DETACH) korva::EndModule(reserved != nullptr);
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID classId, REFIID iid, LPVOID* out) {
  return korva::GetClassObject(classId, iid, out);
}

STDAPI DllCanUnloadNow() {
  return korva::CClassFactory::ModuleInUse() ? S_FALSE : S_OK;
}

STDAPI DllRegisterServer() {
  return korva::RegisterModule();
}

STDAPI DllUnregisterServer() {
  return korva::UnregisterModule();
}
