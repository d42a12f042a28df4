#include "host/listing.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <ostream>

#include "host/number_text.h"
#include "host/parameter_text.h"
#include "host/state_file.h"
#include "platform/media_params.h"

namespace korva {
namespace {

/// How many columns a text takes: bytes that continue a character take none.
std::size_t WidthOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

/// Writes rows of cells in columns, the last as it is.
template <std::size_t N>
void WriteTable(const std::vector<std::array<std::string, N>>& table, const std::string& margin, std::ostream& out) {
  std::array<std::size_t, N> widths{};
  for (const auto& row : table) {
    for (std::size_t i = 0; i < N; ++i) widths[i] = std::max(widths[i], WidthOf(row[i]));
  }
  for (const auto& row : table) {
    std::string line = margin;
    for (std::size_t i = 0; i < N; ++i) {
      line += row[i];
      if (i + 1 < N) line += std::string(widths[i] - WidthOf(row[i]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << "\n";
  }
}

void WriteChoices(const ParamDescriptor& row, std::ostream& out) {
  const std::vector<std::string> choices = NumberedChoices(row);
  if (choices.empty()) return;
  out << "\n" << row.name << ":\n";
  for (const std::string& choice : choices) out << "  " << choice << "\n";
}

using Json = nlohmann::ordered_json;

MaybeExit Write(const Json& json, std::ostream& out) {
  out << json.dump(2) << "\n";
  return std::nullopt;
}

/// As `--set` takes it: a number, a switch, or the number of a choice.
Json JsonValue(const ParamDescriptor& row, const void* block) {
  const std::string text = ExactText(row, block);
  if (row.info.mpType == MPT_BOOL) return text == "on";
  const std::optional<double> number = ParseNumber(text.substr(0, text.find(' ')));
  return number ? Json(*number) : Json(text);
}

MaybeExit WriteParameters(const EffectRow& effect, const EffectInstance& instance, std::ostream& out) {
  Json all = Json::array();
  for (const ParamDescriptor& row : effect.description.rows) {
    Json one{{"name", row.name}, {"summary", row.summary}, {"range", RangeText(row)}, {"unit", row.unit}};
    one["default"] = JsonValue(row, effect.description.presets.Block(0));
    if (const std::optional<double> step = ParseNumber(StepText(row))) one["step"] = *step;
    one["automation"] = MovementText(instance, row);
    const std::vector<std::string> choices = NumberedChoices(row);
    if (!choices.empty()) one["choices"] = choices;
    all.push_back(std::move(one));
  }
  return Write(all, out);
}

}  // namespace

std::string MovementText(const EffectInstance& instance, const ParamDescriptor& row) {
  if (!Query<IMediaParams>(instance.filter.Get())) return "-";
  const bool ramps = (row.info.mopCaps & static_cast<MP_CAPS>(MP_CURVE_LINEAR)) != 0;
  return std::string(ramps ? "ramp" : "jump") + (row.followsTempo ? ", tempo" : "");
}

MaybeExit ListEffects(bool json, std::ostream& out) {
  if (json) {
    Json all = Json::array();
    for (const EffectRow& effect : EffectTable()) {
      all.push_back({{"name", effect.description.name}, {"summary", effect.description.summary}});
    }
    return Write(all, out);
  }
  std::vector<std::array<std::string, 2>> table;
  for (const EffectRow& effect : EffectTable()) {
    table.push_back({effect.description.name, effect.description.summary});
  }
  WriteTable(table, "", out);
  return std::nullopt;
}

MaybeExit ListParameters(const EffectRow& effect, bool json, std::ostream& out) {
  const Outcome<EffectInstance> instance = CreateEffect(effect);
  if (!instance) return instance.earlyExit();
  if (json) return WriteParameters(effect, *instance, out);
  const EffectDescription& description = effect.description;
  const void* const defaults = description.presets.Block(0);
  const bool isAutomated = static_cast<bool>(Query<IMediaParams>(instance->filter.Get()));
  const bool hasTempo = std::any_of(description.rows.begin(), description.rows.end(),
                                    [](const ParamDescriptor& row) { return row.followsTempo; });
  out << description.name << ": " << description.summary << "\n\n";
  std::vector<std::array<std::string, 6>> table{
      {"NAME", "RANGE", "STEP", "DEFAULT", isAutomated ? "AUTOMATION" : "", "WHAT IT DOES"}};
  for (const ParamDescriptor& row : description.rows) {
    const std::string movement = isAutomated ? MovementText(*instance, row) : "";
    table.push_back({row.name, RangeText(row), StepText(row), ValueText(row, defaults), movement, row.summary});
  }
  if (effect.habits != nullptr) {
    for (const DerivedName& name : effect.habits->names)
      table.push_back({name.name, name.range, "", "", "", name.summary});
  }
  WriteTable(table, "", out);
  for (const ParamDescriptor& row : description.rows) WriteChoices(row, out);
  if (effect.habits != nullptr && effect.habits->picks != nullptr) out << "\n" << effect.habits->picks << "\n";
  if (isAutomated) out << "\nramp: --automate moves it along any curve.  jump: it only jumps.\n";
  if (hasTempo) out << "tempo: part of what follows --tempo or --tempo-map once its tempo-sync switch is on.\n";
  return std::nullopt;
}

MaybeExit ListPresets(const EffectRow& effect, bool json, std::ostream& out) {
  if (json) {
    Json all = Json::array();
    for (std::int32_t i = 0; i < effect.description.presets.count(); ++i) {
      all.push_back({{"index", i}, {"name", PresetName(effect.description, i)}});
    }
    return Write(all, out);
  }
  std::vector<std::array<std::string, 2>> table;
  for (std::int32_t i = 0; i < effect.description.presets.count(); ++i) {
    table.push_back({std::to_string(i), PresetName(effect.description, i)});
  }
  WriteTable(table, "", out);
  return std::nullopt;
}

MaybeExit DescribeState(const std::string& path, std::istream& in, StateForm form, std::ostream& out) {
  const Outcome<StateRecord> record = ReadStateFile(path, in);
  if (!record) return record.earlyExit();
  Outcome<EffectInstance> instance = CreateEffect(*record->effect);
  if (!instance) return instance.earlyExit();
  if (const MaybeExit check = LoadState(*record, *instance)) return check;
  const EffectDescription& description = record->effect->description;
  if (form == StateForm::kText) {
    out << "# The values of an effect; korva render ... " << description.name << " --state FILE reads them.\n"
        << StateText(*record->effect, *instance);
    return std::nullopt;
  }
  if (form == StateForm::kJson) {
    const ParameterBlock values = ReadBlock(*instance);
    Json json{{"effect", description.name}, {"current_form", record->form == 0}, {"bytes", record->bytes.size()}};
    for (const ParamDescriptor& row : description.rows) json["values"][row.name] = JsonValue(row, values.data());
    return Write(json, out);
  }
  out << description.name << ", " << (record->form == 0 ? "current form" : "older form") << ", " << record->bytes.size()
      << " bytes\n";
  const ParameterBlock block = ReadBlock(*instance);
  std::vector<std::array<std::string, 2>> table;
  for (const ParamDescriptor& row : description.rows) table.push_back({row.name, ValueText(row, block.data())});
  WriteTable(table, "  ", out);
  return std::nullopt;
}

}  // namespace korva
