#pragma once

#include "host/effect_table.h"

namespace korva {

extern const EffectHabits kChorusHabits, kReverbHabits, kEchosHabits, kEchomtHabits;

}  // namespace korva
