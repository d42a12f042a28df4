#pragma once

#include <utility>

#include "audio/param_source.h"
#include "frame/effect_description.h"
#include "frame/row_values.h"

namespace korva {

/// The block of a preset.
template <class Block>
Block PresetBlock(const EffectDescription& effect, std::int32_t preset) {
  return LoadBlock<Block>(effect.presets.Block(preset));
}

/// Parameters as a filter hands them to its engine: who writes to `block` raises `changed`.
template <class Block>
struct HeldParams : ParamSource<Block> {
  explicit HeldParams(const Block& start) : block(start) {}
  bool FetchParams(Block& out) noexcept override {
    out = block;
    return std::exchange(changed, false);
  }

  Block block;
  bool changed = true;
};

}  // namespace korva
