#pragma once

#include "delay/echomt/echomt_block.h"
#include "frame/effect_description.h"

namespace korva {

/// `changeBit` of the rows: what a change means to the engine. The second kind needs `EchomtEngine::MarkLinesStale`.
inline constexpr std::uint32_t kEchomtLight = 1;
inline constexpr std::uint32_t kEchomtLines = 2;

extern const EffectDescription kEchomtEffect;

/// Holds every field of `params` to its range, `lowPassEnabled` aside, which is taken as it stands. Whether all were
/// in range.
bool ValidateParams(EchomtParams& params) noexcept;

}  // namespace korva
