#include "page_host.h"

#include <olectl.h>

#include <algorithm>
#include <cstring>

#include "chorus/chorus_page.h"
#include "delay/echomt/echomt_page.h"
#include "delay/echos/echos_page.h"
#include "frame/module_text.h"
#include "module/class_factory.h"
#include "pitchtime/pitchs_page.h"
#include "pitchtime/time_page.h"
#include "qvkit/activation_context.h"
#include "qvkit/controls.h"
#include "qvkit/help.h"
#include "qvkit/language.h"
#include "reverb/reverb_page.h"

namespace korva {
namespace {

template <class Page>
PageCase Case(const PageDescription& page) {
  return {page, InterfaceId<typename Page::PropertyInterface>()};
}

const PageCase kPages[] = {
    Case<CQvTimePropPage>(kTimePage),     Case<CQvPitchsPropPage>(kPitchsPage), Case<CQvEchosPropPage>(kEchosPage),
    Case<CQvEchomtPropPage>(kEchomtPage), Case<CQvReverbPropPage>(kReverbPage), Case<CQvChorusPropPage>(kChorusPage),
};

ComPtr<IClassFactory> FactoryOf(REFCLSID classId) {
  ComPtr<IClassFactory> factory;
  GetClassObject(classId, IID_IClassFactory, factory.PutVoid());
  return factory;
}

template <class Interface>
ComPtr<Interface> Make(REFCLSID classId) {
  ComPtr<Interface> object;
  FactoryOf(classId)->CreateInstance(nullptr, InterfaceId<Interface>(), object.PutVoid());
  return object;
}

}  // namespace

ComPtr<IUnknown> PageCase::Filter() const {
  return Make<IUnknown>(page.effect.filterClass);
}

ComPtr<IPropertyPage> PageCase::Page() const {
  return Make<IPropertyPage>(page.effect.pageClass);
}

std::span<const PageCase> Pages() {
  return kPages;
}

const PageCase& PageOf(const char* effect) {
  return *std::ranges::find_if(kPages, [effect](const PageCase& page) { return !std::strcmp(page.name(), effect); });
}

Components::Components() {
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  InitializeControls(ThisModule());
  QvLang_Open(&language_, nullptr, 1033, 0);
  SetModuleLanguage(language_);
  WCHAR help[kHelpPathCapacity];
  QvHelp_CreateHelpFilePathEX(1, ThisModule(), help, kHelpPathCapacity, 0, 0);
  SetModuleHelpPath(help);
}

Components::~Components() {
  SetModuleLanguage(nullptr);
  QvLang_Close(language_);
  TerminateControls(ThisModule());
  ::CoUninitialize();
}

void Components::Speak(std::uint32_t locale) {
  QvLang_UpdateLCID(language_, locale, 0, 0);
}

HRESULT OpenFrame(const PageCase& page, const WCHAR* caption) {
  const ComPtr<IUnknown> filter = page.Filter();
  CAUUID pages = {};
  const auto list = Query<ISpecifyPropertyPages>(filter.Get());
  if (!list || FAILED(list->GetPages(&pages))) return E_FAIL;
  // The frame makes the page by its class identifier.
  DWORD cookie = 0;
  ::CoRegisterClassObject(page.page.effect.pageClass, FactoryOf(page.page.effect.pageClass).Get(), CLSCTX_INPROC_SERVER,
                          REGCLS_MULTIPLEUSE, &cookie);
  IUnknown* object = filter.Get();
  const HRESULT result =
      ::OleCreatePropertyFrame(nullptr, 40, 40, caption, 1, &object, pages.cElems, pages.pElems, 1033, 0, nullptr);
  ::CoRevokeClassObject(cookie);
  ::CoTaskMemFree(pages.pElems);
  return result;
}

}  // namespace korva
