#include "host/effect_table.h"

#include <array>

#include "chorus/chorus_params.h"
#include "delay/echomt/echomt_params.h"
#include "delay/echos/echos_params.h"
#include "host/in_place_habits.h"
#include "host/nearest.h"
#include "host/pitchtime_habits.h"
#include "pitchtime/pitchs_params.h"
#include "pitchtime/time_params.h"
#include "reverb/reverb_params.h"

namespace korva {
namespace {

const EffectHabits* HabitsOf(const EffectDescription& effect) noexcept {
  if (&effect == &kChorusEffect) return &kChorusHabits;
  if (&effect == &kReverbEffect) return &kReverbHabits;
  if (&effect == &kEchosEffect) return &kEchosHabits;
  if (&effect == &kEchomtEffect) return &kEchomtHabits;
  if (&effect == &kPitchsEffect) return &kPitchsHabits;
  return &effect == &kTimeEffect ? &kTimeHabits : nullptr;
}

EffectRow RowOf(const EffectKind& kind) noexcept {
  return {kind.description, kind.create, HabitsOf(kind.description)};
}

template <std::size_t... I>
std::array<EffectRow, sizeof...(I)> Rows(std::index_sequence<I...> /*indices*/) noexcept {
  return {RowOf(EffectKinds()[I])...};
}

const auto kEffects = Rows(std::make_index_sequence<kEffectCount>{});

}  // namespace

std::span<const EffectRow> EffectTable() noexcept {
  return kEffects;
}

std::vector<std::string> EffectNames() {
  std::vector<std::string> names;
  for (const EffectRow& effect : kEffects) names.emplace_back(effect.description.name);
  return names;
}

Outcome<const EffectRow*> FindEffect(std::string_view name) {
  for (const EffectRow& effect : kEffects) {
    if (name == effect.description.name) return &effect;
  }
  const std::vector<std::string> names = EffectNames();
  return BadCall(UnknownName("there is no effect", name, names, "the effects are " + Joined(names, ", ")));
}

Outcome<EffectInstance> CreateEffect(const EffectRow& effect) {
  EffectInstance instance = effect.create();
  if (!instance.filter) return Failed("out of memory");
  return instance;
}

}  // namespace korva
