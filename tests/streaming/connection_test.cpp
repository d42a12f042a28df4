#include <gtest/gtest.h>

#include <cstring>

#include "adding_filter.h"
#include "platform/services.h"
#include "support/test_graph.h"

namespace korva {
namespace {

const FormatRecord kStereo = MakeFormat(SampleFormat::kPcm16, 2, 44100);

struct AudioType : CMediaType {
  explicit AudioType(const FormatRecord& format = kStereo) { SetWave(format); }
  operator const AM_MEDIA_TYPE*() const { return &get(); }
};

TEST(Connection, RefusalsHaveTheirPublishedCodes) {
  Owned<SourceFilter> source, otherSource;
  Owned<SinkFilter> sink;
  Owned<AddingFilter> filter;
  const AudioType type;
  IPin* const in = filter->GetPin(0);
  IPin* const out = filter->GetPin(1);

  AM_MEDIA_TYPE video = type.get();
  video.majortype = MEDIATYPE_Video;
  EXPECT_EQ(source->pin.Connect(nullptr, type), E_POINTER);
  EXPECT_EQ(in->ReceiveConnection(&source->pin, nullptr), E_POINTER);
  EXPECT_EQ(source->pin.Connect(&otherSource->pin, type), VFW_E_INVALID_DIRECTION);
  EXPECT_EQ(in->ReceiveConnection(&source->pin, &video), VFW_E_TYPE_NOT_ACCEPTED);
  EXPECT_EQ(in->QueryAccept(&video), S_FALSE);
  EXPECT_EQ(in->QueryAccept(type), S_OK);
  EXPECT_EQ(source->pin.Connect(in, &video), VFW_E_TYPE_NOT_ACCEPTED);
  EXPECT_EQ(in->Disconnect(), S_FALSE);

  ASSERT_EQ(source->pin.Connect(in, type), S_OK);
  EXPECT_EQ(in->ReceiveConnection(&otherSource->pin, type), VFW_E_ALREADY_CONNECTED);
  EXPECT_EQ(source->pin.Connect(in, type), VFW_E_ALREADY_CONNECTED);
  ComPtr<IPin> peer;
  EXPECT_EQ(in->ConnectedTo(peer.Put()), S_OK);
  EXPECT_EQ(peer.Get(), static_cast<IPin*>(&source->pin));
  peer.Reset();
  AM_MEDIA_TYPE agreed{};
  EXPECT_EQ(in->ConnectionMediaType(&agreed), S_OK);
  EXPECT_TRUE(SameMediaType(agreed, type.get()));
  FreeMediaType(agreed);

  // A refusal downstream leaves the pin as it was, so that another type can be tried.
  sink->pin.accept = [](const AM_MEDIA_TYPE&) { return VFW_E_TYPE_NOT_ACCEPTED; };
  EXPECT_EQ(out->Connect(&sink->pin, type), VFW_E_TYPE_NOT_ACCEPTED);
  EXPECT_EQ(out->ConnectedTo(peer.Put()), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(out->ConnectionMediaType(&agreed), VFW_E_NOT_CONNECTED);
  sink->pin.accept = nullptr;
  EXPECT_EQ(out->Connect(&sink->pin, type), S_OK);

  filter->Run(0);
  EXPECT_EQ(in->Disconnect(), VFW_E_NOT_STOPPED);
  EXPECT_EQ(out->Connect(&sink->pin, type), VFW_E_ALREADY_CONNECTED);
  filter->Stop();
  for (IPin* pin : {in, out, static_cast<IPin*>(&source->pin), static_cast<IPin*>(&sink->pin)}) {
    EXPECT_EQ(pin->Disconnect(), S_OK);
    EXPECT_EQ(pin->Disconnect(), S_FALSE);
  }
  filter->Run(0);
  EXPECT_EQ(in->ReceiveConnection(&source->pin, type), VFW_E_NOT_STOPPED);
  filter->Stop();
}

TEST(Connection, FindsAmongProposedTypesOneThatFits) {
  const FormatRecord mono = MakeFormat(SampleFormat::kFloat32, 1, 48000);
  const struct {
    const char* what;
    std::vector<FormatRecord> proposed;
    const FormatRecord* wanted;  // a type with this block that leaves its major type open
    HRESULT expected;
  } rows[] = {
      {"the second is taken", {kStereo, mono}, nullptr, S_OK},
      {"none fits", {kStereo, kStereo}, nullptr, VFW_E_NO_ACCEPTABLE_TYPES},
      {"none is proposed", {}, nullptr, VFW_E_NO_ACCEPTABLE_TYPES},
      {"a partial type picks", {kStereo, mono}, &mono, S_OK},
      {"a partial type rules out", {kStereo, mono}, &kStereo, VFW_E_NO_ACCEPTABLE_TYPES},
  };
  for (const auto& row : rows) {
    Owned<SourceFilter> source;
    Owned<SinkFilter> sink;
    source->pin.formats = row.proposed;
    const AudioType monoType(mono);
    sink->pin.accept = [&](const AM_MEDIA_TYPE& type) { return SameMediaType(type, monoType.get()) ? S_OK : E_FAIL; };
    AudioType partial(row.wanted != nullptr ? *row.wanted : kStereo);
    partial.get().majortype = GUID_NULL;
    EXPECT_EQ(source->pin.Connect(&sink->pin, row.wanted != nullptr ? &partial.get() : nullptr), row.expected)
        << row.what;
    EXPECT_EQ(sink->pin.IsConnected(), row.expected == S_OK) << row.what;
    source->pin.Disconnect();
    sink->pin.Disconnect();
  }
}

TEST(InPlaceConnection, BothSidesCarryOneType) {
  const FormatRecord mono = MakeFormat(SampleFormat::kFloat32, 1, 48000);
  Owned<SourceFilter> source;
  Owned<SinkFilter> sink;
  Owned<AddingFilter> filter;
  ComPtr<IEnumMediaTypes> types;
  EXPECT_EQ(filter->GetPin(1)->EnumMediaTypes(types.Put()), VFW_E_NOT_CONNECTED);
  source->pin.formats = {kStereo, mono};
  ASSERT_EQ(source->pin.Connect(filter->GetPin(0), AudioType(mono)), S_OK);
  EXPECT_EQ(filter->GetPin(1)->QueryAccept(AudioType(kStereo)), S_FALSE);
  // With no type asked for, the output proposes what the source could send, and only the type in use fits.
  ASSERT_EQ(filter->GetPin(1)->Connect(&sink->pin, nullptr), S_OK);
  EXPECT_TRUE(SameMediaType(sink->pin.connectionType().get(), AudioType(mono).get()));
  source->pin.Disconnect();
  filter->GetPin(0)->Disconnect();
  // A new source has to bring the type that goes out, or one that the sink would change to.
  int asked = 0;
  sink->pin.accept = [&](const AM_MEDIA_TYPE&) { return ++asked != 0 ? E_FAIL : S_OK; };
  EXPECT_EQ(source->pin.Connect(filter->GetPin(0), AudioType(kStereo)), VFW_E_TYPE_NOT_ACCEPTED);
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(source->pin.Connect(filter->GetPin(0), AudioType(mono)), S_OK);
  source->pin.Disconnect();
  filter->GetPin(0)->Disconnect();
  filter->GetPin(1)->Disconnect();
  sink->pin.Disconnect();
}

TEST(Enumerators, NoticeAChangeAndStartAgain) {
  Owned<SinkFilter> sink;
  ComPtr<IEnumPins> pins;
  ASSERT_EQ(sink->EnumPins(pins.Put()), S_OK);
  IPin* found[2] = {};
  ULONG fetched = 9;
  EXPECT_EQ(pins->Next(2, found, nullptr), E_INVALIDARG);
  EXPECT_EQ(pins->Next(2, found, &fetched), S_FALSE);
  ASSERT_EQ(fetched, 1U);
  found[0]->Release();
  ComPtr<IEnumPins> clone;
  ASSERT_EQ(pins->Clone(clone.Put()), S_OK);
  EXPECT_EQ(clone->Next(1, found, &fetched), S_FALSE);
  sink->PinsChanged();
  EXPECT_EQ(pins->Next(1, found, &fetched), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(pins->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(pins->Clone(clone.Put()), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(pins->Skip(2), S_FALSE);
  EXPECT_EQ(pins->Skip(0xFFFFFFFFU), S_FALSE);
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(pins->Skip(1), S_OK);

  Owned<SourceFilter> source;
  source->pin.formats = {kStereo, kStereo, kStereo};
  ComPtr<IEnumMediaTypes> types;
  ASSERT_EQ(source->pin.EnumMediaTypes(types.Put()), S_OK);
  AM_MEDIA_TYPE* proposed[4] = {};
  EXPECT_EQ(types->Skip(1), S_OK);
  EXPECT_EQ(types->Next(4, proposed, &fetched), S_FALSE);
  ASSERT_EQ(fetched, 2U);
  for (ULONG i = 0; i < fetched; ++i) DeleteMediaType(proposed[i]);
  EXPECT_EQ(types->Skip(1), S_FALSE);
  source->pin.TypesChanged();
  EXPECT_EQ(types->Next(1, proposed, &fetched), VFW_E_ENUM_OUT_OF_SYNC);
}

TEST(Filter, NamesItsPinsAndItself) {
  Owned<AddingFilter> filter;
  const auto base = filter.As<IBaseFilter>();
  ComPtr<IPin> pin;
  EXPECT_EQ(base->FindPin(KORVA_WTEXT("In"), pin.Put()), S_OK);
  EXPECT_EQ(pin.Get(), static_cast<IPin*>(filter->GetPin(0)));
  PIN_INFO info{};
  ASSERT_EQ(pin->QueryPinInfo(&info), S_OK);
  EXPECT_TRUE(SameText(info.achName, KORVA_WTEXT("Input")));
  EXPECT_EQ(info.pFilter, base.Get());
  info.pFilter->Release();
  EXPECT_EQ(base->FindPin(KORVA_WTEXT("Output"), pin.Put()), VFW_E_NOT_FOUND);
  EXPECT_EQ(base->FindPin(KORVA_WTEXT("Out"), pin.Put()), S_OK);
  EXPECT_EQ(filter->GetPin(2), nullptr);
  EXPECT_EQ(filter->GetPin(-1), nullptr);
  EXPECT_FALSE(Query<IMemInputPin>(pin.Get()));

  // A name longer than the field is cut.
  std::basic_string<WCHAR> name(300, WCHAR{'x'});
  EXPECT_EQ(base->JoinFilterGraph(nullptr, name.c_str()), S_OK);
  FILTER_INFO filterInfo{};
  EXPECT_EQ(base->QueryFilterInfo(&filterInfo), S_OK);
  EXPECT_EQ(filterInfo.achName[MAX_FILTER_NAME - 1], 0);
  EXPECT_EQ(filterInfo.achName[MAX_FILTER_NAME - 2], WCHAR{'x'});
}

/// What aggregates: its references count for all, and it hands on what it does not know.
class Outer final : public IUnknown {
 public:
  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (iid != InterfaceId<IUnknown>()) return inner->QueryInterface(iid, out);
    *out = this;
    ++references;
    return S_OK;
  }
  ULONG AddRef() override { return ++references; }
  ULONG Release() override { return --references; }
  ULONG references = 1;
  IUnknown* inner = nullptr;
};

TEST(Aggregation, InterfacesBelongToTheOwner) {
  const long before = CBaseObject::ObjectsActive();
  Outer outer;
  {
    auto* const filter = new AddingFilter(&outer);
    outer.inner = filter->InnerUnknown();
    outer.inner->AddRef();
    const auto base = Query<IBaseFilter>(&outer);
    ASSERT_TRUE(base);
    EXPECT_EQ(outer.references, 2U);
    EXPECT_EQ(Query<IUnknown>(base.Get()).Get(), static_cast<IUnknown*>(&outer));
    EXPECT_EQ(Query<IUnknown>(outer.inner).Get(), outer.inner);
    ComPtr<IPin> pin;
    ASSERT_EQ(base->FindPin(KORVA_WTEXT("Out"), pin.Put()), S_OK);
    const auto seeking = Query<IMediaSeeking>(pin.Get());
    ASSERT_TRUE(seeking);
    EXPECT_TRUE(Query<IPin>(seeking.Get()));
    LONGLONG position = 0;
    EXPECT_EQ(seeking->GetCurrentPosition(&position), E_NOTIMPL);
  }
  EXPECT_EQ(outer.references, 1U);
  EXPECT_EQ(outer.inner->Release(), 0U);
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

}  // namespace
}  // namespace korva
