// A host's visit to the module that is registered on this system: finds each effect by its name, opens its property
// page in a window, and says what it saw, a line an effect.
//   module_tour [--hold FILE]    afterwards keeps the effects until FILE is there
#include <dshow.h>
#include <ocidl.h>
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "platform/wide_text.h"
#include "qvkit/help.h"
#include "registered_effects.h"
#include "streaming/com_ptr.h"

namespace korva {
namespace {

/// Whether the page of the help that a property page asks for lies where it is looked for, a page of its own.
bool HasHelpPage(const PROPPAGEINFO& info) {
  WCHAR page[MAX_PATH] = {};
  return info.pszHelpFile != nullptr && QvHelp_PagePath(info.dwHelpContext, info.pszHelpFile, page, MAX_PATH) != 0 &&
         std::wcscmp(page, info.pszHelpFile) != 0 && ::GetFileAttributesW(page) != INVALID_FILE_ATTRIBUTES;
}

/// Opens a page over `filter` in a window of its own. Empty when all went well, otherwise what did not.
std::string VisitPage(REFCLSID pageClass, IUnknown* filter, std::string& title) {
  ComPtr<IPropertyPage> page;
  if (FAILED(::CoCreateInstance(pageClass, nullptr, CLSCTX_INPROC_SERVER, IID_IPropertyPage, page.PutVoid()))) {
    return "no page";
  }
  PROPPAGEINFO info{};
  info.cb = sizeof info;
  if (FAILED(page->GetPageInfo(&info))) return "no page information";
  title = platform::ToUtf8(info.pszTitle);
  const bool helped = HasHelpPage(info);
  ::CoTaskMemFree(info.pszTitle);
  ::CoTaskMemFree(info.pszHelpFile);
  ::CoTaskMemFree(info.pszDocString);
  if (!helped) return "no help";
  const HWND frame = ::CreateWindowExW(0, L"Static", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 900, 900, nullptr,
                                       nullptr, nullptr, nullptr);
  const RECT place{0, 0, info.size.cx, info.size.cy};
  std::string wrong;
  if (FAILED(page->SetObjects(1, &filter)) || FAILED(page->Activate(frame, &place, FALSE)) ||
      FAILED(page->Show(SW_SHOW))) {
    wrong = "the page does not open";
  } else if (const HWND window = ::GetWindow(frame, GW_CHILD);
             window == nullptr || ::GetWindow(window, GW_CHILD) == nullptr) {
    wrong = "the page is empty";
  }
  for (MSG message; ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) ::DispatchMessageW(&message);
  page->Deactivate();
  page->SetObjects(0, nullptr);
  ::DestroyWindow(frame);
  return wrong;
}

/// Every page of an effect. Effects without a page are no error: they say so themselves.
std::string Visit(IBaseFilter* filter, std::string& seen) {
  ComPtr<ISpecifyPropertyPages> pages;
  if (FAILED(filter->QueryInterface(IID_ISpecifyPropertyPages, pages.PutVoid()))) return "tells no pages";
  CAUUID list{};
  if (FAILED(pages->GetPages(&list)) || list.cElems == 0) return "tells no pages";
  const CLSID first = list.pElems[0];
  ::CoTaskMemFree(list.pElems);
  return VisitPage(first, filter, seen);
}

int Tour(const WCHAR* until) {
  std::vector<ComPtr<IBaseFilter>> filters;
  int wrongs = 0;
  for (const ComPtr<IMoniker>& moniker : RegisteredEffects()) {
    const std::string name = FriendlyName(*moniker.Get());
    ComPtr<IBaseFilter> filter;
    std::string seen, wrong = "cannot be made";
    if (SUCCEEDED(moniker->BindToObject(nullptr, nullptr, IID_IBaseFilter, filter.PutVoid()))) {
      wrong = Visit(filter.Get(), seen);
    }
    std::printf("%s: %s\n", name.c_str(), wrong.empty() ? ("page \"" + seen + "\"").c_str() : wrong.c_str());
    wrongs += wrong.empty() ? 0 : 1;
    filters.push_back(filter);
  }
  WCHAR path[MAX_PATH] = L"nowhere";
  if (const HMODULE module = ::GetModuleHandleW(L"korvafx.dll"); module != nullptr) {
    ::GetModuleFileNameW(module, path, MAX_PATH);
  }
  std::printf("%d effects, loaded from %s\n", static_cast<int>(filters.size()), platform::ToUtf8(path).c_str());
  std::fflush(stdout);
  while (until != nullptr && ::GetFileAttributesW(until) == INVALID_FILE_ATTRIBUTES) ::Sleep(100);
  return filters.empty() || wrongs != 0 ? 1 : 0;
}

}  // namespace
}  // namespace korva

int wmain(int count, WCHAR** words) {
  ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const bool hold = count == 3 && std::wcscmp(words[1], L"--hold") == 0;
  const int result = korva::Tour(hold ? words[2] : nullptr);
  ::CoUninitialize();
  return result;
}
