#pragma once

#include "pages/effect_page.h"
#include "platform/wave_format.h"

namespace korva {

/// The page of one effect: its property interface and its tables. A page with more than tables derives from it and
/// calls `Close` in its destructor.
template <class Property, const PageDescription& description>
class CQvEffectPageOf : public CQvEffectPage {
 public:
  using PropertyInterface = Property;

  explicit CQvEffectPageOf(IUnknown* outer) noexcept : CQvEffectPage(outer, description, InterfaceId<Property>()) {}
  ~CQvEffectPageOf() override { Close(); }

 protected:
  /// Null while there is no object.
  Property* property() const noexcept { return static_cast<Property*>(filter()); }

  HRESULT SetNotifyWindow(HWND window, LONG id) override { return property()->SetNotifyWindow(window, id); }
  void EraseBackground() override {
    property()->TakeAndLeaveLock();
    property()->SetReserved(0);
  }
  double Fact(int row) const noexcept override {
    if constexpr (requires { property()->IsTempoAvailable(); }) {
      if (row == kTempoRow) return property()->IsTempoAvailable() != 0 ? 1 : 0;
    }
    if constexpr (requires(WAVEFORMATEX * format) { property()->GetFormat(format); }) {
      WAVEFORMATEX format{};
      if (row == kChannelsRow) return SUCCEEDED(property()->GetFormat(&format)) ? format.nChannels : 0;
    }
    if constexpr (requires(DWORD * rate) { property()->GetSampleRate(rate); }) {
      DWORD rate = 0;
      if (row == kSampleRateRow) return SUCCEEDED(property()->GetSampleRate(&rate)) ? rate : 0;
    }
    return 0;
  }
};

}  // namespace korva
