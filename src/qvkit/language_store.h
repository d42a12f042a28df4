// Where the texts come from: the one part of the language strings that differs between systems.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/platform.h"
#include "qvkit/language_locales.h"

namespace korva {

// Each system derives its own store from it.
struct QvLanguage {
  std::atomic<std::size_t> current = kEnglish;  // index of the language in force
};

// Null when there is no memory.
QvLanguage* CreateLanguageStore(void* module) noexcept;
void DestroyLanguageStore(QvLanguage* store) noexcept;

// The text of an id in one language, null where it has none. `store` may be null. Any number of threads.
const WCHAR* FindLanguageText(QvLanguage* store, std::size_t language, std::uint32_t id) noexcept;

}  // namespace korva
