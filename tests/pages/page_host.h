// A host of property pages for the tests and the screenshots: a filter, a page and its site, with or without the
// system's own frame.
#pragma once

#include <olectl.h>

#include <atomic>
#include <utility>

#include "chorus/chorus_filter.h"
#include "chorus/chorus_page.h"
#include "frame/module_text.h"
#include "qvkit/activation_context.h"
#include "qvkit/controls.h"
#include "qvkit/help.h"
#include "qvkit/language.h"
#include "streaming/com_ptr.h"

namespace korva::test {

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
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (iid != InterfaceId<IUnknown>() && iid != InterfaceId<IPropertyPageSite>()) return E_NOINTERFACE;
    AddRef();
    *out = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }
  HRESULT STDMETHODCALLTYPE OnStatusChange(DWORD flags) override {
    ++told;
    lastFlags = flags;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetLocaleID(LCID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG*) override { return S_FALSE; }

  ULONG references = 0;
  int told = 0;
  DWORD lastFlags = 0;
};

template <class Class>
ComPtr<IUnknown> Make() {
  return ComPtr<IUnknown>((new Class(nullptr))->InnerUnknown());
}

/// Offers a page by its class identifier to the system's frame.
class PageFactory final : public IClassFactory {
 public:
  PageFactory() {
    ::CoRegisterClassObject(kChorusEffect.pageClass, this, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_);
  }
  ~PageFactory() { ::CoRevokeClassObject(cookie_); }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (iid != InterfaceId<IUnknown>() && iid != InterfaceId<IClassFactory>()) return E_NOINTERFACE;
    *out = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** out) override {
    return Make<CQvChorusPropPage>()->QueryInterface(iid, out);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
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
