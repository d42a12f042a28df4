#include <algorithm>
#include <array>
#include <cwchar>
#include <iterator>

#include "qvkit/help.h"
#include "qvkit/system_controls.h"

namespace korva {
namespace {

// A page for each effect rather than one page with anchors: a file opened by its path has no place for an anchor.
struct HelpPage {
  DWORD context;
  const WCHAR* file;
};
constexpr HelpPage kPages[] = {
    {kHelpEchos, L"simple-delay.html"}, {kHelpEchomt, L"multi-tap-delay.html"}, {kHelpChorus, L"chorus.html"},
    {kHelpReverb, L"reverb.html"},      {kHelpPitchs, L"pitch-shift.html"},     {kHelpTime, L"time-stretch.html"},
};

/// Puts `tail` in place of what follows the last backslash.
int ReplaceName(WCHAR* path, DWORD capacity, const WCHAR* tail) noexcept {
  WCHAR* const slash = std::wcsrchr(path, L'\\');
  const std::size_t folder = slash != nullptr ? static_cast<std::size_t>(slash + 1 - path) : 0;
  const std::size_t length = std::wcslen(tail);
  if (folder == 0 || folder + length + 1 > capacity) {
    path[0] = 0;
    return 0;
  }
  std::copy_n(tail, length + 1, path + folder);
  return 1;
}

}  // namespace

int QvHelp_CreateHelpFilePathEX(int, HMODULE module, WCHAR* path, DWORD capacity, DWORD, DWORD) noexcept {
  if (path == nullptr || capacity == 0) return 0;
  const DWORD length = ::GetModuleFileNameW(module, path, capacity);
  if (length == 0 || length >= capacity) {
    path[0] = 0;
    return 0;
  }
  return ReplaceName(path, capacity, L"help\\index.html");
}

int QvHelp_PagePath(DWORD context, const WCHAR* path, WCHAR* page, DWORD capacity) noexcept {
  if (path == nullptr || page == nullptr || std::wcslen(path) >= capacity) return 0;
  std::copy_n(path, std::wcslen(path) + 1, page);
  const auto* const found = std::ranges::find(kPages, context, &HelpPage::context);
  if (found == std::end(kPages)) return page[0] != 0;
  return ReplaceName(page, capacity, found->file);
}

int QvHelp_ContextHelp(int, HWND window, DWORD context, int, const WCHAR* path) noexcept {
  constexpr INT_PTR kLastError = 32;
  std::array<WCHAR, MAX_PATH> page{};
  if (QvHelp_PagePath(context, path, page.data(), static_cast<DWORD>(page.size())) == 0) return 0;
  if (::GetFileAttributesW(page.data()) == INVALID_FILE_ATTRIBUTES) return 0;
  const HINSTANCE opened = ::ShellExecuteW(window, L"open", page.data(), nullptr, nullptr, SW_SHOWNORMAL);
  return reinterpret_cast<INT_PTR>(opened) > kLastError ? 1 : 0;
}

}  // namespace korva
