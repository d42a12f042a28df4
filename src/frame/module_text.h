#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

namespace korva {

struct QvLanguage;

/// The module's language handle, which every text for the user goes through. The module opens it at load and closes it
/// at unload; a program with no module opens it on first use, for the locale of the environment.
QvLanguage* ModuleLanguage() noexcept;
void SetModuleLanguage(QvLanguage* language) noexcept;

/// The path of the module's help, at most 259 characters, found as the module starts; empty where there is none.
inline constexpr std::size_t kHelpPathCapacity = 260;
const WCHAR* ModuleHelpPath() noexcept;
void SetModuleHelpPath(const WCHAR* path) noexcept;

/// The text of a string id in the language in force. Never null.
const WCHAR* ModuleText(std::int32_t id) noexcept;

}  // namespace korva
