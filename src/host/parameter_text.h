#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "frame/param_descriptor.h"
#include "host/effect_table.h"
#include "host/outcome.h"

// Names and values of parameters as the user types and reads them: display units, names of choices, on and off.
namespace korva {

using ParameterBlock = std::vector<std::uint8_t>;

/// What a row takes: "0.1 to 100 ms", "0 to 18", "on or off".
std::string RangeText(const ParamDescriptor& row);
/// The step in which a row keeps its values, as `--set` counts them; empty where they are kept as they are.
std::string StepText(const ParamDescriptor& row);
/// A value of the row as it is in `block`, with its unit or its name.
std::string ValueText(const ParamDescriptor& row, const void* block);
/// The entries of a row with named choices in the language in force, each with its value: "0 Rich Hall". Empty for
/// other rows.
std::vector<std::string> NumberedChoices(const ParamDescriptor& row);

/// `text` as a value of `row` in the row's own display units. `kBadCall` names the row and what it takes.
Outcome<double> ParseValue(const ParamDescriptor& row, std::string_view text);
/// A value that `--set` reads back to the last bit.
std::string ExactText(const ParamDescriptor& row, const void* block);

/// The row of `name` in an effect, as `kBadCall` the nearest names.
Outcome<std::size_t> FindRow(const EffectRow& effect, std::string_view name);
/// Applies "NAME=VALUE" to a block of the effect.
/// `remarks` hears where it was understood otherwise than it was typed, such as a value between two that can be kept.
MaybeExit ApplySetting(const EffectRow& effect, std::string_view setting, const MaterialLength& material, void* block,
                       std::vector<std::string>* remarks = nullptr);

/// The preset that `text` names by index or name, in the language in force or in English.
Outcome<std::int32_t> FindPreset(const EffectRow& effect, std::string_view text);
/// The name of a preset in the language in force.
std::string PresetName(const EffectDescription& effect, std::int32_t index);
/// The same in English, for what is to be alike for everyone.
std::string EnglishPresetName(const EffectDescription& effect, std::int32_t index);

/// The effect's block as it is now.
ParameterBlock ReadBlock(const EffectInstance& effect);

}  // namespace korva
