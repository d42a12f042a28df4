#include "qvkit/activation_context.h"
#include "qvkit/superclass.h"

namespace korva {

bool SuperClass::Register(const WCHAR* name, HMODULE module, const WCHAR* below, WNDPROC procedure,
                          UINT extraStyle) noexcept {
  const ModuleActivation activation;
  WNDCLASSEXW type = {};
  type.cbSize = sizeof(type);
  if (!::GetClassInfoExW(nullptr, below, &type)) return false;
  below_ = type.lpfnWndProc;
  slot_ = type.cbWndExtra;
  type.cbSize = sizeof(type);
  type.style = (type.style & ~static_cast<UINT>(CS_GLOBALCLASS)) | extraStyle;
  type.lpfnWndProc = procedure;
  type.cbWndExtra += static_cast<int>(sizeof(LONG_PTR));
  type.hInstance = module;
  type.lpszMenuName = nullptr;
  type.lpszClassName = name;
  return ::RegisterClassExW(&type) != 0;
}

bool SuperClass::Unregister(const WCHAR* name, HMODULE module) noexcept {
  const ModuleActivation activation;
  return ::UnregisterClassW(name, module) != 0;
}

bool SubClass::Put(HWND window) const noexcept {
  const LONG_PTR below = ::GetWindowLongPtrW(window, GWLP_WNDPROC);
  if (below == reinterpret_cast<LONG_PTR>(procedure_)) return true;
  if (below == 0 || !::SetPropW(window, name_, reinterpret_cast<HANDLE>(below))) return false;
  ::SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure_));
  return true;
}

void SubClass::Remove(HWND window) const noexcept {
  ::SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(Below(window)));
  ::RemovePropW(window, name_);
}

}  // namespace korva
