#pragma once

#include "delay/echos/echos_property.h"
#include "pages/effect_page_of.h"

namespace korva {

extern const PageDescription kEchosPage;
/// The Simple Delay's property page, dialog 3001.
using CQvEchosPropPage = CQvEffectPageOf<IQvEchosProp2, kEchosPage>;

}  // namespace korva
