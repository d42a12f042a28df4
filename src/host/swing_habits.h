#pragma once

#include "host/effect_table.h"

namespace korva {

/// The voices swing, always.
extern const EffectHabits kChorusHabits;
/// The taps may swing.
extern const EffectHabits kEchomtHabits;

}  // namespace korva
