#pragma once

#include "platform/platform.h"

namespace korva {

struct QvLanguage;

/// Creates a dialog from this module's resources in the handle's language, in English where that one lacks it. Null on
/// failure.
HWND QvCreateDialogParam(QvLanguage* language, int dialog, HWND parent, DLGPROC routine, LPARAM param) noexcept;

/// The pixel size that the dialog has on this display. `routine` runs for the time of measuring, with `param` as the
/// dialog's. False, with the size untouched, when it cannot be made.
bool QvGetDialogSize(QvLanguage* language, int dialog, DLGPROC routine, LPARAM param, SIZE* size) noexcept;

/// Sets the text of a control, unless it shows it already.
void QvSetDlgItemTextF(HWND window, int id, const WCHAR* text) noexcept;

}  // namespace korva
