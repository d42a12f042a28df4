// Language strings: every text that a user sees, by id, in the language in force.
// A handle holds one language at a time. Several threads may ask for texts while another switches the language; each
// gets the old language's text or the new one's. Opening and closing a handle belong to one thread.
// Nothing here throws. The ids that code asks for are in string_ids.h.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace korva {

struct QvLanguage;

// Opens the texts for a locale id: its own language, else one of the same primary language, else English.
// `module` is the handle of the module whose resources hold the texts; null is the program itself. Systems without
// resources have the texts built in and don't read it. `flags` is reserved, 0.
// Returns nonzero on success. On failure (no memory, or `handle` is null) `*handle` is null, which every function here
// accepts.
int QvLang_Open(QvLanguage** handle, void* module, std::uint32_t locale, std::uint32_t flags) noexcept;

// Closes the handle. Texts that it gave are no longer valid.
void QvLang_Close(QvLanguage* handle) noexcept;

// Switches to the language of a locale id, or to one of the same primary language. Returns nonzero on success; with no
// such language it returns 0 and leaves the language as it is. The two further values are reserved and not read.
int QvLang_UpdateLCID(QvLanguage* handle, std::uint32_t locale, std::uint32_t reserved1,
                      std::uint32_t reserved2) noexcept;

// The locale id of the language in force, one of the ten that there are; 1033 for a null handle.
std::uint32_t QvLang_GetLCID(const QvLanguage* handle) noexcept;

// The text of an id in the language in force; in English where that language lacks it; empty where English lacks it
// too, or no memory is left to load it. Never null. The text belongs to the library and stays valid until the handle is
// closed, whatever the language by then.
const WCHAR* QvGetString(QvLanguage* handle, std::int32_t id) noexcept;

}  // namespace korva
