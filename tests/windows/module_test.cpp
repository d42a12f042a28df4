#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "chorus/chorus_params.h"
#include "frame/interfaces.h"
#include "graph_kit.h"
#include "module/class_table.h"
#include "platform/wide_text.h"
#include "registered_module.h"
#include "support/help_page.h"

namespace korva {
namespace {

constexpr GUID kUnknown{0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};

ComPtr<IClassFactory> Factory(REFCLSID classId) {
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(RegisteredModule().GetClassObject(classId, IID_IClassFactory, factory.PutVoid()), S_OK);
  return factory;
}

const CLSID& Chorus() {
  return kChorusEffect.filterClass;
}

TEST(Module, AnswersForEveryKindOfRequest) {
  const struct {
    const GUID& classId;
    const GUID& iid;
    HRESULT answer;
  } kRequests[] = {
      {Chorus(), IID_IClassFactory, S_OK},
      {Chorus(), IID_IUnknown, S_OK},
      {Chorus(), IID_IPersist, E_NOINTERFACE},
      {kUnknown, IID_IPersist, E_NOINTERFACE},
      {kUnknown, IID_IClassFactory, CLASS_E_CLASSNOTAVAILABLE},
  };
  for (const auto& request : kRequests) {
    void* out = &out;
    EXPECT_EQ(RegisteredModule().GetClassObject(request.classId, request.iid, &out), request.answer);
    EXPECT_EQ(out != nullptr, request.answer == S_OK);
    if (out != nullptr) static_cast<IUnknown*>(out)->Release();
  }
  EXPECT_EQ(RegisteredModule().GetClassObject(Chorus(), IID_IClassFactory, nullptr), E_POINTER);

  const ComPtr<IClassFactory> factory = Factory(Chorus());
  const ComPtr<IUnknown> outer(factory.Get());
  const struct {
    IUnknown* outer;
    const GUID& iid;
    HRESULT answer;
  } kCreations[] = {
      {nullptr, IID_IBaseFilter, S_OK},   {nullptr, IID_IUnknown, S_OK},
      {nullptr, kUnknown, E_NOINTERFACE}, {outer.Get(), IID_IBaseFilter, E_NOINTERFACE},
      {outer.Get(), IID_IUnknown, S_OK},
  };
  for (const auto& creation : kCreations) {
    ComPtr<IUnknown> object;
    EXPECT_EQ(factory->CreateInstance(creation.outer, creation.iid, object.PutVoid()), creation.answer);
    EXPECT_EQ(static_cast<bool>(object), creation.answer == S_OK);
  }
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
}

/// An owner that offers a filter's interfaces as its own.
class Owner final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (iid != IID_IUnknown) return inner->QueryInterface(iid, out);
    *out = this;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }

  ComPtr<IUnknown> inner;
  ULONG references = 1;
};

TEST(Module, AggregatedFilterBelongsToItsOwner) {
  for (const ClassRow& row : ClassTable()) {
    Owner owner;
    ASSERT_EQ(Factory(row.classId)->CreateInstance(&owner, IID_IUnknown, owner.inner.PutVoid()), S_OK);
    const std::vector<GUID> offered = row.setup
                                          ? std::vector<GUID>{IID_IBaseFilter, IID_IPersistStream, IID_IAMovieSetup}
                                          : std::vector<GUID>{IID_IPropertyPage};
    for (const GUID& iid : offered) {
      ComPtr<IUnknown> part;
      ASSERT_EQ(owner.QueryInterface(iid, part.PutVoid()), S_OK);
      EXPECT_EQ(owner.references, 2U);
      EXPECT_EQ(Query<IUnknown>(part.Get()).Get(), &owner);
    }
    EXPECT_EQ(owner.references, 1U);
  }
}

TEST(Module, StaysWhileAnythingOfItIsAlive) {
  const auto inUse = [] { return RegisteredModule().CanUnloadNow() == S_FALSE; };
  ASSERT_FALSE(inUse());
  ComPtr<IClassFactory> factory = Factory(Chorus());
  EXPECT_TRUE(inUse()) << "factory";
  factory->LockServer(TRUE);
  factory.Reset();
  EXPECT_TRUE(inUse()) << "lock with no object";
  Factory(Chorus())->LockServer(FALSE);
  EXPECT_FALSE(inUse());

  ComPtr<IBaseFilter> filter = CreateRegistered<IBaseFilter>(Chorus());
  ComPtr<IPin> pin = PinOf(filter.Get(), L"In");
  ComPtr<IEnumPins> pins;
  filter->EnumPins(pins.Put());
  ComPtr<IMemAllocator> allocator;
  ASSERT_EQ(Query<IMemInputPin>(pin.Get())->GetAllocator(allocator.Put()), S_OK);
  ALLOCATOR_PROPERTIES wanted{1, 64, 1, 0}, actual{};
  allocator->SetProperties(&wanted, &actual);
  allocator->Commit();
  ComPtr<IMediaSample> sample;
  ASSERT_EQ(allocator->GetBuffer(sample.Put(), nullptr, nullptr, 0), S_OK);
  allocator->Decommit();
  filter.Reset();
  EXPECT_TRUE(inUse()) << "pin";
  pin.Reset();
  EXPECT_TRUE(inUse()) << "enumerator";
  pins.Reset();
  EXPECT_TRUE(inUse()) << "allocator";
  allocator.Reset();
  EXPECT_TRUE(inUse()) << "sample";
  sample.Reset();
  EXPECT_FALSE(inUse());
}

TEST(Module, CarriesItsResources) {
  const HMODULE module = RegisteredModule().handle();
  EXPECT_NE(::FindResourceW(module, MAKEINTRESOURCEW(2), MAKEINTRESOURCEW(24)), nullptr) << "manifest";
  EXPECT_EQ(::FindResourceW(module, MAKEINTRESOURCEW(3), MAKEINTRESOURCEW(24)), nullptr);
  EXPECT_NE(::FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16)), nullptr) << "version";

  const auto filter = CreateRegistered<IStaticFilterPreset>(Chorus());
  const auto language = Query<IQvTranslationInfo>(filter.Get());
  std::vector<std::wstring> names;
  for (const DWORD locale : {1033U, 1031U, 1041U, 1049U}) {
    ASSERT_EQ(language->UpdateLanguage(locale, 0, 0), S_OK);
    WCHAR name[260] = {};
    ASSERT_EQ(filter->GetPresetName(2, name), S_OK);
    names.emplace_back(name);
  }
  EXPECT_EQ(names[0], L"Fast flange 1");
  for (std::size_t i = 1; i < names.size(); ++i) EXPECT_NE(names[i], names[0]);
  EXPECT_EQ(language->UpdateLanguage(1, 0, 0), E_FAIL);
  language->UpdateLanguage(1033, 0, 0);
}

TEST(Module, EveryPageFindsItsHelpBesideTheModule) {
  int pages = 0;
  for (const ClassRow& row : ClassTable()) {
    if (row.setup) continue;
    ComPtr<IPropertyPage> page;
    ASSERT_EQ(Factory(row.classId)->CreateInstance(nullptr, IID_IPropertyPage, page.PutVoid()), S_OK);
    PROPPAGEINFO info{};
    ASSERT_EQ(page->GetPageInfo(&info), S_OK);
    EXPECT_TRUE(HasHelpPage(info)) << platform::ToUtf8(info.pszTitle);
    ::CoTaskMemFree(info.pszTitle);
    ::CoTaskMemFree(info.pszHelpFile);
    ++pages;
  }
  EXPECT_EQ(pages, 6);
}

}  // namespace
}  // namespace korva
