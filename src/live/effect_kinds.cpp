#include "live/effect_kinds.h"

#include <new>
#include <type_traits>

#include "chorus/chorus_filter.h"
#include "delay/echomt/echomt_filter.h"
#include "delay/echos/echos_filter.h"
#include "pitchtime/pitchs_filter.h"
#include "pitchtime/time_filter.h"
#include "reverb/reverb_filter.h"

namespace korva {
namespace {

template <class Filter>
EffectInstance Create() noexcept {
  auto* const filter = new (std::nothrow) Filter(nullptr);
  if (filter == nullptr) return {};
  EffectInstance instance{ComPtr<IBaseFilter>(filter), &filter->parameters()};
  if constexpr (std::is_base_of_v<CQvStretchFilter, Filter>) {
    instance.stretch = filter;
  } else {
    instance.inPlace = filter;
  }
  return instance;
}

constinit const EffectKind kEffects[kEffectCount] = {
    {kChorusEffect, &Create<CQvChorus>}, {kReverbEffect, &Create<CQvReverb>}, {kEchosEffect, &Create<CQvEchos>},
    {kEchomtEffect, &Create<CQvEchomt>}, {kPitchsEffect, &Create<CQvPitchs>}, {kTimeEffect, &Create<CQvTime>},
};

}  // namespace

std::span<const EffectKind, kEffectCount> EffectKinds() noexcept {
  return kEffects;
}

}  // namespace korva
