#pragma once

#include "pages/effect_page_of.h"
#include "reverb/reverb_property.h"

namespace korva {

extern const PageDescription kReverbPage;
/// The Reverb's property page, dialog 5001.
using CQvReverbPropPage = CQvEffectPageOf<IQvReverbProp2, kReverbPage>;

}  // namespace korva
