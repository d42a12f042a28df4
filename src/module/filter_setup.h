#pragma once

#include "frame/effect_description.h"
#include "streaming/movie_setup.h"

namespace korva {

/// An effect's entry in the system's list of filters. All effects have the same pins, and a merit so low that no graph
/// builder takes one by itself.
FilterSetup SetupOf(const EffectDescription& effect) noexcept;

}  // namespace korva
