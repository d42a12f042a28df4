#pragma once

#include <cstdint>

#include "platform/platform.h"
#include "qvkit/string_ids.h"
#include "qvkit/text.h"

namespace korva {

/// One parameter of a filter as its property interface offers it, the interface's type taken out. The pointer that the
/// operations take is that interface.
struct ParameterGroup {
  HRESULT (*get)(void* filter, LONG* value);
  HRESULT (*set)(void* filter, LONG value);
  HRESULT (*beginEdit)(void* filter) = nullptr;  ///< null, with the two after it, where nothing is automated
  HRESULT (*endEdit)(void* filter) = nullptr;
  HRESULT (*isFree)(void* filter) = nullptr;
};

/// The group `Name` of a property interface that has automation.
#define KORVA_PARAMETER_GROUP(Interface, Name)                                                                 \
  ::korva::ParameterGroup {                                                                                    \
    [](void* filter, LONG* value) -> HRESULT { return static_cast<Interface*>(filter)->Get##Name(value); },    \
        [](void* filter, LONG value) -> HRESULT { return static_cast<Interface*>(filter)->Set##Name(value); }, \
        [](void* filter) -> HRESULT { return static_cast<Interface*>(filter)->BeginEdit##Name(); },            \
        [](void* filter) -> HRESULT { return static_cast<Interface*>(filter)->EndEdit##Name(); },              \
        [](void* filter) -> HRESULT { return static_cast<Interface*>(filter)->Is##Name##Free(); }              \
  }

enum class ControlKind : std::uint8_t {
  kFader,     ///< upright, scrolls with WM_VSCROLL
  kTrackbar,  ///< lying, scrolls with WM_HSCROLL
  kSpinner,   ///< at the edge of an edit box, its readout
  kList,      ///< drop-down list whose items' data are the values
  kCheck,     ///< 1 or 0
  kBypass,    ///< a button of the logo bar that is on or off
};

/// One row of a page: a control, the parameter behind it, and how the value stands on the page. What the frame can tell
/// from a row, it does; the rules between rows are the page's.
struct PageControl {
  ControlKind kind;
  int id;
  ParameterGroup group;

  // What a fader, trackbar or spinner is told, in positions.
  LONG minimum = 0, maximum = 0, reset = 0;
  LONG line = 1, page = 10;
  LONG (*toPosition)(LONG value) noexcept = nullptr;  ///< null: the value is the position
  LONG (*toValue)(LONG position) noexcept = nullptr;

  int readout = 0;                                     ///< the control that shows the value, 0 for none
  ShortText (*show)(LONG value) noexcept = nullptr;    ///
  LONG (*read)(const WCHAR* text) noexcept = nullptr;  ///< set where the readout is an edit box
  int textLimit = 10;                                  ///< characters read from it

  StringId firstString = kNoString;  ///< of a list's names, in order of the values
  int stringCount = 0;
};

/// What a text in an edit box stands for: its number times `scale`, cut to a whole one.
LONG ReadScaled(const WCHAR* text, double scale) noexcept;

}  // namespace korva
