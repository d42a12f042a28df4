#include <algorithm>
#include <cstring>
#include <new>

#include "chorus/chorus_filter.h"
#include "chorus/chorus_page.h"
#include "delay/echos/echos_filter.h"
#include "delay/echos/echos_page.h"
#include "page_host.h"
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
    Case<CQvEchos, CQvEchosPropPage>(kEchosPage),
    Case<CQvReverb, CQvReverbPropPage>(kReverbPage),
    Case<CQvChorus, CQvChorusPropPage>(kChorusPage),
};

}  // namespace

std::span<const PageCase> Pages() {
  return kPages;
}

const PageCase& PageOf(const char* effect) {
  return *std::ranges::find_if(kPages, [effect](const PageCase& page) { return !std::strcmp(page.name(), effect); });
}

}  // namespace korva::test
