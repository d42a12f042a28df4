#include "module/module_start.h"

#include <array>
#include <utility>

#include "frame/module_text.h"
#include "module/class_table.h"
#include "module/registration.h"
#include "platform/runtime_memory.h"
#include "platform/services.h"
#include "qvkit/controls.h"
#include "qvkit/help.h"
#include "qvkit/language.h"

namespace korva {
namespace {

HMODULE moduleHandle = nullptr;
QvLanguage* language = nullptr;

constexpr FilterRegistrar kRegistrar{&FindFilterSetup, &EnterInMapper};

}  // namespace

void StartModule(HMODULE module) noexcept {
  moduleHandle = module;
  QvLang_Open(&language, module, platform::ThreadLocale(), 0);
  SetModuleLanguage(language);
  InitializeControls(module);
  std::array<WCHAR, kHelpPathCapacity> helpPath{};
  QvHelp_CreateHelpFilePathEX(1, module, helpPath.data(), kHelpPathCapacity, 0, 0);
  SetModuleHelpPath(helpPath.data());
  SetFilterRegistrar(&kRegistrar);
  // Refused by the system for a module with data of its own for each thread, which then hears of threads and frees it.
  ::DisableThreadLibraryCalls(module);
  InitialiseClasses(true);
}

void EndModule(bool processEnds) noexcept {
  if (!processEnds) {
    TerminateControls(moduleHandle);
    SetModuleLanguage(nullptr);
    QvLang_Close(std::exchange(language, nullptr));
  }
  const HMODULE module = std::exchange(moduleHandle, nullptr);
  InitialiseClasses(false);
  if (!processEnds) FreeRuntimeMemory(module);
}

HMODULE ModuleHandle() noexcept {
  return moduleHandle;
}

}  // namespace korva
