#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "chorus/chorus_params.h"
#include "graph_kit.h"
#include "module/class_table.h"
#include "module/filter_mapper.h"
#include "registered_effects.h"
#include "registered_module.h"

KORVA_PLATFORM_INTERFACE(IFilterMapper)
KORVA_PLATFORM_INTERFACE(IFilterMapper2)

namespace korva {
namespace {

using Keys = std::map<std::wstring, std::vector<BYTE>>;

/// Every key and value below a key, by path.
void ReadKeys(HKEY parent, const std::wstring& path, Keys& keys) {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  keys[path];
  WCHAR name[1024];
  for (DWORD i = 0;; ++i) {
    DWORD length = 1024, size = 0;
    if (::RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS) break;
    std::vector<BYTE>& value = keys[path + L'@' + name];
    value.resize(size);
    ::RegQueryValueExW(key, name, nullptr, nullptr, value.data(), &size);
  }
  for (DWORD i = 0;; ++i) {
    DWORD length = 1024;
    if (::RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    ReadKeys(parent, path + L'\\' + name, keys);
  }
  ::RegCloseKey(key);
}

Keys AllKeys() {
  Keys keys;
  ReadKeys(HKEY_CLASSES_ROOT, L"CLSID", keys);
  ReadKeys(HKEY_CLASSES_ROOT, L"Filter", keys);
  keys.erase(L"Filter");  // the older mapper's own: it comes with the first filter and stays, empty
  return keys;
}

std::wstring Braced(REFGUID id) {
  WCHAR text[64] = {};
  ::StringFromGUID2(id, text, 64);
  return text;
}

std::wstring Text(const std::vector<BYTE>& value) {
  std::wstring text(value.size() / sizeof(WCHAR), L'\0');
  std::copy_n(value.data(), text.size() * sizeof(WCHAR), reinterpret_cast<BYTE*>(text.data()));
  return text.substr(0, text.find(L'\0'));
}

/// How many filters of that name the mapper finds from a merit on.
int CountInMapper(const WCHAR* name, DWORD merit) {
  ComPtr<IFilterMapper2> mapper;
  ::CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, InterfaceId<IFilterMapper2>(),
                     mapper.PutVoid());
  ComPtr<IEnumMoniker> found;
  const GUID audio[] = {MEDIATYPE_Audio, GUID_NULL};
  mapper->EnumMatchingFilters(found.Put(), 0, FALSE, merit, TRUE, 1, audio, nullptr, nullptr, FALSE, TRUE, 1, audio,
                              nullptr, nullptr);
  int count = 0;
  for (ComPtr<IMoniker> moniker; found && found->Next(1, moniker.Put(), nullptr) == S_OK;) {
    count += FriendlyName(*moniker.Get()) == platform::ToUtf8(name) ? 1 : 0;
  }
  return count;
}

const ClassRow& ChorusRow() {
  return *FindClass(kChorusEffect.filterClass);
}

TEST(Registration, WritesWhatHostsLookForAndTakesItAllBack) {
  const ModuleFile& module = RegisteredModule();
  ASSERT_EQ(module.Unregister(), S_OK);
  const Keys before = AllKeys();
  for (int times = 0; times < 2; ++times) ASSERT_EQ(module.Register(), S_OK);
  const Keys after = AllKeys();
  for (const ClassRow& row : ClassTable()) {
    const std::wstring key = L"CLSID\\" + Braced(row.classId);
    ASSERT_TRUE(after.contains(key + L"@"));
    EXPECT_EQ(Text(after.at(key + L"@")), row.name);
    EXPECT_EQ(after.at(key + L"@").size(), 520U);
    EXPECT_EQ(Text(after.at(key + L"\\InprocServer32@")), ModuleFile::Path());
    EXPECT_EQ(Text(after.at(key + L"\\InprocServer32@ThreadingModel")), L"Both");
    if (!row.setup) continue;
    EXPECT_EQ(CountInMapper(row.setup->name, 0x200000), 1);
    EXPECT_EQ(CountInMapper(row.setup->name, 0x200001), 0);
    const std::wstring instance = L"CLSID\\" + Braced(CLSID_LegacyAmFilterCategory) + L"\\Instance\\";
    EXPECT_TRUE(after.contains(instance + Braced(row.classId))) << "the mapper's default category";
  }
  EXPECT_EQ(module.Unregister(), S_OK);
  EXPECT_EQ(AllKeys(), before);
  EXPECT_EQ(module.Register(), S_OK);
}

TEST(Registration, HalfGoneIsTakenBackToo) {
  const ModuleFile& module = RegisteredModule();
  ASSERT_EQ(module.Unregister(), S_OK);
  const Keys before = AllKeys();
  const ClassRow& row = ChorusRow();
  const std::wstring key = L"CLSID\\" + Braced(row.classId);
  const std::function<void()> kMishaps[] = {
      [&] { FilterMapper().TakeOut(*row.setup); },
      [&] { ::RegDeleteTreeW(HKEY_CLASSES_ROOT, (key + L"\\InprocServer32").c_str()); },
      [&] { ::RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str()); },
      [&] { ::RegSetValueW(HKEY_CLASSES_ROOT, (key + L"\\Pins\\Input\\Types").c_str(), REG_SZ, L"", 0); },
      [&] { module.Unregister(); },
  };
  for (std::size_t i = 0; i < std::size(kMishaps); ++i) {
    ASSERT_EQ(module.Register(), S_OK);
    kMishaps[i]();
    EXPECT_EQ(module.Unregister(), S_OK) << i;
    EXPECT_EQ(AllKeys(), before) << i;
  }
  EXPECT_EQ(module.Register(), S_OK);
}

TEST(Registration, SaysWhyTheRegistryCannotBeWritten) {
  const ModuleFile& module = RegisteredModule();
  const Keys before = AllKeys();
  HKEY gone = nullptr;
  ASSERT_EQ(::RegCreateKeyW(HKEY_CURRENT_USER, L"Software\\KorvaTest", &gone), ERROR_SUCCESS);
  ASSERT_EQ(::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\KorvaTest"), ERROR_SUCCESS);
  ASSERT_EQ(::RegOverridePredefKey(HKEY_CLASSES_ROOT, gone), ERROR_SUCCESS);
  const HRESULT registered = module.Register(), unregistered = module.Unregister();
  ::RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
  ::RegCloseKey(gone);
  EXPECT_EQ(registered, HRESULT_FROM_WIN32(ERROR_KEY_DELETED));
  EXPECT_EQ(unregistered, HRESULT_FROM_WIN32(ERROR_KEY_DELETED));
  EXPECT_EQ(AllKeys(), before);
}

TEST(Registration, OlderMapperHoldsTheSame) {
  ASSERT_EQ(RegisteredModule().Unregister(), S_OK);
  const Keys before = AllKeys();
  const FilterSetup& setup = *ChorusRow().setup;
  ComPtr<IFilterMapper> older;
  ASSERT_EQ(::CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, InterfaceId<IFilterMapper>(),
                               older.PutVoid()),
            S_OK);
  const FilterMapper mapper(nullptr, older.Get());
  EXPECT_EQ(mapper.TakeOut(setup), S_OK) << "never there";
  EXPECT_EQ(mapper.Enter(setup), S_OK);
  const Keys after = AllKeys();
  EXPECT_TRUE(after.contains(L"Filter\\" + Braced(setup.classId)));
  for (const PinSetup& pin : setup.pins) {
    EXPECT_TRUE(after.contains(L"CLSID\\" + Braced(setup.classId) + L"\\Pins\\" + pin.name + L"\\Types\\" +
                               Braced(MEDIATYPE_Audio) + L"\\" + Braced(GUID_NULL)));
  }
  EXPECT_EQ(mapper.TakeOut(setup), S_OK);
  EXPECT_EQ(RegisteredModule().Unregister(), S_OK);
  EXPECT_EQ(AllKeys(), before);
  EXPECT_EQ(RegisteredModule().Register(), S_OK);
}

TEST(Registration, FiltersEnterThemselves) {
  const ClassRow& row = ChorusRow();
  const auto setup = CreateRegistered<IAMovieSetup>(row.classId);
  ASSERT_TRUE(setup);
  EXPECT_EQ(setup->Unregister(), S_OK);
  EXPECT_EQ(CountInMapper(row.setup->name, 0), 0);
  EXPECT_EQ(setup->Register(), S_OK);
  EXPECT_EQ(CountInMapper(row.setup->name, 0x200000), 1);
}

}  // namespace
}  // namespace korva
