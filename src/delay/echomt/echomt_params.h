#pragma once

#include "delay/echomt/echomt_block.h"
#include "frame/effect_description.h"

namespace korva {

/// A row that asks for a rebuild needs `EchomtEngine::MarkLinesStale`.
extern const EffectDescription kEchomtEffect;

/// Holds every field of `params` to its range, `lowPassEnabled` aside, which is taken unchanged. Whether all were
/// in range.
bool ValidateParams(EchomtParams& params) noexcept;

}  // namespace korva
