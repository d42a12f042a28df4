#pragma once

#include "pages/effect_page_of.h"
#include "pitchtime/time_property.h"

namespace korva {

extern const PageDescription kTimePage;

/// The Time Stretch's property page, dialog 1001: the final length as a percentage, a tempo or a time.
using CQvTimePropPage = CQvEffectPageOf<IQvTimeProp, kTimePage>;

}  // namespace korva
