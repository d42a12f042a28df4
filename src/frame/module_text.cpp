#include "frame/module_text.h"

#include <array>
#include <atomic>

#include "platform/services.h"
#include "qvkit/language.h"
#include "streaming/wide_text.h"

namespace korva {
namespace {

std::atomic<QvLanguage*> moduleLanguage{nullptr};
std::array<WCHAR, kHelpPathCapacity> moduleHelpPath{};

/// The handle of a program that never opened one.
struct OwnLanguage {
  OwnLanguage() noexcept { QvLang_Open(&handle, nullptr, platform::ThreadLocale(), 0); }
  ~OwnLanguage() { QvLang_Close(handle); }
  QvLanguage* handle = nullptr;
};

}  // namespace

QvLanguage* ModuleLanguage() noexcept {
  if (QvLanguage* const language = moduleLanguage.load(); language != nullptr) return language;
  static const OwnLanguage own;
  return own.handle;
}

void SetModuleLanguage(QvLanguage* language) noexcept {
  moduleLanguage.store(language);
}

const WCHAR* ModuleHelpPath() noexcept {
  return moduleHelpPath.data();
}

void SetModuleHelpPath(const WCHAR* path) noexcept {
  CopyText(moduleHelpPath.data(), moduleHelpPath.size(), path);
}

const WCHAR* ModuleText(std::int32_t id) noexcept {
  return QvGetString(ModuleLanguage(), id);
}

}  // namespace korva
