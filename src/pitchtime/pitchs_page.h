#pragma once

#include "pages/effect_page_of.h"
#include "pitchtime/pitchs_property.h"

namespace korva {

extern const PageDescription kPitchsPage;

/// The Pitch Shift's property page, dialog 2001. It is what computes the transposition from semitones and cents.
using CQvPitchsPropPage = CQvEffectPageOf<IQvPitchsProp, kPitchsPage>;

}  // namespace korva
