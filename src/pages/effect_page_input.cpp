#include <algorithm>

#include "pages/effect_page.h"
#include "pages/preset_menu.h"
#include "qvkit/controls.h"
#include "qvkit/dialogs.h"
#include "qvkit/system_controls.h"

// What the user does with the controls.
namespace korva {

void CQvEffectPage::Scroll(UINT message, WPARAM wparam, LPARAM lparam) {
  const int id = ::GetDlgCtrlID(reinterpret_cast<HWND>(lparam));
  const PageControl* const row = FindRow(id);
  if (row == nullptr || row->id != id) return;
  if (row->kind == ControlKind::kSpinner) return ScrollSpinner(*row, message, wparam, lparam);
  const bool isFader = row->kind == ControlKind::kFader;
  if (!isFader && row->kind != ControlKind::kTrackbar) return;
  ControlRange range = RangeOf(page_, *row);
  if (row->own.range != nullptr) row->own.range(*this, range);
  const LONG position = isFader ? Fader_DefScrollProc(message, wparam, lparam, range.line, range.page)
                                : Trackbar_DefScrollProc(message, wparam, lparam, range.line, range.page);
  const WORD code = LOWORD(wparam);
  // The thumb's own codes come between one that opens the change and one that closes it.
  const bool begins = code != SB_THUMBPOSITION && code != SB_THUMBTRACK && code != SB_ENDSCROLL && code <= kScrollBegin;
  if (begins) BeginEdit(*row);
  SetValue(*row, row->own.toValue != nullptr ? row->own.toValue(position) : position);
  if (code == SB_ENDSCROLL) EndEdit(*row);
  Update(id, false);
}

void CQvEffectPage::ScrollSpinner(const PageControl& row, UINT message, WPARAM wparam, LPARAM lparam) {
  switch (LOWORD(wparam)) {
    case kScrollBegin:
      CommitText(row);  // steps go from what was typed
      BeginEdit(row);
      return;
    case SB_ENDSCROLL:
      EndEdit(row);
      return;
    default: {
      CommitText(row);  // the wheel begins with no code of its own
      const ControlRange range = RangeOf(page_, row);
      const auto value = static_cast<LONG>(ValueOf(row));
      SetValue(row, Spinner_DefScrollProc(message, wparam, lparam, range.line, range.page, value));
      // By the edit box's id, so that the site hears of steps made with the mouse too.
      Update(row.readout.id, false);
    }
  }
}

bool CQvEffectPage::Command(int id, WORD code) {
  if (filter_ == nullptr) return true;
  if (id == kNoticeId) {
    Update(id, false);
  } else if (id >= kFirstPresetItem && id <= kLastPresetItem) {
    ApplyPresetItem(id);
  } else if (id == kHelpItem) {
    ShowHelp();
  } else if (id == kLogo) {
    if (code == kLogoMenu) ShowPresetMenu();
  } else if (const PageControl* const row = FindRow(id); row != nullptr) {
    CommandOfRow(*row, id, code);
  } else {
    return false;
  }
  return true;
}

void CQvEffectPage::CommandOfRow(const PageControl& row, int id, WORD code) {
  if (row.readout.box && id == row.readout.id) {
    if (code == EN_KILLFOCUS) {
      CommitText(row);
      // A key that holds a spinner's change open is now let go elsewhere.
      if (row.kind == ControlKind::kSpinner && (openEdits_ & BitOf(row)) != 0) EndEdit(row);
    }
    return;
  }
  if (row.kind == ControlKind::kList ? !CommandOfList(row, code) : code != BN_CLICKED) return;
  if (row.kind == ControlKind::kCheck) {
    SetValue(row, ::IsDlgButtonChecked(window(), id) == BST_CHECKED ? 1 : 0);
  } else if (row.kind == ControlKind::kBypass) {
    SetValue(row, ValueOf(row) != 0 ? 0 : 1);
  } else if (row.kind == ControlKind::kRadios) {
    SetValue(row, page_.effect.rows[static_cast<std::size_t>(row.row)].externalMin + id - row.id);
  } else if (row.kind != ControlKind::kList) {
    return;
  }
  Update(row.id, false);
}

/// True when the page has something to follow.
bool CQvEffectPage::CommandOfList(const PageControl& row, WORD code) {
  switch (code) {
    case CBN_DROPDOWN:
      openLists_ |= BitOf(row);
      valueAtOpening_ = ValueOf(row);
      triedInList_ = false;
      BeginEdit(row);
      return true;
    case CBN_SELCHANGE: {
      const LRESULT item = ::SendDlgItemMessageW(window(), row.id, CB_GETCURSEL, 0, 0);
      if (item < 0) return false;
      const LRESULT value = ::SendDlgItemMessageW(window(), row.id, CB_GETITEMDATA, static_cast<WPARAM>(item), 0);
      SetValue(row, static_cast<double>(value));
      triedInList_ = true;
      return true;
    }
    case CBN_SELENDCANCEL:
      // The arrow keys have set a value each; escape takes them back. Leaving the list in another way does not, and a
      // value that came from elsewhere, or belongs to a filter that came meanwhile, stays.
      if (::GetKeyState(VK_ESCAPE) >= 0 || !triedInList_ || (openLists_ & BitOf(row)) == 0) return false;
      SetValue(row, valueAtOpening_);
      return true;
    case CBN_CLOSEUP:
      openLists_ &= ~BitOf(row);
      EndEdit(row);
      // What the open list did not follow. Posted, because the choice itself may be told after the closing.
      ::PostMessageW(window(), WM_COMMAND, MAKEWPARAM(kNoticeId, 0), 0);
      return true;
    default:
      return false;
  }
}

// A text that still reads as the value does is none of the user's: what it leaves out of the value must not be lost.
void CQvEffectPage::CommitText(const PageControl& row) {
  ShortText text;
  const std::size_t room = std::min(text.characters.size(), static_cast<std::size_t>(row.form->limit) + 1);
  ::GetDlgItemTextW(window(), row.readout.id, text.characters.data(), static_cast<int>(room));
  // Compared with what stood there and not with the value: the language, and with it the signs, may be another by now.
  if (::lstrcmpW(text.Text(), LastShown(row).text.Text()) == 0) {
    // What others set while it was being typed is shown now.
    ShowReadout(row, ValueOf(row), row.readout.id);
    return;
  }
  const bool stillMeant = LastShown(row).meaning == MeaningOf(row);
  if (stillMeant && row.own.read != nullptr) {
    row.own.read(*this, text.Text());
  } else if (stillMeant) {
    SetValue(row, ReadNumber(*row.form, text.Text()));
  }
  Update(row.readout.id, false);
}

/// The control whose edit box has the focus.
const PageControl* CQvEffectPage::FocusedBox() const noexcept {
  const HWND focus = ::GetFocus();
  if (focus == nullptr || window() == nullptr || ::GetParent(focus) != window()) return nullptr;
  return FindBox(::GetDlgCtrlID(focus));
}

void CQvEffectPage::CommitFocusedText() {
  const PageControl* const row = filter_ != nullptr ? FocusedBox() : nullptr;
  if (row != nullptr) CommitText(*row);
}

void CQvEffectPage::DropFocusedText() {
  const PageControl* const row = FocusedBox();
  if (row != nullptr) QvSetDlgItemTextF(window(), row->readout.id, LastShown(*row).text.Text());
}

}  // namespace korva
