#include <algorithm>

#include "frame/module_text.h"
#include "pages/effect_page.h"
#include "qvkit/controls.h"
#include "qvkit/dialogs.h"
#include "qvkit/system_controls.h"

// How the controls follow the filter.
namespace korva {

const PageControl* CQvEffectPage::FindRow(int id) const noexcept {
  const auto found = std::ranges::find_if(page_.controls, [this, id](const PageControl& row) {
    if (row.kind == ControlKind::kRadios) {
      const ParamDescriptor& described = page_.effect.rows[static_cast<std::size_t>(row.row)];
      return id >= row.id && id - row.id <= described.externalMax - described.externalMin;
    }
    return row.id == id || (row.readout.box && row.readout.id == id);
  });
  return found != page_.controls.end() ? &*found : nullptr;
}

const PageControl* CQvEffectPage::FindBox(int id) const noexcept {
  const PageControl* const row = FindRow(id);
  return row != nullptr && row->readout.box && row->readout.id == id ? row : nullptr;
}

std::uint32_t CQvEffectPage::BitOf(const PageControl& row) const noexcept {
  return 1u << (static_cast<std::size_t>(&row - page_.controls.data()) & 31);
}

CQvEffectPage::Shown& CQvEffectPage::LastShown(const PageControl& row) noexcept {
  return lastShown_[static_cast<std::size_t>(&row - page_.controls.data()) % lastShown_.size()];
}

double CQvEffectPage::MeaningOf(const PageControl& row) const noexcept {
  const int by = row.own.readBy != kNoRow ? row.own.readBy : row.own.indexedBy;
  return by != kNoRow ? Get(by) : 0.0;
}

const ParameterAccess* CQvEffectPage::AccessOf(int row) const noexcept {
  const auto found = std::ranges::find(page_.access, row, &ParameterAccess::row);
  return filter_ != nullptr && found != page_.access.end() ? &*found : nullptr;
}

/// Of the parameter behind a control; null for a computed text, and without a filter.
const ParameterAccess* CQvEffectPage::AccessOf(const PageControl& row) const noexcept {
  const int further = row.own.indexedBy != kNoRow ? static_cast<int>(Get(row.own.indexedBy)) : 0;
  return row.row != kNoRow ? AccessOf(row.row + further) : nullptr;
}

double CQvEffectPage::Get(int row) const noexcept {
  if (row < kNoRow) return filter_ != nullptr ? Fact(row) : 0.0;
  const ParameterAccess* const access = AccessOf(row);
  return access != nullptr ? access->get(filter_) : 0.0;
}

void CQvEffectPage::Set(int row, double value) noexcept {
  if (const ParameterAccess* const access = AccessOf(row); access != nullptr) access->set(filter_, value);
}

double CQvEffectPage::ValueOf(const PageControl& row) const noexcept {
  const ParameterAccess* const access = AccessOf(row);
  return access != nullptr ? access->get(filter_) : 0.0;
}

void CQvEffectPage::SetValue(const PageControl& row, double value) noexcept {
  if (const ParameterAccess* const access = AccessOf(row); access != nullptr) access->set(filter_, value);
}

bool CQvEffectPage::IsFree(const PageControl& row) const {
  const ParameterAccess* const access = AccessOf(row);
  return access == nullptr || access->isFree == nullptr || access->isFree(filter_) != 0;
}

bool CQvEffectPage::IsAutomated() const noexcept {
  return std::ranges::any_of(page_.access, [](const ParameterAccess& access) { return access.isFree != nullptr; });
}

void CQvEffectPage::BeginEdit(const PageControl& row) {
  const ParameterAccess* const access = AccessOf(row);
  if (access == nullptr || access->beginEdit == nullptr) return;
  access->beginEdit(filter_);
  openEdits_ |= BitOf(row);
}

void CQvEffectPage::EndEdit(const PageControl& row) {
  const ParameterAccess* const access = AccessOf(row);
  if (access == nullptr || access->endEdit == nullptr) return;
  openEdits_ &= ~BitOf(row);
  access->endEdit(filter_);
}

// A parameter left captured would stay deaf to automation for good.
void CQvEffectPage::EndEdits() noexcept {
  for (const PageControl& row : page_.controls) {
    if ((openEdits_ & BitOf(row)) != 0) EndEdit(row);
  }
}

void CQvEffectPage::Enable(int id, bool enabled) noexcept {
  const HWND control = ::GetDlgItem(window(), id);
  if (control == nullptr || (::IsWindowEnabled(control) != 0) == enabled) return;
  if (!enabled && ::GetFocus() == control) ::SendMessageW(window(), WM_NEXTDLGCTL, 0, FALSE);
  ::EnableWindow(control, enabled ? TRUE : FALSE);
}

/// Whether the rules have a control enabled, and null where none names it.
const EnableRule* CQvEffectPage::RuleOf(int id) const noexcept {
  const auto found = std::ranges::find_if(page_.rules, [id](const EnableRule& rule) {
    return std::ranges::find(rule.controls, id) != rule.controls.end();
  });
  return found != page_.rules.end() ? &*found : nullptr;
}

bool CQvEffectPage::Holds(const EnableRule& rule) const noexcept {
  return std::ranges::all_of(rule.when, [this](const Condition& condition) { return condition.Holds(*this); });
}

void CQvEffectPage::ApplyRules() {
  for (const EnableRule& rule : page_.rules) {
    if (rule.atTick) continue;
    const bool holds = Holds(rule);
    for (const int id : rule.controls) {
      const PageControl* const box = id != 0 ? FindBox(id) : nullptr;
      if (id != 0 && (box == nullptr || IsFree(*box))) Enable(id, holds);
    }
  }
}

void CQvEffectPage::Update(int id, bool force) {
  if (filter_ == nullptr || window() == nullptr) return;
  if (id == kNoticeId) id = 0;
  if (id == 0) {
    for (const PageControl& row : page_.controls) UpdateRow(row, 0, force);
  } else if (const PageControl* const row = FindRow(id); row != nullptr) {
    UpdateRow(*row, id, force);
    for (const int other : row->own.also) {
      const PageControl* const further = other != 0 ? FindRow(other) : nullptr;
      if (further != nullptr) UpdateRow(*further, id, false);
    }
  }
  ApplyRules();
  if (id != 0) TellSiteOf(id);
}

void CQvEffectPage::UpdateRow(const PageControl& row, int id, bool force) {
  if (row.own.before != nullptr) row.own.before(*this);
  if (row.own.range != nullptr) SetRange(row);
  const double value = ValueOf(row);
  const bool held = id == row.id && !force;
  if (!held || row.kind == ControlKind::kSpinner || row.kind == ControlKind::kBypass) MoveControl(row, value);
  if (row.readout.id != 0) ShowReadout(row, value, id);
  if (row.own.invalidates != 0) ::InvalidateRect(::GetDlgItem(window(), row.own.invalidates), nullptr, FALSE);
}

void CQvEffectPage::MoveControl(const PageControl& row, double value) {
  const auto whole = static_cast<LONG>(value);
  switch (row.kind) {
    case ControlKind::kFader:
    case ControlKind::kTrackbar: {
      const double position = row.own.toPosition != nullptr ? row.own.toPosition(value) : value;
      ::SendDlgItemMessageW(window(), row.id, kSetPosition, 1, static_cast<LONG>(position));
      break;
    }
    case ControlKind::kSpinner:
      ::SendDlgItemMessageW(window(), row.id, kSetPosition, 0, whole);
      break;
    case ControlKind::kList:
      if ((openLists_ & BitOf(row)) == 0) SelectItem(row.id, whole);
      break;
    case ControlKind::kRadios: {
      const ParamDescriptor& described = page_.effect.rows[static_cast<std::size_t>(row.row)];
      ::CheckRadioButton(window(), row.id, row.id + described.externalMax - described.externalMin,
                         row.id + whole - described.externalMin);
      break;
    }
    case ControlKind::kCheck:
      ::SendDlgItemMessageW(window(), row.id, BM_SETCHECK, whole != 0 ? BST_CHECKED : BST_UNCHECKED, 0);
      break;
    case ControlKind::kBypass:
      ::SendDlgItemMessageW(window(), kLogo, kLogoShowOn, static_cast<WPARAM>(row.id), whole != 0 ? 1 : 0);
      break;
    case ControlKind::kEditBox:
    case ControlKind::kComputed:
      break;
  }
}

/// The last item with the value, and the first item for a value that no item has.
void CQvEffectPage::SelectItem(int id, LONG value) {
  const HWND list = ::GetDlgItem(window(), id);
  LRESULT item = ::SendMessageW(list, CB_GETCOUNT, 0, 0) - 1;
  while (item > 0 && ::SendMessageW(list, CB_GETITEMDATA, static_cast<WPARAM>(item), 0) != value) --item;
  if (item != ::SendMessageW(list, CB_GETCURSEL, 0, 0))
    ::SendMessageW(list, CB_SETCURSEL, static_cast<WPARAM>(item), 0);
}

void CQvEffectPage::ShowReadout(const PageControl& row, double value, int id) {
  // A text in the middle of being typed is only the user's to change, or that of what the user typed it for.
  if (row.readout.box && id != row.id && id != row.readout.id && IsTyping(row)) return;
  std::array<WCHAR, 192> text{};
  if (row.own.show != nullptr) {
    ::GetDlgItemTextW(window(), row.readout.id, text.data(), static_cast<int>(text.size()));
    row.own.show(*this, value, text);
  } else if (row.form != nullptr) {
    const ParamDescriptor& described = page_.effect.rows[static_cast<std::size_t>(row.row)];
    const ShortText number = ShowNumber(*row.form, value, described.externalMin, ModuleLanguage());
    std::ranges::copy(number.characters, text.begin());
  }
  QvSetDlgItemTextF(window(), row.readout.id, text.data());
  if (!row.readout.box) return;
  Shown& shown = LastShown(row);
  std::copy_n(text.begin(), shown.text.characters.size() - 1, shown.text.characters.begin());
  shown.meaning = MeaningOf(row);
  ::SendDlgItemMessageW(window(), row.readout.id, EM_SETMODIFY, FALSE, 0);
}

/// A text that reads as the page wrote it is none of the user's; one that was meant for another parameter is dropped.
bool CQvEffectPage::IsTyping(const PageControl& row) {
  const HWND box = ::GetDlgItem(window(), row.readout.id);
  if (::GetFocus() != box || ::SendMessageW(box, EM_GETMODIFY, 0, 0) == 0) return false;
  if (LastShown(row).meaning != MeaningOf(row)) return false;
  ShortText text;
  ::GetWindowTextW(box, text.characters.data(), static_cast<int>(text.characters.size()));
  return ::lstrcmpW(text.Text(), LastShown(row).text.Text()) != 0;
}

/// While the mouse drags, the site hears nothing: it is told once, at the end.
void CQvEffectPage::TellSiteOf(int id) {
  WCHAR type[8] = {};
  const HWND control = ::GetDlgItem(window(), id);
  const bool isEdit = control != nullptr && ::GetClassNameW(control, type, static_cast<int>(std::size(type))) > 0 &&
                      ::lstrcmpiW(type, WC_EDITW) == 0;
  if (isEdit || ::GetKeyState(VK_LBUTTON) >= 0) TellSite();
}

void CQvEffectPage::Follow() {
  if (filter_ == nullptr || window() == nullptr) return;
  if (!registered_) {  // a third page on a filter waits until one of the others closes
    RegisterWindow();
    if (registered_) Update(0, false);
  }
  for (const PageControl& row : page_.controls) FollowRow(row);
  for (const EnableRule& rule : page_.rules) {
    for (const int id : rule.controls) {
      if (rule.atTick && id != 0 && FindBox(id) == nullptr) Enable(id, Holds(rule));
    }
  }
}

void CQvEffectPage::FollowRow(const PageControl& row) {
  if ((openLists_ & BitOf(row)) != 0) return;
  const bool isFree = IsFree(row);
  if (!isFree) Update(row.kind == ControlKind::kSpinner ? row.readout.id : row.id, true);
  if (!row.readout.box) return;
  const EnableRule* const rule = RuleOf(row.readout.id);
  Enable(row.readout.id, isFree && (rule == nullptr || Holds(*rule)));
}

}  // namespace korva
