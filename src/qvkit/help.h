#pragma once

#include "platform/platform.h"

namespace korva {

/// Help of the effects, by context id.
inline constexpr DWORD kHelpEchos = 119;
inline constexpr DWORD kHelpEchomt = 120;
inline constexpr DWORD kHelpChorus = 121;
inline constexpr DWORD kHelpReverb = 122;
inline constexpr DWORD kHelpPitchs = 123;
inline constexpr DWORD kHelpTime = 124;

/// Writes the path of the module's help, "help\index.html" in the folder of the module's file, into a buffer of
/// `capacity` characters. `kind` is 1. Returns nonzero on success; otherwise the text is empty.
int QvHelp_CreateHelpFilePathEX(int kind, HMODULE module, WCHAR* path, DWORD capacity, DWORD reserved1,
                                DWORD reserved2) noexcept;

/// The page of a context beside the help file, or the help file itself for an unknown context.
int QvHelp_PagePath(DWORD context, const WCHAR* path, WCHAR* page, DWORD capacity) noexcept;

/// Opens the help at a context, in whatever the user opens such pages with. `kind` is 1, `command` 15. Returns nonzero
/// when it was opened.
int QvHelp_ContextHelp(int kind, HWND window, DWORD context, int command, const WCHAR* path) noexcept;

}  // namespace korva
