#pragma once

#include "delay/echos/echos_block.h"
#include "frame/effect_description.h"

namespace korva {

extern const EffectDescription kEchosEffect;

}  // namespace korva
