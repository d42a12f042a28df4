#pragma once

#include <array>
#include <cstdint>

#include "pages/base_property_page.h"
#include "pages/page_control.h"
#include "qvkit/image_lists.h"

namespace korva {

/// The page of an effect: it shows what its filter holds and writes what the user sets, row by row of a table.
///
/// It knows the filter only by its property interface, and by `IStaticFilterPreset`. The filter's notices come as
/// posted messages; where there is automation, a timer follows it.
class CQvEffectPage : public CBasePropertyPage, protected PageValues {
 public:
  /// The id under which a filter's notices reach the page.
  static constexpr int kNoticeId = 32700;

 protected:
  CQvEffectPage(IUnknown* outer, const PageDescription& description, const IID& property) noexcept
      : CBasePropertyPage(outer, description.dialog, description.title, description.helpContext),
        page_(description),
        property_(property) {}
  ~CQvEffectPage() override = default;

  HRESULT OnConnect(IUnknown* object) override;
  HRESULT OnDisconnect() override;
  HRESULT OnDeactivate() override;
  INT_PTR OnReceiveMessage(HWND window, UINT message, WPARAM wparam, LPARAM lparam) override;
  virtual void InitControls();
  /// Brings one control, or with 0 all of them, into line with the filter. A control named without `force` is not
  /// moved, since the user is holding it; only its text is written.
  virtual void Update(int id, bool force);

  double Get(int row) const noexcept override;
  void Set(int row, double value) noexcept override;

  // What a property interface answers. Called only while there is one.

  /// Registers the window for notices, or with an id of 0 takes it out.
  virtual HRESULT SetNotifyWindow(HWND window, LONG id) = 0;
  virtual void EraseBackground() = 0;
  /// One of the values that are no parameters.
  virtual double Fact(int row) const noexcept = 0;

  /// Called with the property interface once both it and the window are there, and with null before either goes.
  virtual void FilterShown(void* /*filter*/) {}

  /// The property interface, null while there is no object.
  void* filter() const noexcept { return filter_; }

 private:
  static constexpr UINT_PTR kTimer = 0;
  static constexpr int kLogo = 2;  // the logo bar
  static constexpr std::size_t kImageLists = 3;

  const PageControl* FindRow(int id) const noexcept;
  /// The control whose edit box has this id.
  const PageControl* FindBox(int id) const noexcept;
  std::uint32_t BitOf(const PageControl& row) const noexcept;
  /// What the page last wrote into an edit box, and the parameter's index or the other one that gives it its meaning.
  struct Shown {
    ShortText text;
    double meaning = 0;
  };
  Shown& LastShown(const PageControl& row) noexcept;
  double MeaningOf(const PageControl& row) const noexcept;
  const ParameterAccess* AccessOf(int row) const noexcept;
  const ParameterAccess* AccessOf(const PageControl& row) const noexcept;
  bool IsFree(const PageControl& row) const;
  bool IsAutomated() const noexcept;

  void RegisterWindow() noexcept;
  void UnregisterWindow() noexcept;
  void ShowFilterGone() noexcept;
  void FillList(const PageControl& row) noexcept;
  void SetRange(const PageControl& row) noexcept;
  void BuildLogo() noexcept;
  void StretchLogo() noexcept;
  void EndWindow() noexcept;

  double ValueOf(const PageControl& row) const noexcept;
  void SetValue(const PageControl& row, double value) noexcept;
  void BeginEdit(const PageControl& row);
  void EndEdit(const PageControl& row);
  void EndEdits() noexcept;

  void UpdateRow(const PageControl& row, int id, bool force);
  void MoveControl(const PageControl& row, double value);
  void SelectItem(int id, LONG value);
  void ShowReadout(const PageControl& row, double value, int id);
  bool IsTyping(const PageControl& row);
  void Enable(int id, bool enabled) noexcept;
  const EnableRule* RuleOf(int id) const noexcept;
  bool Holds(const EnableRule& rule) const noexcept;
  void ApplyRules();
  void TellSiteOf(int id);

  void Follow();
  void FollowRow(const PageControl& row);
  void Scroll(UINT message, WPARAM wparam, LPARAM lparam);
  void ScrollSpinner(const PageControl& row, UINT message, WPARAM wparam, LPARAM lparam);
  bool Command(int id, WORD code);
  void CommandOfRow(const PageControl& row, int id, WORD code);
  bool CommandOfList(const PageControl& row, WORD code);
  void CommitText(const PageControl& row);
  const PageControl* FocusedBox() const noexcept;
  void CommitFocusedText();
  void DropFocusedText();
  void ApplyPresetItem(int item);
  void ShowPageMenu(LPARAM point);
  void ShowPresetMenu();
  void TrackMenu(HMENU menu, POINT at);
  void ShowHelp();

  const PageDescription& page_;
  const IID& property_;
  IUnknown* object_ = nullptr;  // as given at connection, with a reference
  void* filter_ = nullptr;      // its property interface, likewise
  bool registered_ = false;
  std::uint32_t openLists_ = 0;        // rows whose list is dropped down
  std::uint32_t openEdits_ = 0;        // rows between BeginEdit and EndEdit
  double valueAtOpening_ = 0;          // of the list that is dropped down
  bool triedInList_ = false;           // an entry of it was chosen, for this filter
  std::array<Shown, 32> lastShown_{};  // by row
  std::array<ImageList, kImageLists> images_{};
};

}  // namespace korva
