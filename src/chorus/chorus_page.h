#pragma once

#include "chorus/chorus_property.h"
#include "pages/effect_page.h"

namespace korva {

/// The Chorus's property page, dialog 6001.
class CQvChorusPropPage final : public CQvEffectPage {
 public:
  explicit CQvChorusPropPage(IUnknown* outer) noexcept;
  ~CQvChorusPropPage() override { Close(); }

 protected:
  HRESULT SetNotifyWindow(HWND window, LONG id) override;
  void InitOwnControls() override;
  void ShownValue(const PageControl& row, LONG value) override;
  std::optional<bool> EditEnabled(const PageControl& row) override;
  void EraseBackground() override;

 private:
  IQvChorusProp2* chorus() const noexcept { return static_cast<IQvChorusProp2*>(filter()); }
  void ShowTempoGroup(bool sync);
};

}  // namespace korva
