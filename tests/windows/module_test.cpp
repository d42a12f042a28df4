#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "chorus/chorus_params.h"
#include "frame/interfaces.h"
#include "graph_kit.h"
#include "module/class_table.h"
#include "registered_module.h"

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
  const ComPtr<IClassFactory> factory = Factory(Chorus());
  const auto ask = [](const CLSID& classId, const IID& iid) {
    return [&classId, &iid](void** out) { return RegisteredModule().GetClassObject(classId, iid, out); };
  };
  const auto create = [&factory](IUnknown* outer, const IID& iid) {
    return [&factory, outer, &iid](void** out) { return factory->CreateInstance(outer, iid, out); };
  };
  const struct {
    std::function<HRESULT(void**)> call;
    HRESULT answer;
  } kRequests[] = {
      {ask(Chorus(), IID_IClassFactory), S_OK},
      {ask(Chorus(), IID_IPersist), E_NOINTERFACE},
      {ask(kUnknown, IID_IPersist), E_NOINTERFACE},
      {ask(kUnknown, IID_IClassFactory), CLASS_E_CLASSNOTAVAILABLE},
      {create(nullptr, IID_IBaseFilter), S_OK},
      {create(nullptr, kUnknown), E_NOINTERFACE},
      {create(factory.Get(), IID_IBaseFilter), E_NOINTERFACE},
      {create(factory.Get(), IID_IUnknown), S_OK},
  };
  for (const auto& request : kRequests) {
    void* out = &out;
    EXPECT_EQ(request.call(&out), request.answer);
    EXPECT_EQ(out != nullptr, request.answer == S_OK);
    if (out == nullptr) continue;
    static_cast<IUnknown*>(out)->Release();
    EXPECT_EQ(request.call(nullptr), E_POINTER);
  }
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
    if (const auto filter = Query<IBaseFilter>(&owner); filter) {
      const ComPtr<IPin> pin = PinOf(filter.Get(), L"Out");
      EXPECT_EQ(owner.references, 3U);
      EXPECT_TRUE(Query<IPin>(Query<IMediaSeeking>(pin.Get()).Get()));
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
  EXPECT_NE(::FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16)), nullptr) << "version";
  const auto filter = CreateRegistered<IStaticFilterPreset>(Chorus());
  const auto language = Query<IQvTranslationInfo>(filter.Get());
  for (const DWORD locale : {1041U, 1049U, 1033U}) {
    ASSERT_EQ(language->UpdateLanguage(locale, 0, 0), S_OK);
    WCHAR name[260] = {};
    ASSERT_EQ(filter->GetPresetName(2, name), S_OK);
    EXPECT_EQ(std::wstring(name) == L"Fast flange 1", locale == 1033) << locale;
  }
  EXPECT_EQ(language->UpdateLanguage(1, 0, 0), E_FAIL);
}

}  // namespace
}  // namespace korva
