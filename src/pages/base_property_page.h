#pragma once

#include "platform/persist.h"
#include "qvkit/string_ids.h"
#include "streaming/com_ptr.h"
#include "streaming/unknown.h"

namespace korva {

/// A property page: a dialog of the module's resources in a host's frame. It lives on the thread that owns its window.
///
/// Objects and window may come and go in either order. Whatever is left of either when the last reference goes is let
/// go by `Close`, which the most derived class calls in its destructor, while its own operations can still be reached.
class CBasePropertyPage : public CUnknown, public IPropertyPage {
 public:
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;

  /// A site while none is held, null while one is; `E_UNEXPECTED` otherwise.
  HRESULT STDMETHODCALLTYPE SetPageSite(IPropertyPageSite* site) override;
  HRESULT STDMETHODCALLTYPE Activate(HWND parent, LPCRECT place, BOOL modal) override;
  HRESULT STDMETHODCALLTYPE Deactivate() override;
  /// Title and help path are the caller's to free.
  HRESULT STDMETHODCALLTYPE GetPageInfo(PROPPAGEINFO* info) override;
  /// One object, or none; a second object takes the first one's place.
  HRESULT STDMETHODCALLTYPE SetObjects(ULONG count, IUnknown** objects) override;
  HRESULT STDMETHODCALLTYPE Show(UINT command) override;
  HRESULT STDMETHODCALLTYPE Move(LPCRECT place) override;
  HRESULT STDMETHODCALLTYPE IsPageDirty() override;
  HRESULT STDMETHODCALLTYPE Apply() override;
  HRESULT STDMETHODCALLTYPE Help(LPCOLESTR helpFolder) override;
  HRESULT STDMETHODCALLTYPE TranslateAccelerator(LPMSG message) override;

 protected:
  CBasePropertyPage(IUnknown* outer, int dialog, StringId title, DWORD helpContext) noexcept
      : CUnknown(outer), dialog_(dialog), title_(title), helpContext_(helpContext) {}
  ~CBasePropertyPage() override = default;

  virtual HRESULT OnConnect(IUnknown* object) = 0;
  virtual HRESULT OnDisconnect() = 0;
  virtual HRESULT OnActivate();
  virtual HRESULT OnDeactivate();
  /// Nothing to do: a change takes effect when it is made.
  virtual HRESULT OnApplyChanges() { return S_OK; }
  /// The dialog routine. Every message of the window comes here, the first one on.
  virtual INT_PTR OnReceiveMessage(HWND window, UINT message, WPARAM wparam, LPARAM lparam) = 0;

  void Close() noexcept;
  /// Tells the site, if there is one, that something changed.
  void TellSite() noexcept;

  HWND window() const noexcept { return window_; }
  void SetWindow(HWND window) noexcept { window_ = window; }
  DWORD helpContext() const noexcept { return helpContext_; }

 private:
  static INT_PTR CALLBACK DialogRoutine(HWND window, UINT message, WPARAM wparam, LPARAM lparam);

  ComPtr<IPropertyPageSite> site_;
  HWND window_ = nullptr;
  bool dirty_ = false;  // never set: there is nothing to apply
  const int dialog_;
  const StringId title_;
  const DWORD helpContext_;
  bool objectSet_ = false;
};

}  // namespace korva
