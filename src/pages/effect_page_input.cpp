#include <algorithm>
#include <array>

#include "pages/effect_page.h"
#include "pages/preset_menu.h"
#include "qvkit/controls.h"
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
  const LONG position = isFader ? Fader_DefScrollProc(message, wparam, lparam, row->line, row->page)
                                : Trackbar_DefScrollProc(message, wparam, lparam, row->line, row->page);
  const WORD code = LOWORD(wparam);
  // The thumb's own codes come between one that opens the change and one that closes it.
  const bool begins = code != SB_THUMBPOSITION && code != SB_THUMBTRACK && code != SB_ENDSCROLL && code <= kScrollBegin;
  if (begins) BeginEdit(*row);
  row->group.set(filter_, row->toValue != nullptr ? row->toValue(position) : position);
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
    default:
      row.group.set(filter_, Spinner_DefScrollProc(message, wparam, lparam, row.line, row.page, ValueOf(row)));
      // By the edit box's id, so that the site hears of steps made with the mouse too.
      Update(row.readout, false);
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
    return OwnCommand(id, code);
  }
  return true;
}

void CQvEffectPage::CommandOfRow(const PageControl& row, int id, WORD code) {
  if (id == row.readout) {
    if (code == EN_KILLFOCUS) {
      CommitText(row);
      // A key that holds a spinner's change open is now let go elsewhere.
      if (row.kind == ControlKind::kSpinner && (openEdits_ & BitOf(row)) != 0) EndEdit(row);
    }
    return;
  }
  switch (row.kind) {
    case ControlKind::kCheck:
      if (code != BN_CLICKED) return;
      row.group.set(filter_, ::IsDlgButtonChecked(window(), id) == BST_CHECKED ? 1 : 0);
      break;
    case ControlKind::kBypass:
      if (code != BN_CLICKED) return;
      row.group.set(filter_, ValueOf(row) != 0 ? 0 : 1);
      break;
    case ControlKind::kList:
      if (code == CBN_DROPDOWN) {
        openLists_ |= BitOf(row);
        BeginEdit(row);
      } else if (code == CBN_SELCHANGE) {
        const LRESULT item = ::SendDlgItemMessageW(window(), id, CB_GETCURSEL, 0, 0);
        if (item < 0) return;
        const LRESULT value = ::SendDlgItemMessageW(window(), id, CB_GETITEMDATA, static_cast<WPARAM>(item), 0);
        row.group.set(filter_, static_cast<LONG>(value));
      } else if (code == CBN_CLOSEUP) {
        openLists_ &= ~BitOf(row);
        EndEdit(row);
        // What the open list did not follow. Posted, because the choice itself may be told after the closing.
        ::PostMessageW(window(), WM_COMMAND, MAKEWPARAM(kNoticeId, 0), 0);
      } else {
        return;
      }
      break;
    default:
      return;
  }
  Update(id, false);
}

// A text that still reads as the value does is none of the user's: what it leaves out of the value must not be lost.
void CQvEffectPage::CommitText(const PageControl& row) {
  std::array<WCHAR, 64> text{};
  const std::size_t room = std::min<std::size_t>(text.size(), static_cast<std::size_t>(row.textLimit) + 1);
  ::GetDlgItemTextW(window(), row.readout, text.data(), static_cast<int>(room));
  // Compared with what stood there and not with the value: the language, and with it the signs, may be another by now.
  if (::lstrcmpW(text.data(), LastShown(row).Text()) != 0) row.group.set(filter_, row.read(text.data()));
  Update(row.readout, false);
}

void CQvEffectPage::CommitFocusedText() {
  const HWND focus = ::GetFocus();
  if (filter_ == nullptr || focus == nullptr || ::GetParent(focus) != window()) return;
  const int id = ::GetDlgCtrlID(focus);
  if (const PageControl* const row = FindRow(id); row != nullptr && row->readout == id) CommitText(*row);
}

}  // namespace korva
