#pragma once

#include "platform/platform.h"

namespace korva {

// Colours of the user interface, by use.
inline constexpr int kColorBar = 100;         ///< ground of the logo bar
inline constexpr int kColorBarText = 101;     ///< text on it
inline constexpr int kColorBarHot = 102;      ///< ground of the name under the pointer or pressed
inline constexpr int kColorEcho = 110;        ///< tap graph: echoes
inline constexpr int kColorAxis = 111;        ///< tap graph: its lines
inline constexpr int kColorTap = 112;         ///< tap graph: taps
inline constexpr int kColorCurrentTap = 113;  ///< tap graph: the tap being edited

/// A colour of the user interface. With high contrast on it is one of the system's. Black for an unknown use.
COLORREF QvGetUIColor(int use) noexcept;

}  // namespace korva
