#pragma once

#include "frame/effect_description.h"
#include "frame/transform_state.h"

namespace korva {

/// An effect's parameters as one plain block: what records, presets and the command go through, whatever the effect.
/// Blocks have the size that the description says.
class BlockHolder {
 public:
  virtual const EffectDescription& effect() const noexcept = 0;
  virtual TransformState& state() noexcept = 0;
  virtual HRESULT ReadBlock(void* block) = 0;
  virtual HRESULT WriteBlock(const void* block) = 0;
  /// Takes one row over from a block, held to its range, as the row's own setter would: what it asks of the engine and
  /// nothing more. The same value again changes nothing.
  virtual HRESULT WriteRow(std::size_t row, const void* block) = 0;

 protected:
  ~BlockHolder() = default;
};

}  // namespace korva
