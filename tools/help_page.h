#pragma once

#include <ocidl.h>

#include <cwchar>

#include "qvkit/help.h"

namespace korva {

/// Whether the page of the help that a property page asks for lies where it is looked for, a page of its own.
inline bool HasHelpPage(const PROPPAGEINFO& info) {
  WCHAR page[MAX_PATH] = {};
  return info.pszHelpFile != nullptr && QvHelp_PagePath(info.dwHelpContext, info.pszHelpFile, page, MAX_PATH) != 0 &&
         std::wcscmp(page, info.pszHelpFile) != 0 && ::GetFileAttributesW(page) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace korva
