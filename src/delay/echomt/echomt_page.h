#pragma once

#include "delay/echomt/echomt_property.h"
#include "pages/effect_page_of.h"

namespace korva {

extern const PageDescription kEchomtPage;

/// The Multi-Tap Delay's property page, dialog 4001: one tap at a time, and a graph of all.
class CQvEchomtPropPage final : public CQvEffectPageOf<IQvEchomtProp, kEchomtPage> {
 public:
  using CQvEffectPageOf::CQvEffectPageOf;
  ~CQvEchomtPropPage() override { Close(); }

 protected:
  void FilterShown(void* filter) override;
};

}  // namespace korva
