#include <algorithm>
#include <array>

#include "qvkit/activation_context.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace korva {
namespace {

// The loader lock, under which control classes come and go, guards these.
bool unsupported = false;
bool created = false;
HANDLE context = nullptr;  // null: the module has no such manifest, and the process's own context holds

bool Holds(const auto& codes, DWORD code) noexcept {
  return std::ranges::find(codes, code) != std::end(codes);
}

/// Calls that fail so are missing on this system.
bool MeansUnsupported(DWORD code) noexcept {
  constexpr std::array<DWORD, 5> kCodes = {ERROR_CALL_NOT_IMPLEMENTED, ERROR_MOD_NOT_FOUND, ERROR_PROC_NOT_FOUND,
                                           ERROR_INVALID_FUNCTION, ERROR_NOT_SUPPORTED};
  return Holds(kCodes, code);
}

bool MeansNoManifest(DWORD code) noexcept {
  constexpr std::array<DWORD, 6> kCodes = {ERROR_RESOURCE_DATA_NOT_FOUND, ERROR_RESOURCE_TYPE_NOT_FOUND,
                                           ERROR_RESOURCE_NAME_NOT_FOUND, ERROR_RESOURCE_LANG_NOT_FOUND,
                                           ERROR_FILE_NOT_FOUND,          ERROR_PATH_NOT_FOUND};
  return Holds(kCodes, code);
}

/// Loads the common controls that the active context names, so that their classes can be found by name.
void LoadContextControls() noexcept {
  constexpr WCHAR kLibrary[] = L"Comctl32.dll";
  ACTCTX_SECTION_KEYED_DATA found = {};
  found.cbSize = sizeof(found);
  if (::FindActCtxSectionStringW(0, nullptr, ACTIVATION_CONTEXT_SECTION_DLL_REDIRECTION, kLibrary, &found)) {
    ::LoadLibraryW(kLibrary);
  }
}

bool MakeContext() noexcept {
  constexpr WORD kManifest = 3;
  created = true;
  std::array<WCHAR, MAX_PATH> path{};
  ::GetModuleFileNameW(ThisModule(), path.data(), static_cast<DWORD>(path.size()));
  ACTCTXW request = {};
  request.cbSize = sizeof(request);
  request.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID | ACTCTX_FLAG_HMODULE_VALID;
  request.lpSource = path.data();
  request.lpResourceName = MAKEINTRESOURCEW(kManifest);
  request.hModule = ThisModule();
  const HANDLE made = ::CreateActCtxW(&request);
  if (made != INVALID_HANDLE_VALUE) {
    context = made;
    return true;
  }
  const DWORD error = ::GetLastError();
  if (MeansUnsupported(error)) unsupported = true;
  return MeansNoManifest(error);
}

}  // namespace

HMODULE ThisModule() noexcept {
  return reinterpret_cast<HMODULE>(&__ImageBase);
}

ModuleActivation::ModuleActivation() noexcept {
  if (unsupported) return;
  const bool first = !created;
  if (first && !MakeContext()) return;
  if (context == nullptr) return;
  if (!::ActivateActCtx(context, &cookie_)) {
    unsupported = MeansUnsupported(::GetLastError());
    return;
  }
  active_ = true;
  if (first) LoadContextControls();
}

ModuleActivation::~ModuleActivation() {
  if (active_) ::DeactivateActCtx(0, cookie_);
}

}  // namespace korva
