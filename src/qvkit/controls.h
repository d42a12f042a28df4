// The control classes of the pages: fader, trackbar, spinner, static and logo bar, as window classes for dialogs.
// All but the logo bar are the system's own controls with our messages added. A class belongs to the module that
// registers it. Windows belong to the thread that makes them, as everywhere.
#pragma once

#include "platform/platform.h"

namespace korva {

// Names that the dialogs use.
inline constexpr WCHAR kFaderClass[] = L"qvppack1Bld0FaderClass";
inline constexpr WCHAR kTrackbarClass[] = L"qvppack1Bld0TrackbarClass";
inline constexpr WCHAR kSpinnerClass[] = L"qvppack1Bld0SpinnerClass";
inline constexpr WCHAR kStaticClass[] = L"qvppack1Bld0StaticClass";
inline constexpr WCHAR kLogoClass[] = L"qvppack1Bld0LogoClass";

// Each pair registers and removes one class under a name. False when the system refuses.
bool FaderInitialize(const WCHAR* name, HMODULE module) noexcept;
bool FaderTerminate(const WCHAR* name, HMODULE module) noexcept;
bool TrackbarInitialize(const WCHAR* name, HMODULE module) noexcept;
bool TrackbarTerminate(const WCHAR* name, HMODULE module) noexcept;
bool SpinnerInitialize(const WCHAR* name, HMODULE module) noexcept;
bool SpinnerTerminate(const WCHAR* name, HMODULE module) noexcept;
bool StaticInitialize(const WCHAR* name, HMODULE module) noexcept;
bool StaticTerminate(const WCHAR* name, HMODULE module) noexcept;
bool LogoInitialize(const WCHAR* name, HMODULE module) noexcept;
bool LogoTerminate(const WCHAR* name, HMODULE module) noexcept;

/// All five under the names above: at module start, and at its end in the same order.
void InitializeControls(HMODULE module) noexcept;
void TerminateControls(HMODULE module) noexcept;

// Messages. `wparam` and `lparam` are given as (w, l).
inline constexpr UINT kLogoRestart = 1536;         ///< (0, 0) no buttons, no images
inline constexpr UINT kLogoAddText = 1537;         ///< (button id, text)
inline constexpr UINT kLogoAddImage = 1539;        ///< (button id, 0); the n-th takes the n-th image of each list
inline constexpr UINT kLogoImages = 1540;          ///< (image list, 0) of buttons that are off
inline constexpr UINT kLogoOnImages = 1541;        ///< (image list, 0) of buttons that are on
inline constexpr UINT kLogoDisabledImages = 1542;  ///< (image list, 0) of buttons that are disabled
inline constexpr UINT kLogoShowOn = 1543;          ///< (button id, 1 or 0)
inline constexpr UINT kLogoSetTip = 1544;          ///< (button id, text), also the name that a screen reader says
inline constexpr UINT kSetMinimum = 1550;          ///< (0, value) fader, trackbar, spinner
inline constexpr UINT kSetMaximum = 1551;          ///< (0, value)
inline constexpr UINT kSetPosition = 1552;         ///< (1 to redraw, value)
inline constexpr UINT kSetDefault = 1553;          ///< (0, value) where double-click and the delete key go
inline constexpr UINT kGetPosition = 1554;         ///< returns the value
inline constexpr UINT kMarkOrigin = 1567;          ///< (0, 1) trackbar: zero is a place of its own, and is marked
inline constexpr UINT kSetBuddy = 1572;            ///< (edit box, 8) spinner: at its right edge, and on its arrow keys

/// The code in a scroll message that opens a change: the user took hold of the thumb or of a spinner's arrow.
/// `SB_ENDSCROLL` closes it.
inline constexpr WORD kScrollBegin = 9;

// Each handles a scroll message that came from such a control: moves it by the steps `line` and `page` where the code
// asks for it, and returns the resulting value. A spinner steps from `value`, whatever it showed.
LONG Fader_DefScrollProc(UINT message, WPARAM wparam, LPARAM lparam, LONG line, LONG page) noexcept;
LONG Trackbar_DefScrollProc(UINT message, WPARAM wparam, LPARAM lparam, LONG line, LONG page) noexcept;
LONG Spinner_DefScrollProc(UINT message, WPARAM wparam, LPARAM lparam, LONG line, LONG page, LONG value) noexcept;

/// Lets a list of the system turn with the wheel only while it has the focus: a page that moves under the pointer must
/// not change the sound. The other controls are so by themselves.
void KeepWheelToFocus(HWND list) noexcept;

/// The button id of the name on a logo bar.
inline constexpr int kLogoName = 1;

/// What a logo bar sends its parent as `WM_COMMAND` in its own name, to open a menu under the name that it shows.
inline constexpr WORD kLogoMenu = 1;

}  // namespace korva
