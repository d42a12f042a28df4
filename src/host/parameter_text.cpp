#include "host/parameter_text.h"

#include <cmath>
#include <cstring>
#include <sstream>

#include "frame/module_text.h"
#include "frame/row_values.h"
#include "host/nearest.h"
#include "host/number_text.h"
#include "platform/wide_text.h"
#include "qvkit/language.h"
#include "qvkit/language_locales.h"

namespace korva {
namespace {

/// Texts in English, whatever the language in force: scripts rely on names that do not move.
std::string EnglishText(std::int32_t id) {
  struct Handle {
    Handle() noexcept { QvLang_Open(&language, nullptr, kLanguageLocales[kEnglish], 0); }
    ~Handle() { QvLang_Close(language); }
    QvLanguage* language = nullptr;
  };
  static const Handle english;
  return platform::ToUtf8(QvGetString(english.language, id));
}

std::string CurrentText(std::int32_t id) {
  return platform::ToUtf8(ModuleText(id));
}

std::vector<std::string> SplitAtCommas(const std::string& text) {
  std::vector<std::string> parts;
  if (text.empty()) return parts;
  std::size_t start = 0;
  for (std::size_t comma = text.find(','); comma != std::string::npos; comma = text.find(',', start)) {
    parts.push_back(text.substr(start, comma - start));
    start = comma + 1;
  }
  parts.push_back(text.substr(start));
  return parts;
}

/// The entries of a row with named choices, in the language that `textOf` speaks.
template <class TextOf>
std::vector<std::string> ChoiceNames(const ParamDescriptor& row, TextOf textOf) {
  if (row.enumId >= 0) return SplitAtCommas(textOf(row.enumId));
  std::vector<std::string> names;
  const auto last = static_cast<std::int32_t>(row.info.mpdMaxValue - row.info.mpdMinValue);
  for (std::int32_t i = 0; row.firstNameId >= 0 && i <= last; ++i) names.push_back(textOf(row.firstNameId + i));
  return names;
}

/// The names with their values before them, as they are shown.
std::vector<std::string> Numbered(const ParamDescriptor& row, std::vector<std::string> names) {
  for (std::size_t i = 0; i < names.size(); ++i) {
    names[i] = NumberText(static_cast<double>(row.info.mpdMinValue) + static_cast<double>(i)) + " " + names[i];
  }
  return names;
}

std::ptrdiff_t IndexOfName(const std::vector<std::string>& names, std::string_view typed) {
  const std::string wanted = Folded(typed);
  if (wanted.empty()) return -1;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (Folded(names[i]) == wanted) return static_cast<std::ptrdiff_t>(i);
  }
  return -1;
}

/// The first name with `typed` among its words.
std::ptrdiff_t IndexOfWord(const std::vector<std::string>& names, std::string_view typed) {
  const std::string wanted = Folded(typed);
  if (wanted.size() < 3 || wanted.find_first_not_of("0123456789") == std::string::npos) return -1;
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::istringstream words(names[i]);
    for (std::string word; words >> word;) {
      if (Folded(word) == wanted) return static_cast<std::ptrdiff_t>(i);
    }
  }
  return -1;
}

bool IsWhole(const ParamDescriptor& row) {
  return row.info.mpType == MPT_INT || row.info.mpType == MPT_ENUM;
}

Outcome<double> ParseSwitch(const ParamDescriptor& row, std::string_view text) {
  const std::string folded = Folded(text);
  if (text == "1" || folded == "on") return 1.0;
  if (text == "0" || folded == "off") return 0.0;
  return BadCall(std::string(row.name) + " takes on or off, not \"" + std::string(text) + "\"");
}

}  // namespace

std::string RangeText(const ParamDescriptor& row) {
  if (row.info.mpType == MPT_BOOL) return "on or off";
  const std::string unit = row.unit;
  const auto bound = [&](float value) { return NumberText(CommandBound(row, value)); };
  std::string text = bound(row.info.mpdMinValue) + " to " + bound(row.info.mpdMaxValue);
  if (!unit.empty()) text += " " + unit;
  return text;
}

std::string StepText(const ParamDescriptor& row) {
  if (row.storage == Storage::kDouble || row.info.mpType == MPT_BOOL || row.info.mpType == MPT_ENUM) return {};
  const double range = static_cast<double>(row.info.mpdMaxValue) - static_cast<double>(row.info.mpdMinValue);
  const double step = range * CommandFactor(row) / (static_cast<double>(row.externalMax) - row.externalMin);
  return NumberText(std::round(step * 1e6) / 1e6);
}

std::string ExactText(const ParamDescriptor& row, const void* block) {
  if (row.storage != Storage::kDouble) return ValueText(row, block);
  return ShortestText(LoadDisplayValue(row, block) * CommandFactor(row));
}

std::string ValueText(const ParamDescriptor& row, const void* block) {
  const double value = LoadDisplayValue(row, block);
  if (row.info.mpType == MPT_BOOL) return value != 0 ? "on" : "off";
  const std::vector<std::string> choices = NumberedChoices(row);
  const double index = value - static_cast<double>(row.info.mpdMinValue);
  if (index >= 0 && index < static_cast<double>(choices.size())) return choices[static_cast<std::size_t>(index)];
  const std::string unit = row.unit;
  // Bounds are floats, and leave dust behind the sixth place.
  const double shown =
      row.storage == Storage::kDouble ? value * CommandFactor(row) : std::round(value * CommandFactor(row) * 1e6) / 1e6;
  std::string text = NumberText(shown);
  if (!unit.empty()) text += " " + unit;
  return text;
}

std::vector<std::string> NumberedChoices(const ParamDescriptor& row) {
  return Numbered(row, ChoiceNames(row, CurrentText));
}

Outcome<double> ParseValue(const ParamDescriptor& row, std::string_view text) {
  if (row.info.mpType == MPT_BOOL) return ParseSwitch(row, text);
  const std::vector<std::string> names = ChoiceNames(row, CurrentText), english = ChoiceNames(row, EnglishText);
  for (const auto& choices : {names, english, Numbered(row, names), Numbered(row, english)}) {
    const std::ptrdiff_t index = IndexOfName(choices, text);
    if (index >= 0) return static_cast<double>(index) + static_cast<double>(row.info.mpdMinValue);
  }
  for (const auto& choices : {names, english}) {
    const std::ptrdiff_t index = IndexOfWord(choices, text);
    if (index >= 0) return static_cast<double>(index) + static_cast<double>(row.info.mpdMinValue);
  }
  const std::string unit = row.unit;
  std::string_view digits = text;
  if (!unit.empty() && digits.ends_with(unit)) {
    digits.remove_suffix(unit.size());
    while (!digits.empty() && digits.back() == ' ') digits.remove_suffix(1);
  }
  const std::optional<double> shown = ParseNumber(digits);
  const auto refused = [&](const std::string& why) {
    return BadCall(std::string(row.name) + " takes " + RangeText(row) + why);
  };
  if (!shown) {
    if (!names.empty())
      return BadCall(UnknownName(std::string(row.name) + " has no choice", text, names, RangeText(row)));
    return refused("; \"" + std::string(text) + "\" is no number");
  }
  const double value = *shown / CommandFactor(row);
  // Compared as the row's own floats, so that the bound that is shown is a value that may be typed.
  const auto narrowed = static_cast<float>(value);
  if (!(narrowed >= row.info.mpdMinValue && narrowed <= row.info.mpdMaxValue))
    return refused(", not " + std::string(text));
  if (IsWhole(row) && value != std::floor(value)) return refused(", whole numbers only");
  return value;
}

Outcome<std::size_t> FindRow(const EffectRow& effect, std::string_view name) {
  const EffectDescription& description = effect.description;
  std::vector<std::string> names;
  for (std::size_t row = 0; row < description.rows.size(); ++row) {
    if (name == description.rows[row].name) return row;
    names.emplace_back(description.rows[row].name);
  }
  if (effect.habits != nullptr) {
    for (const DerivedName& derived : effect.habits->names) names.emplace_back(derived.name);
  }
  return BadCall(UnknownName(std::string(description.name) + " has no parameter", name, names,
                             "see korva params " + std::string(description.name)));
}

namespace {

/// Says what became of a text that is not the value itself.
void RemarkOn(const EffectRow& effect, const ParamDescriptor& row, std::string_view text, double value,
              const void* block, std::vector<std::string>& remarks) {
  const std::string kept = ValueText(row, block), name = std::string(effect.description.name) + ": " + row.name;
  const bool isNamed = row.enumId >= 0 || row.firstNameId >= 0;
  const std::string typed = Folded(text);
  const bool isWord = isNamed && typed.find_first_not_of("0123456789") != std::string::npos;
  if (isWord && Folded(kept) != typed && Folded(kept.substr(kept.find(' ') + 1)) != typed) {
    remarks.push_back(name + "=" + std::string(text) + " is " + kept);
  } else if (!isNamed && std::fabs(LoadDisplayValue(row, block) - value) > 1e-4 * std::fmax(std::fabs(value), 0.01)) {
    remarks.push_back(name + "=" + std::string(text) + " is kept as " + kept + ", in steps of " + StepText(row));
  }
}

}  // namespace

MaybeExit ApplySetting(const EffectRow& effect, std::string_view setting, const MaterialLength& material, void* block,
                       std::vector<std::string>* remarks) {
  const std::string_view effectName = effect.description.name;
  const std::size_t equals = setting.find('=');
  if (equals == std::string_view::npos || equals == 0) {
    return BadCall("--set takes NAME=VALUE, not \"" + std::string(setting) + "\"");
  }
  const std::string_view name = setting.substr(0, equals);
  const std::string_view text = setting.substr(equals + 1);
  const auto named = [&](const EarlyExit& exit) {
    return EarlyExit{exit.exitCode, std::string(effectName) + ": " + exit.text};
  };
  if (effect.habits != nullptr && effect.habits->setDerived != nullptr) {
    bool taken = false;
    if (const MaybeExit check = effect.habits->setDerived(name, text, material, block, taken)) return named(*check);
    if (taken) return std::nullopt;
  }
  const Outcome<std::size_t> row = FindRow(effect, name);
  if (!row) return row.earlyExit();
  const ParamDescriptor& descriptor = effect.description.rows[*row];
  const Outcome<double> value = ParseValue(descriptor, text);
  if (!value) return named(value.earlyExit());
  StoreDisplayValue(descriptor, block, *value);
  if (remarks != nullptr) RemarkOn(effect, descriptor, text, *value, block, *remarks);
  if (effect.description.afterSet != nullptr) effect.description.afterSet(*row, block);
  return std::nullopt;
}

Outcome<std::int32_t> FindPreset(const EffectRow& effect, std::string_view text) {
  const PresetTable& presets = effect.description.presets;
  const std::string name = effect.description.name;
  if (const std::optional<std::int64_t> index = ParseWhole(text)) {
    if (*index >= 0 && *index < presets.count()) return static_cast<std::int32_t>(*index);
    return BadCall(name + " has presets 0 to " + std::to_string(presets.count() - 1) + ", not " + std::string(text));
  }
  std::vector<std::string> current, english;
  for (std::int32_t i = 0; i < presets.count(); ++i) {
    current.push_back(CurrentText(presets.NameId(i)));
    english.push_back(EnglishText(presets.NameId(i)));
  }
  for (const auto* names : {&current, &english}) {
    if (const std::ptrdiff_t found = IndexOfName(*names, text); found >= 0) return static_cast<std::int32_t>(found);
  }
  return BadCall(UnknownName(name + " has no preset", text, current, "see korva presets " + name));
}

std::string PresetName(const EffectDescription& effect, std::int32_t index) {
  return CurrentText(effect.presets.NameId(index));
}

std::string EnglishPresetName(const EffectDescription& effect, std::int32_t index) {
  return EnglishText(effect.presets.NameId(index));
}

ParameterBlock ReadBlock(const EffectInstance& effect) {
  ParameterBlock block(effect.parameters->effect().blockSize);
  effect.parameters->ReadBlock(block.data());
  return block;
}

}  // namespace korva
