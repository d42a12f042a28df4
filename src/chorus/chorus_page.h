#pragma once

#include "chorus/chorus_property.h"
#include "pages/effect_page_of.h"

namespace korva {

extern const PageDescription kChorusPage;
/// The Chorus's property page, dialog 6001.
using CQvChorusPropPage = CQvEffectPageOf<IQvChorusProp2, kChorusPage>;

}  // namespace korva
