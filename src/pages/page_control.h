// A page told in tables. A page file holds, from top to bottom:
//   - `using Property = IQv...;` and a table of `ParameterAccess`, made from the interface's own list of groups or of
//     pairs (`KORVA_GROUP_ACCESS`, `KORVA_PAIR_ACCESS`). What is none of the filter's parameters, such as a value that
//     stands for one of two, is an entry by hand, with a row above the description's.
//   - A table of `PageControl`, one line a control, in the order in which the page follows automation. What a control
//     has in common with its parameter (lowest and highest value, where double-click goes, names of a list, silence)
//     comes from the parameter's description row; `PageOwn` says what the page has of its own.
//   - A table of `EnableRule`: which controls are enabled when. What no rule names is always enabled.
//   - The `PageDescription`, which the header declares and gives to `CQvEffectPageOf`.
// For example a gain with its text under it; a box that can be typed into; names that only the page uses; numbers for
// names; buttons with ids in a row, one for each value; a parameter of the current tap; a text with a form of its own,
// both ways; a caption that changes:
//     Fader(6020, kChorusDryOut, Value(6023), kDecibelForm),
//     Trackbar(6037, kChorusAttenuationHz, Box(6038), kGroupedForm, {.page = 100}),
//     DropDown(5030, kReverbReverbMode, {.names = kStringFirstReverbMode}),
//     DropDown(4043, kEchomtGraphResolution, {.numbers = kResolutions}),
//     Radios(4018, kEchomtCurrentTap),
//     Fader(4026, kEchomtTapGain, Value(4027), kPercentForm, {.indexedBy = kEchomtCurrentTap, .invalidates = 4042}),
//     EditBox(2027, kPitchsInitialSamples, kTimeForm, {.also = {2029}, .show = ShowTime, .read = ReadTime}),
//     Computed(2032, ShowInterval),
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>

#include "frame/effect_description.h"
#include "pages/page_values.h"
#include "pages/preset_menu.h"
#include "qvkit/number_form.h"
#include "qvkit/string_ids.h"

namespace korva {

enum class ControlKind : std::uint8_t {
  kFader,     ///< upright, scrolls with WM_VSCROLL
  kTrackbar,  ///< lying, scrolls with WM_HSCROLL
  kSpinner,   ///< at the edge of an edit box, its readout
  kEditBox,   ///< an edit box with nothing beside it
  kList,      ///< drop-down list whose items' data are the values
  kRadios,    ///< a group of buttons with ids in a row, one for each value
  kCheck,     ///< 1 or 0
  kBypass,    ///< a button of the logo bar that is on or off
  kComputed,  ///< a text that follows from other values
};

/// What a fader, trackbar or spinner is told, in positions.
struct ControlRange {
  double minimum = 0, maximum = 0, reset = 0;
  LONG line = 1, page = 10;
};

/// What a control has of its own, and what else its change concerns.
struct PageOwn {
  LONG page = 10;                                         ///< the larger step; the smaller one is 1
  std::optional<double> reset = {};                       ///< instead of the row's neutral value, in block units
  double (*toPosition)(double value) noexcept = nullptr;  ///< null: the value is the position
  double (*toValue)(double position) noexcept = nullptr;
  bool markOrigin = false;                       ///< a trackbar with zero in its middle
  StringId names = kNoString;                    ///< first of a list's names, in order of the values
  std::span<const std::int32_t> numbers = {};    ///< or the numbers that stand for names
  int indexedBy = kNoRow;                        ///< the parameter is the one so many rows further
  int readBy = kNoRow;                           ///< a parameter that decides what a text in the edit box means
  std::array<int, 6> also = {};                  ///< controls that are brought into line together with this one
  int invalidates = 0;                           ///< a control to paint anew
  void (*before)(PageValues& values) = nullptr;  ///< runs before the control is brought into line
  /// Changes what the row and this record say of the range.
  void (*range)(const PageValues& values, ControlRange& range) = nullptr;
  /// Writes the readout instead of the form. `text` holds what stands there, which stays where nothing is written.
  void (*show)(const PageValues& values, double value, std::span<WCHAR> text) = nullptr;
  /// Sets what a text in the edit box stands for, instead of the form and the parameter.
  void (*read)(PageValues& values, const WCHAR* text) = nullptr;
};

/// The control that shows a value.
struct Readout {
  int id = 0;
  bool box = false;  ///< an edit box, that can be typed into
};
constexpr Readout Value(int id) {
  return {id, false};
}
constexpr Readout Box(int id) {
  return {id, true};
}

/// One row of a page: a control, the parameter behind it, and how the value stands on the page.
struct PageControl {
  ControlKind kind;
  int id;
  int row = kNoRow;  ///< of the effect's description
  Readout readout = {};
  const NumberForm* form = nullptr;
  PageOwn own = {};
};

constexpr PageControl Fader(int id, int row, Readout readout, const NumberForm& form, PageOwn own = {}) {
  return {ControlKind::kFader, id, row, readout, &form, own};
}
constexpr PageControl Trackbar(int id, int row, Readout readout, const NumberForm& form, PageOwn own = {}) {
  return {ControlKind::kTrackbar, id, row, readout, &form, own};
}
constexpr PageControl Spinner(int id, int row, Readout readout, const NumberForm& form, PageOwn own = {}) {
  return {ControlKind::kSpinner, id, row, readout, &form, own};
}
constexpr PageControl EditBox(int id, int row, const NumberForm& form, PageOwn own = {}) {
  return {ControlKind::kEditBox, id, row, Box(id), &form, own};
}
constexpr PageControl DropDown(int id, int row, PageOwn own = {}) {
  return {ControlKind::kList, id, row, {}, nullptr, own};
}
constexpr PageControl Radios(int firstId, int row, PageOwn own = {}) {
  return {ControlKind::kRadios, firstId, row, {}, nullptr, own};
}
constexpr PageControl Check(int id, int row, PageOwn own = {}) {
  return {ControlKind::kCheck, id, row, {}, nullptr, own};
}
constexpr PageControl Bypass(int row) {
  return {ControlKind::kBypass, kBypassButton, row};
}
constexpr PageControl Computed(int id, void (*show)(const PageValues&, double, std::span<WCHAR>), PageOwn own = {}) {
  own.show = show;
  return {ControlKind::kComputed, id, kNoRow, Value(id), nullptr, own};
}

/// Holds while a value lies in a range; a default one always holds.
struct Condition {
  int row = kNoRow;
  double least = 0, most = 0;

  bool Holds(const PageValues& values) const noexcept {
    if (row == kNoRow) return true;
    const double value = values.Get(row);
    return value >= least && value <= most;
  }
};
constexpr Condition Off(int row) {
  return {row, 0, 0};
}
constexpr Condition Between(int row, double least, double most) {
  return {row, least, most};
}
constexpr Condition AtLeast(int row, double least) {
  return {row, least, std::numeric_limits<double>::infinity()};
}
constexpr Condition On(int row) {
  return AtLeast(row, 1);
}

/// Controls that are enabled while all conditions hold. A control stands in one rule at most. An edit box whose
/// parameter automation owns is disabled whatever its rule says.
struct EnableRule {
  std::array<int, 5> controls;
  std::array<Condition, 2> when;
  bool atTick = false;  ///< these wait for the next tick of the page's timer
};

/// What a page is.
struct PageDescription {
  int dialog;
  StringId title;
  StringId logoName;
  DWORD helpContext;
  const EffectDescription& effect;
  std::span<const ParameterAccess> access;
  std::span<const PageControl> controls;
  std::span<const EnableRule> rules = {};
};

/// What the description row and the page say of a control's range, in positions. Not for computed texts.
ControlRange RangeOf(const PageDescription& page, const PageControl& control) noexcept;

}  // namespace korva
