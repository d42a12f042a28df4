#include "module/class_table.h"

#include <algorithm>
#include <new>

#include "chorus/chorus_filter.h"
#include "chorus/chorus_page.h"
#include "delay/echomt/echomt_filter.h"
#include "delay/echomt/echomt_page.h"
#include "delay/echos/echos_filter.h"
#include "delay/echos/echos_page.h"
#include "module/filter_setup.h"
#include "pitchtime/pitchs_filter.h"
#include "pitchtime/pitchs_page.h"
#include "pitchtime/time_filter.h"
#include "pitchtime/time_page.h"
#include "reverb/reverb_filter.h"
#include "reverb/reverb_page.h"

namespace korva {
namespace {

template <class Class>
CUnknown* Create(IUnknown* outer, HRESULT*) {
  return new (std::nothrow) Class(outer);
}

template <class Filter>
ClassRow FilterRow(const EffectDescription& effect) {
  return {effect.className, effect.filterClass, &Create<Filter>, nullptr, SetupOf(effect)};
}

template <class Page>
ClassRow PageRow(const WCHAR* name, const EffectDescription& effect) {
  return {name, effect.pageClass, &Create<Page>, nullptr, std::nullopt};
}

const ClassRow kClasses[] = {
    FilterRow<CQvTime>(kTimeEffect),     PageRow<CQvTimePropPage>(L"QvTime Property Page", kTimeEffect),
    FilterRow<CQvPitchs>(kPitchsEffect), PageRow<CQvPitchsPropPage>(L"QvPitchs Property Page", kPitchsEffect),
    FilterRow<CQvEchos>(kEchosEffect),   PageRow<CQvEchosPropPage>(L"QvEchos Property Page", kEchosEffect),
    FilterRow<CQvEchomt>(kEchomtEffect), PageRow<CQvEchomtPropPage>(L"QvEchomt Property Page", kEchomtEffect),
    FilterRow<CQvReverb>(kReverbEffect), PageRow<CQvReverbPropPage>(L"QvReverb Property Page", kReverbEffect),
    FilterRow<CQvChorus>(kChorusEffect), PageRow<CQvChorusPropPage>(L"QvChorus Property Page", kChorusEffect),
};

}  // namespace

std::span<const ClassRow> ClassTable() noexcept {
  return kClasses;
}

const ClassRow* FindClass(REFCLSID classId) noexcept {
  const auto row = std::ranges::find(kClasses, classId, &ClassRow::classId);
  return row != std::end(kClasses) ? row : nullptr;
}

const FilterSetup* FindFilterSetup(REFCLSID classId) noexcept {
  const ClassRow* const row = FindClass(classId);
  return row != nullptr && row->setup ? &*row->setup : nullptr;
}

void InitialiseClasses(bool coming) noexcept {
  for (const ClassRow& row : kClasses) {
    if (row.initialise != nullptr) row.initialise(coming, row.classId);
  }
}

}  // namespace korva
