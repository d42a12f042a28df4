// Shows a page, for a person or for a screenshot: page_show LOCALE [alone | FILE to write once it stands]
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "page_host.h"

namespace {

using namespace korva;
using namespace korva::test;

/// A window just large enough, for a host with no frame of the system's.
int ShowAlone(IUnknown* filter) {
  const auto page = Query<IPropertyPage>(Make<CQvChorusPropPage>().Get());
  PROPPAGEINFO info = {};
  if (!page || FAILED(page->GetPageInfo(&info))) return EXIT_FAILURE;
  RECT place = {0, 0, info.size.cx, info.size.cy};
  ::AdjustWindowRect(&place, WS_CAPTION, FALSE);
  const HWND host =
      ::CreateWindowExW(0, L"STATIC", info.pszTitle, WS_CAPTION | WS_VISIBLE, 40, 40, place.right - place.left,
                        place.bottom - place.top, nullptr, nullptr, nullptr, nullptr);
  const RECT inside = {0, 0, info.size.cx, info.size.cy};
  page->SetObjects(1, &filter);
  page->Activate(host, &inside, FALSE);
  MSG message;
  while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (::IsDialogMessageW(host, &message)) continue;
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
  return EXIT_SUCCESS;
}

const char* readyFile = nullptr;

/// Tells who waits for the picture that the page stands.
void CALLBACK TellReady(HWND, UINT, UINT_PTR timer, DWORD) {
  ::KillTimer(nullptr, timer);
  if (std::FILE* const file = std::fopen(readyFile, "w"); file != nullptr) std::fclose(file);
}

}  // namespace

int main(int count, char** arguments) {
  ::SetProcessDPIAware();
  Components components;
  components.Speak(count > 1 ? static_cast<std::uint32_t>(std::atoi(arguments[1])) : 1033);
  const auto filter = Make<CQvChorus>();
  if (count > 2 && std::strcmp(arguments[2], "alone") == 0) return ShowAlone(filter.Get());
  if (count > 2) {
    readyFile = arguments[2];
    ::SetTimer(nullptr, 0, 700, TellReady);
  }
  const PageFactory factory;
  return SUCCEEDED(OpenFrame(filter.Get(), L"KORVA")) ? EXIT_SUCCESS : EXIT_FAILURE;
}
