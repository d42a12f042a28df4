#include "host/chain/prepare.h"

#include <algorithm>
#include <cmath>

#include "frame/row_values.h"
#include "host/automation_text.h"
#include "host/nearest.h"
#include "host/number_text.h"
#include "host/parameter_text.h"
#include "host/state_file.h"
#include "pitchtime/stretch_filter.h"

namespace korva {
namespace {

MaybeExit LeaveDryOut(const EffectRow& effect, ParameterBlock& block) {
  for (const ParamDescriptor& row : effect.description.rows) {
    if (row.name != std::string_view("dry-out")) continue;
    StoreDisplayValue(row, block.data(), static_cast<double>(row.info.mpdMinValue));
    return std::nullopt;
  }
  return BadCall(std::string(effect.description.name) + " has no dry signal that --wet could leave out");
}

MaybeExit SetParameters(const EffectRequest& request, const MaterialLength& material, std::istream& in,
                        EffectInstance& instance, std::vector<std::string>& remarks) {
  const EffectRow& effect = *request.effect;
  if (!request.preset.empty()) {
    const Outcome<std::int32_t> preset = FindPreset(effect, request.preset);
    if (!preset) return preset.earlyExit();
    instance.parameters->WriteBlock(effect.description.presets.Block(*preset));
  }
  if (!request.stateFile.empty()) {
    if (MaybeExit check = LoadStateFile(request.stateFile, in, effect, instance)) return check;
  }
  if (request.settings.empty() && !request.wet) return std::nullopt;
  ParameterBlock block = ReadBlock(instance);
  for (const std::string& setting : request.settings) {
    if (MaybeExit check = ApplySetting(effect, setting, material, block.data(), &remarks)) return check;
  }
  if (request.wet) {
    if (MaybeExit check = LeaveDryOut(effect, block)) return check;
  }
  if (effect.habits != nullptr && effect.habits->objection != nullptr && !request.settings.empty()) {
    if (const char* const objection = effect.habits->objection(block.data())) {
      return BadCall(std::string(effect.description.name) + ": " + objection);
    }
  }
  instance.parameters->WriteBlock(block.data());
  return std::nullopt;
}

bool AsksForLength(const EffectRequest& request) {
  return std::any_of(request.settings.begin(), request.settings.end(), [&](const std::string& setting) {
    return setting.starts_with("duration=") ||
           (setting.starts_with("tempo=") && setting.find(':') != std::string::npos);
  });
}

}  // namespace

Outcome<std::vector<PreparedEffect>> PrepareEffects(const RenderRequest& request, MaterialLength material,
                                                    std::istream& in, std::vector<std::string>& remarks) {
  std::vector<PreparedEffect> effects;
  for (const EffectRequest& one : request.effects) {
    Outcome<EffectInstance> created = CreateEffect(*one.effect);
    if (!created) return created.earlyExit();
    PreparedEffect prepared{&one, std::move(*created), {}, material.frames};
    if (prepared.instance.stretch != nullptr) prepared.instance.stretch->engine().SetKeepPace(request.keepPace);
    if (MaybeExit check = SetParameters(one, material, in, prepared.instance, remarks)) return *check;
    const EffectHabits* const habits = one.effect->habits;
    if (habits != nullptr && habits->lengthFactor != nullptr) {
      material.frames *= habits->lengthFactor(ReadBlock(prepared.instance).data());
      prepared.isHeld = material.frames > 0 && AsksForLength(one);
    }
    prepared.framesOut = material.frames;
    const AutomationRules rules{prepared.framesIn / std::max<std::uint32_t>(material.rate, 1), !request.noTail,
                                !request.format};
    if (MaybeExit check = ApplyAutomation(*one.effect, prepared.instance, one.automations, rules)) return *check;
    const Outcome<std::vector<std::uint8_t>> record = SaveState(prepared.instance);
    if (!record) return record.earlyExit();
    prepared.record = *record;
    effects.push_back(std::move(prepared));
  }
  const bool hasPace = std::any_of(effects.begin(), effects.end(),
                                   [](const PreparedEffect& effect) { return effect.instance.stretch != nullptr; });
  if (request.keepPace && !hasPace) {
    remarks.emplace_back("--keep-pace is for pitch-shift and time-stretch; this chain has neither");
  }
  return effects;
}

Outcome<std::optional<SongMap>> ReadSong(const RenderRequest& request) {
  if (request.tempo.empty() && request.meter.empty() && request.tempoMap.empty()) return std::optional<SongMap>();
  Outcome<SongMap> map =
      request.tempoMap.empty() ? ConstantSong(request.tempo, request.meter) : ReadMidiSong(request.tempoMap);
  if (!map) return map.earlyExit();
  return std::optional<SongMap>(std::move(*map));
}

void ConnectSongs(const SongMap& song, std::vector<PreparedEffect>& effects, std::vector<std::string>& remarks) {
  auto* const host = new SongHost(song);
  const ComPtr<IMfxTempoMap> keeper(host);
  bool heard = false;
  std::vector<std::string> switches;
  for (PreparedEffect& effect : effects) {
    if (!ConnectSong(effect.instance.filter.Get(), *host)) continue;
    const ParameterBlock block = ReadBlock(effect.instance);
    for (const ParamDescriptor& row : effect.request->effect->description.rows) {
      if (!row.followsTempo || row.storage != Storage::kBool) continue;
      switches.push_back(std::string("--set ") + row.name + "=on");
      const auto& texts = effect.request->automations;
      heard = heard || LoadField(row, block.data()) != 0 ||
              std::any_of(texts.begin(), texts.end(),
                          [&](const std::string& text) { return text.starts_with(std::string(row.name) + ":"); });
    }
  }
  if (heard) return;
  remarks.push_back("no effect of this chain follows the tempo" +
                    (switches.empty() ? "" : "; " + Joined(switches, " or ") + " makes one do so"));
}

}  // namespace korva
