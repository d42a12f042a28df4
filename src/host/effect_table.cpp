#include "host/effect_table.h"

#include <new>

#include "chorus/chorus_filter.h"
#include "delay/echomt/echomt_filter.h"
#include "delay/echos/echos_filter.h"
#include "host/delay_habits.h"
#include "host/nearest.h"
#include "host/pitchtime_habits.h"
#include "pitchtime/pitchs_filter.h"
#include "pitchtime/time_filter.h"
#include "reverb/reverb_filter.h"

namespace korva {
namespace {

template <class Filter>
EffectInstance Create() {
  auto* const filter = new (std::nothrow) Filter(nullptr);
  if (filter == nullptr) return {};
  return {ComPtr<IBaseFilter>(filter), &filter->parameters()};
}

const EffectRow kEffects[] = {
    {kChorusEffect, &Create<CQvChorus>},
    {kReverbEffect, &Create<CQvReverb>},
    {kEchosEffect, &Create<CQvEchos>, &kEchosHabits},
    {kEchomtEffect, &Create<CQvEchomt>},
    {kPitchsEffect, &Create<CQvPitchs>, &kPitchsHabits},
    {kTimeEffect, &Create<CQvTime>, &kTimeHabits},
};

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
  return Wrong(UnknownName("there is no effect", name, names, "the effects are " + Joined(names, ", ")));
}

Outcome<EffectInstance> CreateEffect(const EffectRow& effect) {
  EffectInstance instance = effect.create();
  if (!instance.filter) return Failed("out of memory");
  return instance;
}

}  // namespace korva
