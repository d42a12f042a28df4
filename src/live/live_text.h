#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "frame/effect_description.h"

// The effects' texts in any of the ten languages, as UTF-8. `language` is an index into `kLanguageLocales`.
namespace korva {

/// The language of a tag such as "de" or "pt-br", in any case; English for one that there is not.
std::size_t LanguageOf(std::string_view tag);

/// A text of the string table, in English where the language lacks it.
std::string TextIn(std::size_t language, std::int32_t id);

/// The names of a row's choices; empty for other rows.
std::vector<std::string> ChoiceNamesIn(std::size_t language, const ParamDescriptor& row);

std::string PresetNameIn(std::size_t language, const EffectDescription& effect, std::int32_t index);

}  // namespace korva
