#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "host/effect_table.h"
#include "host/outcome.h"

namespace korva {

/// What automation and tempo can do with a row: "ramp", "jump", "jump, tempo", "-".
std::string MovementText(const EffectInstance& instance, const ParamDescriptor& row);

// Each as a table, or as JSON.
MaybeExit ListEffects(bool json, std::ostream& out);
MaybeExit ListParameters(const EffectRow& effect, bool json, std::ostream& out);
MaybeExit ListPresets(const EffectRow& effect, bool json, std::ostream& out);

enum class StateForm : std::uint8_t { kTable, kText, kJson };
/// Says which effect and form the record in a file is, and its values. `-` is `in`.
MaybeExit DescribeState(const std::string& path, std::istream& in, StateForm form, std::ostream& out);

/// `docs/effects.md`: every effect, parameter and preset, with the pictures of some.
MaybeExit WriteEffectsDoc(std::ostream& out);

}  // namespace korva
