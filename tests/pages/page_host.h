// A host of property pages for the tests and the screenshots: filters, pages and a site, with or without the system's
// own frame.
#pragma once

#include <olectl.h>

#include <span>

#include "frame/module_text.h"
#include "pages/page_control.h"
#include "platform/media_params.h"
#include "platform/persist.h"
#include "qvkit/activation_context.h"
#include "qvkit/controls.h"
#include "qvkit/help.h"
#include "qvkit/language.h"
#include "streaming/com_ptr.h"
#include "streaming/unknown.h"
#include "support/owned.h"

namespace korva::test {

/// An effect with a page.
struct PageCase {
  const PageDescription& page;
  IID property;
  CUnknown* (*makeFilter)(IUnknown* outer);
  CUnknown* (*makePage)(IUnknown* outer);

  const char* name() const { return page.effect.name; }
  ComPtr<IUnknown> Filter() const { return ComPtr<IUnknown>(makeFilter(nullptr)->InnerUnknown()); }
  ComPtr<IPropertyPage> Page() const {
    return Query<IPropertyPage>(ComPtr<IUnknown>(makePage(nullptr)->InnerUnknown()).Get());
  }
};

/// Every effect with a page.
std::span<const PageCase> Pages();
const PageCase& PageOf(const char* effect);

/// The components and the control classes of a program, as a module's start makes them.
class Components {
 public:
  Components() {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    InitializeControls(ThisModule());
    QvLang_Open(&language_, nullptr, 1033, 0);
    SetModuleLanguage(language_);
    WCHAR help[kHelpPathCapacity];
    QvHelp_CreateHelpFilePathEX(1, ThisModule(), help, kHelpPathCapacity, 0, 0);
    SetModuleHelpPath(help);
  }
  ~Components() {
    SetModuleLanguage(nullptr);
    QvLang_Close(language_);
    TerminateControls(ThisModule());
    ::CoUninitialize();
  }
  void Speak(std::uint32_t locale) { QvLang_UpdateLCID(language_, locale, 0, 0); }

 private:
  QvLanguage* language_ = nullptr;
};

/// Counts what a page tells its site.
class PageSite final : public IPropertyPageSite {
 public:
  KORVA_STACK_UNKNOWN(IPropertyPageSite);
  HRESULT STDMETHODCALLTYPE OnStatusChange(DWORD flags) override {
    ++told;
    lastFlags = flags;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetLocaleID(LCID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG*) override { return S_FALSE; }

  int told = 0;
  DWORD lastFlags = 0;
};

/// Offers a page by its class identifier to the system's frame.
class PageFactory final : public IClassFactory {
 public:
  explicit PageFactory(const PageCase& page) : page_(page) {
    ::CoRegisterClassObject(page.page.effect.pageClass, this, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_);
  }
  ~PageFactory() { ::CoRevokeClassObject(cookie_); }
  PageFactory(const PageFactory&) = delete;
  PageFactory& operator=(const PageFactory&) = delete;
  KORVA_STACK_UNKNOWN(IClassFactory);
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** out) override {
    return page_.Page()->QueryInterface(iid, out);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  const PageCase& page_;
  DWORD cookie_ = 0;
};

/// Opens the system's own frame on a filter, modal, until it is closed.
inline HRESULT OpenFrame(IUnknown* filter, const WCHAR* caption) {
  CAUUID pages = {};
  const auto list = Query<ISpecifyPropertyPages>(filter);
  if (!list || FAILED(list->GetPages(&pages))) return E_FAIL;
  const HRESULT result =
      ::OleCreatePropertyFrame(nullptr, 40, 40, caption, 1, &filter, pages.cElems, pages.pElems, 1033, 0, nullptr);
  ::CoTaskMemFree(pages.pElems);
  return result;
}

}  // namespace korva::test
