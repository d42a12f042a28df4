#include <algorithm>
#include <cstring>
#include <new>

#include "chorus/chorus_filter.h"
#include "chorus/chorus_page.h"
#include "delay/echomt/echomt_filter.h"
#include "delay/echomt/echomt_page.h"
#include "delay/echos/echos_filter.h"
#include "delay/echos/echos_page.h"
#include "page_host.h"
#include "pitchtime/pitchs_filter.h"
#include "pitchtime/pitchs_page.h"
#include "pitchtime/time_filter.h"
#include "pitchtime/time_page.h"
#include "reverb/reverb_filter.h"
#include "reverb/reverb_page.h"

namespace korva::test {
namespace {

template <class Class>
CUnknown* Create(IUnknown* outer) {
  return new Class(outer);
}

template <class Filter, class Page>
PageCase Case(const PageDescription& page) {
  return {page, InterfaceId<typename Page::PropertyInterface>(), &Create<Filter>, &Create<Page>};
}

const PageCase kPages[] = {
    Case<CQvTime, CQvTimePropPage>(kTimePage),       Case<CQvPitchs, CQvPitchsPropPage>(kPitchsPage),
    Case<CQvEchos, CQvEchosPropPage>(kEchosPage),    Case<CQvEchomt, CQvEchomtPropPage>(kEchomtPage),
    Case<CQvReverb, CQvReverbPropPage>(kReverbPage), Case<CQvChorus, CQvChorusPropPage>(kChorusPage),
};

}  // namespace

std::span<const PageCase> Pages() {
  return kPages;
}

const PageCase& PageOf(const char* effect) {
  return *std::ranges::find_if(kPages, [effect](const PageCase& page) { return !std::strcmp(page.name(), effect); });
}

}  // namespace korva::test
