#include <iterator>

#include "qvkit/activation_context.h"
#include "qvkit/dialogs.h"
#include "qvkit/language.h"
#include "qvkit/language_locales.h"

namespace korva {
namespace {

/// A plain load would take the language of the calling thread.
const DLGTEMPLATE* FindTemplate(std::uint32_t locale, int dialog) noexcept {
  const HMODULE module = ThisModule();
  const auto type = reinterpret_cast<LPCWSTR>(RT_DIALOG);
  const HRSRC found = ::FindResourceExW(module, type, MAKEINTRESOURCEW(dialog), static_cast<WORD>(locale));
  const HGLOBAL loaded = found != nullptr ? ::LoadResource(module, found) : nullptr;
  return loaded != nullptr ? static_cast<const DLGTEMPLATE*>(::LockResource(loaded)) : nullptr;
}

}  // namespace

HWND QvCreateDialogParam(QvLanguage* language, int dialog, HWND parent, DLGPROC routine, LPARAM param) noexcept {
  const DLGTEMPLATE* found = FindTemplate(QvLang_GetLCID(language), dialog);
  if (found == nullptr) found = FindTemplate(kLanguageLocales[kEnglish], dialog);
  return found != nullptr ? ::CreateDialogIndirectParamW(ThisModule(), found, parent, routine, param) : nullptr;
}

bool QvGetDialogSize(QvLanguage* language, int dialog, DLGPROC routine, LPARAM param, SIZE* size) noexcept {
  const HWND window = QvCreateDialogParam(language, dialog, ::GetDesktopWindow(), routine, param);
  if (window == nullptr) return false;
  RECT place = {};
  ::GetWindowRect(window, &place);
  ::DestroyWindow(window);
  *size = {place.right - place.left, place.bottom - place.top};
  return true;
}

void QvSetDlgItemTextF(HWND window, int id, const WCHAR* text) noexcept {
  WCHAR shown[128];
  const HWND control = ::GetDlgItem(window, id);
  if (control == nullptr) return;
  const int length = ::GetWindowTextW(control, shown, static_cast<int>(std::size(shown)));
  if (length + 1 < static_cast<int>(std::size(shown)) && ::lstrcmpW(shown, text) == 0) return;
  ::SetWindowTextW(control, text);
}

}  // namespace korva
