#include <gtest/gtest.h>

#include <cstring>

#include "adding_filter.h"
#include "platform/media_position.h"
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

/// A source that says where it is, and hears how well its stream is played.
class Seekable final : public CBaseOutputPin, public IMediaPosition {
 public:
  explicit Seekable(CBaseFilter& owner) : CBaseOutputPin(owner, KORVA_WTEXT("Source"), KORVA_WTEXT("Out")) {}
  KORVA_PIN_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override {
    KORVA_ANSWER_OR(CBaseOutputPin, AnswerInterface<IMediaPosition>(this, iid, out));
  }
  HRESULT CheckMediaType(const AM_MEDIA_TYPE&) override { return S_OK; }
  HRESULT DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES&) override {
    ALLOCATOR_PROPERTIES request{1, 1024, 1, 0}, actual{};
    return allocator.SetProperties(&request, &actual);
  }
  HRESULT Notify(IBaseFilter*, Quality quality) override { return quality.Proportion == 500 ? S_OK : E_FAIL; }

  HRESULT get_Duration(REFTIME* length) override { return *length = 60, S_OK; }
  HRESULT put_CurrentPosition(REFTIME time) override { return at = time, S_OK; }
  HRESULT get_CurrentPosition(REFTIME* time) override { return *time = at, S_OK; }
  HRESULT get_StopTime(REFTIME* time) override { return *time = stop, S_OK; }
  HRESULT put_StopTime(REFTIME time) override { return stop = time, S_OK; }
  HRESULT get_PrerollTime(REFTIME* time) override { return *time = preroll, S_OK; }
  HRESULT put_PrerollTime(REFTIME time) override { return preroll = time, S_OK; }
  HRESULT put_Rate(double value) override { return rate = value, S_OK; }
  HRESULT get_Rate(double* value) override { return *value = rate, S_OK; }
  HRESULT CanSeekForward(LONG* can) override { return *can = -1, S_OK; }
  HRESULT CanSeekBackward(LONG* can) override { return *can = 0, S_FALSE; }
  HRESULT GetTypeInfoCount(UINT* count) override { return *count = 1, S_OK; }
  HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_ABORT; }
  HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID* ids) override { return ids[0] = 7, S_OK; }
  HRESULT Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return member == 7 ? S_OK : E_FAIL;
  }

 private:
  REFTIME at = 0, stop = 0, preroll = 0;
  double rate = 1;
};

TEST(PassThrough, PositionsAndCallsByNameReachUpstreamThroughTwoFilters) {
  Owned<AddingFilter> first, second;
  Owned<OnePinFilter<Seekable>> source;
  const auto position = Query<IMediaPosition>(second->GetPin(1));
  ASSERT_TRUE(position);
  EXPECT_TRUE(Query<IPin>(position.Get()));
  WCHAR letter[] = {'x', 0};
  LPOLESTR name = letter;
  DISPID id = 0;
  UINT count = 9;
  REFTIME time = 0;
  ITypeInfo* info = nullptr;
  const auto invoke = [&](DISPID member) {
    return position->Invoke(member, GUID_NULL, 0, 0, nullptr, nullptr, nullptr, nullptr);
  };
  const auto ids = [&] { return position->GetIDsOfNames(GUID_NULL, &name, 1, 0, &id); };
  EXPECT_EQ(position->get_Duration(&time), E_NOTIMPL);
  EXPECT_EQ(position->GetTypeInfoCount(&count), S_OK);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(position->GetTypeInfo(0, 0, &info), DISP_E_BADINDEX);
  EXPECT_EQ(ids(), DISP_E_UNKNOWNNAME);
  EXPECT_EQ(id, DISPID_UNKNOWN);
  EXPECT_EQ(invoke(7), DISP_E_MEMBERNOTFOUND);

  ASSERT_EQ(source->pin.Connect(first->GetPin(0), AudioType()), S_OK);
  ASSERT_EQ(first->GetPin(1)->Connect(second->GetPin(0), AudioType()), S_OK);
  EXPECT_EQ(position->get_Duration(&time), S_OK);
  EXPECT_EQ(time, 60);
  for (const auto& [put, get] : {std::pair(&IMediaPosition::put_CurrentPosition, &IMediaPosition::get_CurrentPosition),
                                 std::pair(&IMediaPosition::put_StopTime, &IMediaPosition::get_StopTime),
                                 std::pair(&IMediaPosition::put_PrerollTime, &IMediaPosition::get_PrerollTime),
                                 std::pair(&IMediaPosition::put_Rate, &IMediaPosition::get_Rate)}) {
    EXPECT_EQ((position.Get()->*put)(3.5), S_OK);
    EXPECT_EQ((position.Get()->*get)(&time), S_OK);
    EXPECT_EQ(std::exchange(time, 0), 3.5);
  }
  LONG can = 0;
  EXPECT_EQ(position->CanSeekForward(&can), S_OK);
  EXPECT_EQ(can, -1);
  EXPECT_EQ(position->CanSeekBackward(&can), S_FALSE);
  EXPECT_EQ(position->GetTypeInfoCount(&count), S_OK);
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(position->GetTypeInfo(0, 0, &info), E_ABORT);
  EXPECT_EQ(ids(), S_OK);
  EXPECT_EQ(invoke(id), S_OK);
  for (IPin* pin : {first->GetPin(0), first->GetPin(1), second->GetPin(0)}) pin->Disconnect();
  source->pin.Disconnect();
}

/// Who hears a quality message.
class QualitySink final : public IQualityControl {
 public:
  KORVA_STACK_UNKNOWN(IQualityControl);
  HRESULT Notify(IBaseFilter*, Quality) override { return S_FALSE; }
  HRESULT SetSink(IQualityControl*) override { return E_NOTIMPL; }
};

TEST(PassThrough, QualityGoesToTheSinkThatWasSetAndElseUpstream) {
  Owned<AddingFilter> filter;
  Owned<OnePinFilter<Seekable>> source;
  QualitySink sink;
  const auto heard = [&] { return filter->GetPin(1)->Notify(nullptr, Quality{Famine, 500, 0, 0}); };
  EXPECT_EQ(heard(), VFW_E_NOT_CONNECTED);
  ASSERT_EQ(source->pin.Connect(filter->GetPin(0), AudioType()), S_OK);
  EXPECT_EQ(heard(), S_OK);
  for (const int pin : {0, 1}) {
    EXPECT_EQ(filter->GetPin(pin)->SetSink(&sink), S_OK);
    EXPECT_EQ(heard(), S_FALSE);
    EXPECT_EQ(filter->GetPin(pin)->SetSink(nullptr), S_OK);
  }
  EXPECT_EQ(heard(), S_OK);
  EXPECT_EQ(sink.references, 0U);
  filter->GetPin(0)->Disconnect();
  source->pin.Disconnect();
}

}  // namespace
}  // namespace korva
