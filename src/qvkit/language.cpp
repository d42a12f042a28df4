#include "qvkit/language.h"

#include "qvkit/language_store.h"

namespace korva {

int QvLang_Open(QvLanguage** handle, void* module, std::uint32_t locale, std::uint32_t) noexcept {
  if (handle == nullptr) return 0;
  *handle = CreateLanguageStore(module);
  if (*handle == nullptr) return 0;
  QvLang_UpdateLCID(*handle, locale, 0, 0);  // an unknown locale leaves the store's English
  return 1;
}

void QvLang_Close(QvLanguage* handle) noexcept {
  if (handle != nullptr) DestroyLanguageStore(handle);
}

int QvLang_UpdateLCID(QvLanguage* handle, std::uint32_t locale, std::uint32_t, std::uint32_t) noexcept {
  const std::size_t language = FindLanguage(locale);
  if (handle == nullptr || language == kLanguageCount) return 0;
  handle->current.store(language, std::memory_order_relaxed);
  return 1;
}

std::uint32_t QvLang_GetLCID(const QvLanguage* handle) noexcept {
  return kLanguageLocales[handle != nullptr ? handle->current.load(std::memory_order_relaxed) : kEnglish];
}

const WCHAR* QvGetString(QvLanguage* handle, std::int32_t id) noexcept {
  if (id < 0) return KORVA_WTEXT("");
  const auto known = static_cast<std::uint32_t>(id);
  const std::size_t language = handle != nullptr ? handle->current.load(std::memory_order_relaxed) : kEnglish;
  const WCHAR* text = FindLanguageText(handle, language, known);
  if (text == nullptr && language != kEnglish) text = FindLanguageText(handle, kEnglish, known);
  return text != nullptr ? text : KORVA_WTEXT("");
}

}  // namespace korva
