#pragma once

#include "host/effect_table.h"

namespace korva {

/// The Simple Delay rings out in a single buffer on most sample formats.
extern const EffectHabits kEchosHabits;

}  // namespace korva
