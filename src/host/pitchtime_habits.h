#pragma once

#include "host/effect_table.h"

namespace korva {

/// The length changes with the pitch unless it is kept.
extern const EffectHabits kPitchsHabits;
/// The length may be told as a pair of tempos or as a duration.
extern const EffectHabits kTimeHabits;

}  // namespace korva
