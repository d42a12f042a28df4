#include "host/chain/prepare.h"

#include <algorithm>
#include <numeric>
#include <span>

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

/// How long an effect rings with each of its values at the highest that its automation takes it to.
double RingSeconds(const EffectRow& effect, const EffectInstance& instance, std::span<const AutomatedSpan> spans,
                   const SongMap* song) {
  if (effect.habits == nullptr || effect.habits->ringSeconds == nullptr) return 0;
  ParameterBlock block = ReadBlock(instance);
  for (const AutomatedSpan& span : spans) {
    const ParamDescriptor& row = effect.description.rows[span.row];
    const auto [low, high] = std::minmax(span.segment.valStart, span.segment.valEnd);
    StoreDisplayValue(row, block.data(), std::max(LoadDisplayValue(row, block.data()), static_cast<double>(high)));
  }
  return effect.habits->ringSeconds(block.data(), song);
}

/// Follows the automation of an effect whose input is over at `end`, a time that becomes that of its last sound. What
/// moves while the effect rings may start its tail anew.
MaybeExit FollowAutomation(const std::vector<AutomatedSpan>& spans, const std::vector<std::string>& texts,
                           PreparedEffect& effect, double sound, double& end) {
  const double over = end;
  end += effect.ringSeconds;
  std::vector<std::size_t> order(spans.size());
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return spans[a].segment.rtStart < spans[b].segment.rtStart; });
  for (const std::size_t i : order) {
    const double from = static_cast<double>(spans[i].segment.rtStart) / 1e7;
    const double to = static_cast<double>(spans[i].segment.rtEnd) / 1e7;
    if (from >= end) {
      return BadCall("--automate " + texts[i] + ": it begins after the sound, which lasts " + DurationText(sound) +
                     (end > sound ? " and has rung out by " + DurationText(end) : "") +
                     "; --tail SECONDS makes it longer");
    }
    if (to <= over || effect.ringSeconds == 0) continue;
    effect.movesWhileRinging = true;
    end = std::max(end, to + effect.ringSeconds);
  }
  return std::nullopt;
}

}  // namespace

Outcome<std::vector<PreparedEffect>> PrepareEffects(const RenderRequest& request, MaterialLength material,
                                                    const SongMap* song, std::istream& in,
                                                    std::vector<std::string>& remarks) {
  std::vector<PreparedEffect> effects;
  const double rate = std::max<std::uint32_t>(material.rate, 1);
  double end = material.frames / rate;
  for (const EffectRequest& one : request.effects) {
    Outcome<EffectInstance> created = CreateEffect(*one.effect);
    if (!created) return created.earlyExit();
    PreparedEffect prepared{&one, std::move(*created), {}, material.frames};
    if (prepared.instance.stretch != nullptr) prepared.instance.stretch->engine().SetKeepPace(request.keepPace);
    if (MaybeExit check = SetParameters(one, material, in, prepared.instance, remarks)) return *check;
    const EffectHabits* const habits = one.effect->habits;
    if (habits != nullptr && habits->lengthFactor != nullptr) {
      const double factor = habits->lengthFactor(ReadBlock(prepared.instance).data());
      material.frames *= factor;
      end *= factor;
      prepared.isHeld = material.frames > 0 && AsksForLength(one);
    }
    prepared.framesOut = material.frames;
    const Outcome<std::vector<AutomatedSpan>> spans =
        ApplyAutomation(*one.effect, prepared.instance, one.automations, !request.format);
    if (!spans) return spans.earlyExit();
    // With a tail of so many seconds the silence counts as sound, and all ends with it.
    if (!request.noTail && !request.tail) {
      prepared.ringSeconds = RingSeconds(*one.effect, prepared.instance, *spans, song);
    }
    if (material.frames > 0) {
      const double sound = prepared.framesIn / rate;
      if (MaybeExit check = FollowAutomation(*spans, one.automations, prepared, sound, end)) return *check;
    }
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
