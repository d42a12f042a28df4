#pragma once

#include "delay/echomt/echomt_block.h"
#include "frame/effect_description.h"

namespace korva {

/// A row that asks for a rebuild needs `EchomtEngine::MarkLinesStale`.
extern const EffectDescription kEchomtEffect;

}  // namespace korva
