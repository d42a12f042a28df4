#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "pages/base_property_page.h"
#include "pages/page_control.h"
#include "qvkit/image_lists.h"

namespace korva {

/// What a page is, beside the rules of its own.
struct PageDescription {
  int dialog;
  StringId title;
  StringId logoName;
  DWORD helpContext;
  const IID& propertyInterface;
  std::span<const PageControl> controls;  ///< in the order in which they follow the filter
  bool bypassButton = true;
  bool followsTimer = true;  ///< false where nothing is automated
};

/// The page of an effect: it shows what its filter holds and writes what the user sets, row by row of a table.
///
/// It knows the filter only by its property interface, and by `IStaticFilterPreset`. The filter's notices come as
/// posted messages; while a stream runs, a timer follows automation.
class CQvEffectPage : public CBasePropertyPage {
 public:
  /// The id under which a filter's notices reach the page.
  static constexpr int kNoticeId = 32700;

 protected:
  CQvEffectPage(IUnknown* outer, const PageDescription& description) noexcept
      : CBasePropertyPage(outer, description.dialog, description.title, description.helpContext), page_(description) {}
  ~CQvEffectPage() override = default;

  HRESULT OnConnect(IUnknown* object) override;
  HRESULT OnDisconnect() override;
  HRESULT OnDeactivate() override;
  INT_PTR OnReceiveMessage(HWND window, UINT message, WPARAM wparam, LPARAM lparam) override;
  virtual void InitControls();
  /// Brings one control, or with 0 all of them, into line with the filter. A control named without `force` is not
  /// moved, since the user is holding it; only its text is written.
  virtual void Update(int id, bool force);

  // What a page adds.

  /// Registers the window for notices, or with an id of 0 takes it out.
  virtual HRESULT SetNotifyWindow(HWND window, LONG id) = 0;
  virtual void InitOwnControls() {}
  /// Rules that follow from a row's value, which the page has just shown.
  virtual void ShownValue(const PageControl& /*row*/, LONG /*value*/) {}
  /// Whether a row's edit box can be typed in while automation leaves the row alone; nothing: it stays as it is.
  virtual std::optional<bool> EditEnabled(const PageControl& /*row*/) { return std::nullopt; }
  virtual void EraseBackground() {}
  /// A command of a control that no row names; true when it was handled.
  virtual bool OwnCommand(int /*id*/, WORD /*code*/) { return false; }

  /// The property interface, null while there is no object.
  void* filter() const noexcept { return filter_; }
  void Enable(int id, bool enabled) noexcept;

 private:
  static constexpr UINT_PTR kTimer = 0;
  static constexpr int kLogo = 2;  // the logo bar
  static constexpr std::size_t kImageLists = 3;

  const PageControl* FindRow(int id) const noexcept;
  std::uint32_t BitOf(const PageControl& row) const noexcept;
  /// What the page last wrote into a row's readout.
  ShortText& LastShown(const PageControl& row) noexcept;

  void RegisterWindow() noexcept;
  void UnregisterWindow() noexcept;
  void BuildLogo() noexcept;
  void EndWindow() noexcept;

  LONG ValueOf(const PageControl& row) const;
  void BeginEdit(const PageControl& row);
  void EndEdit(const PageControl& row);
  void EndEdits() noexcept;

  void UpdateRow(const PageControl& row, int id, bool force);
  void MoveControl(const PageControl& row, LONG value);
  void SelectItem(int id, LONG value);
  void TellSiteOf(int id);

  void Follow();
  void FollowRow(const PageControl& row);
  void Scroll(UINT message, WPARAM wparam, LPARAM lparam);
  void ScrollSpinner(const PageControl& row, UINT message, WPARAM wparam, LPARAM lparam);
  bool Command(int id, WORD code);
  void CommandOfRow(const PageControl& row, int id, WORD code);
  void CommitText(const PageControl& row);
  void CommitFocusedText();
  void ApplyPresetItem(int item);
  void ShowPageMenu(LPARAM point);
  void ShowPresetMenu();
  void TrackMenu(HMENU menu, POINT at);
  void ShowHelp();

  const PageDescription& page_;
  IUnknown* object_ = nullptr;  // as given at connection, with a reference
  void* filter_ = nullptr;      // its property interface, likewise
  bool registered_ = false;
  std::uint32_t openLists_ = 0;            // rows whose list is dropped down
  std::uint32_t openEdits_ = 0;            // rows between BeginEdit and EndEdit
  std::array<ShortText, 32> lastShown_{};  // by row
  std::array<ImageList, kImageLists> images_{};
};

}  // namespace korva
