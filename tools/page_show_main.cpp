// Shows pages in the system's frame, one after the other: page_show LOCALE [EFFECT | all [FILE]]
//
// With a file, for a camera: its name is written once a page stands, and the page closes when the file is gone.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "page_host.h"

namespace {

using namespace korva;

const char* readyFile = nullptr;
const char* effect = nullptr;

BOOL CALLBACK CloseFrame(HWND window, LPARAM) {
  if (::IsWindowVisible(window)) ::PostMessageW(window, WM_COMMAND, IDCANCEL, 0);
  return TRUE;
}

void CALLBACK WaitForPicture(HWND, UINT, UINT_PTR timer, DWORD) {
  if (std::FILE* const file = std::fopen(readyFile, "r"); file != nullptr) {
    std::fclose(file);
    return;
  }
  ::KillTimer(nullptr, timer);
  ::EnumThreadWindows(::GetCurrentThreadId(), CloseFrame, 0);
}

void CALLBACK TellReady(HWND, UINT, UINT_PTR timer, DWORD) {
  ::KillTimer(nullptr, timer);
  if (std::FILE* const file = std::fopen(readyFile, "w"); file != nullptr) {
    std::fputs(effect, file);
    std::fclose(file);
  }
  ::SetTimer(nullptr, 0, 50, WaitForPicture);
}

}  // namespace

int main(int count, char** arguments) {
  ::SetProcessDPIAware();
  Components components;
  components.Speak(count > 1 ? static_cast<std::uint32_t>(std::atoi(arguments[1])) : 1033);
  const char* const wanted = count > 2 ? arguments[2] : "all";
  readyFile = count > 3 ? arguments[3] : nullptr;
  for (const PageCase& page : Pages()) {
    effect = page.name();
    if (std::strcmp(wanted, "all") != 0 && std::strcmp(wanted, effect) != 0) continue;
    if (readyFile != nullptr) ::SetTimer(nullptr, 0, 700, TellReady);
    if (FAILED(OpenFrame(page, L"KORVA"))) return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
