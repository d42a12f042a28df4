#include "module/class_keys.h"

#include <array>

#include "streaming/wide_text.h"

namespace korva {
namespace {

constexpr std::size_t kNameCapacity = 260;
constexpr std::size_t kKeyCapacity = 64;    // "CLSID\" and a braced identifier
constexpr DWORD kLongestKeyName = 255 + 1;  // the registry's own limit, with the terminator

/// A registry key that closes itself.
class Key {
 public:
  Key() = default;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() {
    if (key_ != nullptr) ::RegCloseKey(key_);
  }

  LONG Create(HKEY parent, const WCHAR* name) noexcept {
    return ::RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &key_, nullptr);
  }
  LONG Open(HKEY parent, const WCHAR* name) noexcept {
    return ::RegOpenKeyExW(parent, name, 0, KEY_READ | KEY_WRITE, &key_);
  }
  LONG SetText(const WCHAR* name, const WCHAR* text, std::size_t bytes) noexcept {
    return ::RegSetValueExW(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), static_cast<DWORD>(bytes));
  }
  LONG SetText(const WCHAR* name, const WCHAR* text) noexcept {
    return SetText(name, text, (std::wcslen(text) + 1) * sizeof(WCHAR));
  }
  HKEY Get() const noexcept { return key_; }

 private:
  HKEY key_ = nullptr;
};

using KeyName = std::array<WCHAR, kKeyCapacity>;

KeyName ClassKeyName(REFCLSID classId) noexcept {
  constexpr std::size_t kPrefix = 6;
  KeyName name{L"CLSID\\"};
  ::StringFromGUID2(classId, name.data() + kPrefix, static_cast<int>(name.size() - kPrefix));
  return name;
}

bool DeleteTree(HKEY parent, const WCHAR* name) noexcept {
  if (Key key; key.Open(parent, name) == ERROR_SUCCESS) {
    // A subkey that resists keeps its place in the order, so the next one is asked for.
    DWORD index = 0;
    for (;;) {
      WCHAR subkey[kLongestKeyName];
      DWORD length = kLongestKeyName;
      if (::RegEnumKeyExW(key.Get(), index, subkey, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
        break;
      if (!DeleteTree(key.Get(), subkey)) ++index;
    }
  }
  return ::RegDeleteKeyW(parent, name) == ERROR_SUCCESS;
}

}  // namespace

HRESULT WriteClassKeys(const ClassRow& row, const WCHAR* modulePath) noexcept {
  Key classKey;
  LONG code = classKey.Create(HKEY_CLASSES_ROOT, ClassKeyName(row.classId).data());
  // The whole field is stored, not only the text in it.
  std::array<WCHAR, kNameCapacity> name{};
  CopyText(name.data(), name.size(), row.name);
  if (code == ERROR_SUCCESS) code = classKey.SetText(nullptr, name.data(), sizeof(name));
  Key server;
  if (code == ERROR_SUCCESS) code = server.Create(classKey.Get(), L"InprocServer32");
  if (code == ERROR_SUCCESS) code = server.SetText(nullptr, modulePath);
  if (code == ERROR_SUCCESS) code = server.SetText(L"ThreadingModel", L"Both");
  return code == ERROR_SUCCESS ? S_OK : SystemFailure(code);
}

void DeleteClassKeys(REFCLSID classId) noexcept {
  DeleteTree(HKEY_CLASSES_ROOT, ClassKeyName(classId).data());
}

HRESULT CreateAndDeleteClassKey(REFCLSID classId) noexcept {
  const KeyName name = ClassKeyName(classId);
  LONG code = ERROR_SUCCESS;
  {
    Key key;
    code = key.Create(HKEY_CLASSES_ROOT, name.data());
  }
  if (code == ERROR_SUCCESS) code = ::RegDeleteKeyW(HKEY_CLASSES_ROOT, name.data());
  return code == ERROR_SUCCESS ? S_OK : SystemFailure(code);
}

}  // namespace korva
