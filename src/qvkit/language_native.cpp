#include <new>

#include "qvkit/language_store.h"
#include "qvkit/language_table.h"

namespace korva {

QvLanguage* CreateLanguageStore(void*) noexcept {
  return new (std::nothrow) QvLanguage;
}

void DestroyLanguageStore(QvLanguage* store) noexcept {
  delete store;
}

const WCHAR* FindLanguageText(QvLanguage*, std::size_t language, std::uint32_t id) noexcept {
  return FindTableText(language, id);
}

}  // namespace korva
