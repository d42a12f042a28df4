#pragma once

#include <iosfwd>
#include <string>

#include "host/effect_table.h"
#include "host/outcome.h"

namespace korva {

/// What automation and tempo can do with a row: "ramp", "jump", "jump, tempo", "-".
std::string MovementText(const EffectInstance& instance, const ParamDescriptor& row);

void ListEffects(std::ostream& out);
Check ListParameters(const EffectRow& effect, std::ostream& out);
void ListPresets(const EffectRow& effect, std::ostream& out);
/// Says which effect and form the record in a file is, and its values.
Check DescribeState(const std::string& path, std::ostream& out);

/// `docs/effects.md`: every effect, parameter and preset.
Check WriteEffectsDoc(std::ostream& out);

}  // namespace korva
