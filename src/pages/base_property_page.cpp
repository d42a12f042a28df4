#include "pages/base_property_page.h"

#include "frame/module_text.h"
#include "platform/services.h"
#include "qvkit/activation_context.h"
#include "qvkit/dialogs.h"
#include "streaming/wide_text.h"

namespace korva {

HRESULT CBasePropertyPage::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(CUnknown, (AnswerInterface<IPropertyPage>(this, iid, out)));
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::SetPageSite(IPropertyPageSite* site) {
  if ((site != nullptr) == static_cast<bool>(site_)) return E_UNEXPECTED;
  site_ = ComPtr<IPropertyPageSite>(site);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::Activate(HWND parent, LPCRECT place, BOOL) {
  if (place == nullptr) return E_POINTER;
  if (window_ != nullptr) return E_UNEXPECTED;
  const HWND window =
      QvCreateDialogParam(ModuleLanguage(), dialog_, parent, &DialogRoutine, reinterpret_cast<LPARAM>(this));
  if (window == nullptr) return E_OUTOFMEMORY;
  window_ = window;
  OnActivate();
  Move(place);
  return Show(SW_SHOWNORMAL);
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::Deactivate() {
  if (window_ == nullptr) return E_UNEXPECTED;
  OnDeactivate();
  ::DestroyWindow(window_);
  window_ = nullptr;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::GetPageInfo(PROPPAGEINFO* info) {
  constexpr SIZE kUsualSize = {300, 150};
  constexpr std::size_t kHelpBuffer = 520;
  if (info == nullptr) return E_POINTER;
  WCHAR* const title = DuplicateText(ModuleText(title_));
  auto* const helpPath = static_cast<WCHAR*>(platform::AllocateTaskMemory(kHelpBuffer * sizeof(WCHAR)));
  if (title == nullptr || helpPath == nullptr) {
    platform::FreeTaskMemory(title);
    platform::FreeTaskMemory(helpPath);
    return E_OUTOFMEMORY;
  }
  CopyText(helpPath, kHelpBuffer, ModuleHelpPath());
  *info = {};
  info->cb = sizeof(*info);
  info->pszTitle = title;
  info->size = kUsualSize;
  info->pszHelpFile = helpPath;
  info->dwHelpContext = helpContext_;
  QvGetDialogSize(ModuleLanguage(), dialog_, &DialogRoutine, 0, &info->size);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::SetObjects(ULONG count, IUnknown** objects) {
  if (count > 1) return E_UNEXPECTED;
  if (count == 1 && (objects == nullptr || objects[0] == nullptr)) return E_POINTER;
  if (objectSet_ || count == 0) {
    objectSet_ = false;
    const HRESULT result = OnDisconnect();
    if (count == 0) return result;
  }
  const HRESULT result = OnConnect(objects[0]);
  objectSet_ = SUCCEEDED(result);
  return result;
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::Show(UINT command) {
  if (window_ == nullptr) return E_UNEXPECTED;
  if (command != SW_HIDE && command != SW_SHOWNORMAL && command != SW_SHOW) return E_INVALIDARG;
  ::ShowWindow(window_, static_cast<int>(command));
  ::InvalidateRect(window_, nullptr, TRUE);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::Move(LPCRECT place) {
  if (place == nullptr) return E_POINTER;
  if (window_ == nullptr) return E_UNEXPECTED;
  ::MoveWindow(window_, place->left, place->top, place->right - place->left, place->bottom - place->top, TRUE);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::IsPageDirty() {
  return dirty_ ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::Apply() {
  if (!objectSet_ || !site_) return E_UNEXPECTED;
  if (!dirty_) return S_OK;
  const HRESULT result = OnApplyChanges();
  if (SUCCEEDED(result)) dirty_ = false;
  return result;
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::Help(LPCOLESTR) {
  return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE CBasePropertyPage::TranslateAccelerator(LPMSG) {
  return E_NOTIMPL;
}

HRESULT CBasePropertyPage::OnActivate() {
  ::SetWindowLongPtrW(window_, GWL_EXSTYLE, ::GetWindowLongPtrW(window_, GWL_EXSTYLE) | WS_EX_CONTROLPARENT);
  return S_OK;
}

// A control parent that hides while one of its controls has the focus can send a dialog's search for the next one
// round in circles.
HRESULT CBasePropertyPage::OnDeactivate() {
  ::SetWindowLongPtrW(window_, GWL_EXSTYLE, ::GetWindowLongPtrW(window_, GWL_EXSTYLE) & ~LONG_PTR{WS_EX_CONTROLPARENT});
  return S_OK;
}

void CBasePropertyPage::Close() noexcept {
  if (window_ != nullptr) Deactivate();
  if (site_) SetPageSite(nullptr);
  if (objectSet_) SetObjects(0, nullptr);
}

void CBasePropertyPage::TellSite() noexcept {
  if (site_) site_->OnStatusChange(PROPPAGESTATUS_DIRTY);
}

INT_PTR CALLBACK CBasePropertyPage::DialogRoutine(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_INITDIALOG) ::SetWindowLongPtrW(window, GWLP_USERDATA, lparam);
  auto* const page = reinterpret_cast<CBasePropertyPage*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
  if (page == nullptr) return FALSE;
  const INT_PTR result = page->OnReceiveMessage(window, message, wparam, lparam);
  if (message == WM_DESTROY) ::SetWindowLongPtrW(window, GWLP_USERDATA, 0);
  return result;
}

}  // namespace korva
