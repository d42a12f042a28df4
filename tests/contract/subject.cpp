#include "contract/subject.h"

#include "chorus/chorus_filter.h"
#include "delay/echomt/echomt_filter.h"
#include "delay/echos/echos_filter.h"
#include "pitchtime/pitchs_filter.h"
#include "pitchtime/time_filter.h"
#include "reverb/reverb_filter.h"

namespace korva {
namespace {

template <class Filter, class Property>
Instance Make() {
  auto* const filter = new Filter(nullptr);
  Instance made;
  made.object = ComPtr<IBaseFilter>(filter);
  made.filter = filter;
  made.parameters = &filter->parameters();
  *made.property.Put() = Query<Property>(made.object.Get()).Detach();
  if constexpr (std::is_base_of_v<CQvInPlaceFilter, Filter>) made.inPlace = filter;
  made.record = Query<IPersistStream>(made.object.Get());
  made.presets = Query<IStaticFilterPreset>(made.object.Get());
  made.automation = Query<IMediaParams>(made.object.Get());
  return made;
}

}  // namespace

const std::vector<Subject>& Subjects() {
  static const std::vector<Subject> subjects = {
      {kChorusEffect, &Make<CQvChorus, IQvChorusProp2>,
       "input-gain dry-out chorus-out chorus-size feedback invert-chorus delay mod-rate mod-depth attenuate-high "
       "attenuation-hz invert-feedback mod-period-note mod-period-multiplier tempo-sync bypass",
       5, false},
      {kReverbEffect, &Make<CQvReverb, IQvReverbProp2>,
       "reverb-mode early-style dry-out reverb-out early-out decay pre-delay bass-on high-on bass-hz high-hz bypass", 5,
       true},
      {kEchosEffect, &Make<CQvEchos, IQvEchosProp2>,
       "delay dry-out delay-out multiple-delays decay delay-note delay-multiplier tempo-sync-delay decay-note "
       "decay-multiplier tempo-sync-decay bypass",
       5, true},
      {kEchomtEffect, &Make<CQvEchomt, IQvEchomtProp>,
       "input-gain dry-out wet-out mod-rate mod-depth feedback low-pass-enabled* low-pass-hz tap-count current-tap "
       "graph-resolution tap-gain-1 tap-gain-2 tap-gain-3 tap-gain-4 tap-gain-5 tap-gain-6 tap-gain-7 tap-gain-8 "
       "tap-delay-1 tap-delay-2 tap-delay-3 tap-delay-4 tap-delay-5 tap-delay-6 tap-delay-7 tap-delay-8 "
       "tap-pan-1 tap-pan-2 tap-pan-3 tap-pan-4 tap-pan-5 tap-pan-6 tap-pan-7 tap-pan-8",
       2, true},
      {kPitchsEffect, &Make<CQvPitchs, IQvPitchsProp>,
       "semitones cents accuracy* preserve-duration* mode* transposition* anti-alias* initial-samples=225306900", 2,
       true},
      {kTimeEffect, &Make<CQvTime, IQvTimeProp>, "percent mode* tempo^ initial-samples input-format-kind*", 2, true},
  };
  return subjects;
}

INSTANTIATE_TEST_SUITE_P(Effects, Contract, testing::ValuesIn(Subjects()), [](const auto& subject) {
  std::string name = subject.param.effect.name;
  std::erase(name, '-');
  return name;
});

}  // namespace korva
