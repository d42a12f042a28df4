#pragma once

#include "platform/platform.h"

namespace korva {

// Ids of menu items and of the buttons on the logo bar.
inline constexpr int kFirstPresetItem = 40500;  ///< goes with preset row 1; row 0 is not offered
inline constexpr int kLastPresetItem = 40999;
inline constexpr int kHelpItem = 41000;
inline constexpr int kBypassButton = 41003;

/// The presets of a filter as a popup menu; empty where it has none to offer. Null when there is no memory. The caller
/// destroys it.
HMENU CreatePresetMenu(IUnknown* filter) noexcept;
/// The menu of a page: the presets as a submenu, and help.
HMENU CreatePageMenu(IUnknown* filter) noexcept;

/// The preset row of a menu item.
constexpr LONG PresetOfItem(int item) noexcept {
  return item - kFirstPresetItem + 1;
}

}  // namespace korva
