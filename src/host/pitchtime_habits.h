#pragma once

#include "host/effect_table.h"

namespace korva {

/// Semitones and cents set the transposition, as they do on the page.
extern const EffectHabits kPitchsHabits;
/// The length may be told as a pair of tempos or as a duration.
extern const EffectHabits kTimeHabits;

}  // namespace korva
