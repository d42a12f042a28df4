#include <gtest/gtest.h>

#include <cstring>

#include "adding_filter.h"
#include "platform/media_position.h"
#include "platform/services.h"
#include "support/slots.h"
#include "support/test_graph.h"

namespace korva {
namespace {

const FormatRecord kMono = MakeFormat(SampleFormat::kFloat32, 1, 48000);

TEST(Connection, RefusalsHaveTheirPublishedCodes) {
  LoosePins pins;
  auto& [sourceFilter, filter, sinkFilter, source, sink, in, out, all] = pins;
  Owned<SourceFilter> otherFilter;
  SourcePin& other = otherFilter->pin;
  const AudioType type;
  AudioType video;
  video.get().majortype = MEDIATYPE_Video;

  EXPECT_EQ(source.Connect(nullptr, type), E_POINTER);
  EXPECT_EQ(in->ReceiveConnection(&source, nullptr), E_POINTER);
  EXPECT_EQ(source.Connect(&other, type), VFW_E_INVALID_DIRECTION);
  EXPECT_EQ(in->ReceiveConnection(&source, video), VFW_E_TYPE_NOT_ACCEPTED);
  EXPECT_EQ(in->QueryAccept(video), S_FALSE);
  EXPECT_EQ(source.Connect(in, video), VFW_E_TYPE_NOT_ACCEPTED);
  other.ownAllocator = sink.insistsOnOwn = true;
  EXPECT_EQ(other.Connect(&sink, type), E_FAIL);
  EXPECT_FALSE(sink.IsConnected()) << "half a connection";

  ASSERT_EQ(source.Connect(in, type), S_OK);
  EXPECT_EQ(in->ReceiveConnection(&other, type), VFW_E_ALREADY_CONNECTED);
  EXPECT_EQ(source.Connect(in, type), VFW_E_ALREADY_CONNECTED);
  CMediaType agreed;
  EXPECT_EQ(in->ConnectionMediaType(&agreed.get()), S_OK);
  EXPECT_TRUE(SameMediaType(agreed.get(), type.get()));

  // A refusal downstream leaves the pin as it was, so that another type can be tried.
  sink.accept = [](const AM_MEDIA_TYPE&) { return VFW_E_TYPE_NOT_ACCEPTED; };
  EXPECT_EQ(out->Connect(&sink, type), VFW_E_TYPE_NOT_ACCEPTED);
  ComPtr<IPin> peer;
  EXPECT_EQ(out->ConnectedTo(peer.Put()), VFW_E_NOT_CONNECTED);
  AM_MEDIA_TYPE none{};
  EXPECT_EQ(out->ConnectionMediaType(&none), VFW_E_NOT_CONNECTED);
  sink.accept = nullptr;
  sink.insistsOnOwn = false;
  EXPECT_EQ(out->Connect(&sink, type), S_OK);

  filter->Run(0);
  EXPECT_EQ(in->Disconnect(), VFW_E_NOT_STOPPED);
  filter->Stop();
  for (const HRESULT expected : {S_OK, S_FALSE}) {
    for (IPin* const pin : all) EXPECT_EQ(pin->Disconnect(), expected);
  }
  filter->Run(0);
  EXPECT_EQ(in->ReceiveConnection(&source, type), VFW_E_NOT_STOPPED);
  filter->Stop();
}

TEST(Connection, FindsAmongProposedTypesOneThatFits) {
  const AudioType mono(kMono);
  AudioType openStereo(kStereo), openMono(kMono);
  openStereo.get().majortype = openMono.get().majortype = GUID_NULL;
  const struct {
    const char* what;
    std::vector<FormatRecord> proposed;
    const AM_MEDIA_TYPE* wanted;
    HRESULT expected;
  } rows[] = {
      {"the second is taken", {kStereo, kMono}, nullptr, S_OK},
      {"none fits", {kStereo, kStereo}, nullptr, VFW_E_NO_ACCEPTABLE_TYPES},
      {"a partial type picks", {kStereo, kMono}, openMono, S_OK},
      {"a partial type rules out", {kStereo, kMono}, openStereo, VFW_E_NO_ACCEPTABLE_TYPES},
  };
  for (const auto& row : rows) {
    LoosePins pins;
    pins.source.formats = row.proposed;
    pins.sink.accept = [&](const AM_MEDIA_TYPE& type) { return SameMediaType(type, mono.get()) ? S_OK : E_FAIL; };
    EXPECT_EQ(pins.source.Connect(&pins.sink, row.wanted), row.expected) << row.what;
    EXPECT_EQ(pins.sink.IsConnected(), row.expected == S_OK) << row.what;
  }
}

TEST(InPlaceConnection, BothSidesCarryOneType) {
  LoosePins pins;
  SourcePin& source = pins.source;
  SinkPin& sink = pins.sink;
  const AudioType stereo, mono(kMono);
  source.formats = {kStereo, kMono};
  ASSERT_EQ(source.Connect(pins.in, mono), S_OK);
  EXPECT_EQ(pins.out->QueryAccept(stereo), S_FALSE);
  // With no type asked for, the output proposes what the source could send, and only the type in use fits.
  ASSERT_EQ(pins.out->Connect(&sink, nullptr), S_OK);
  EXPECT_TRUE(SameMediaType(sink.connectionType().get(), mono.get()));
  for (IPin* const pin : {static_cast<IPin*>(&source), pins.in}) pin->Disconnect();
  // A new source has to bring the type that goes out, or one that the sink would change to.
  int asked = 0;
  sink.accept = [&](const AM_MEDIA_TYPE&) { return ++asked != 0 ? E_FAIL : S_OK; };
  EXPECT_EQ(source.Connect(pins.in, stereo), VFW_E_TYPE_NOT_ACCEPTED);
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(source.Connect(pins.in, mono), S_OK);
}

TEST(Enumerators, NoticeAChangeAndStartAgain) {
  Owned<SourceFilter> source;
  ComPtr<IEnumPins> pins;
  ASSERT_EQ(source->EnumPins(pins.Put()), S_OK);
  IPin* found[2] = {};
  ULONG fetched = 9;
  EXPECT_EQ(pins->Next(2, found, nullptr), E_INVALIDARG);
  EXPECT_EQ(pins->Next(2, found, &fetched), S_FALSE);
  ASSERT_EQ(fetched, 1U);
  found[0]->Release();
  ComPtr<IEnumPins> clone;
  ASSERT_EQ(pins->Clone(clone.Put()), S_OK);
  EXPECT_EQ(clone->Next(1, found, &fetched), S_FALSE);
  source->PinsChanged();
  EXPECT_EQ(pins->Next(1, found, &fetched), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(pins->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
  for (const ULONG count : {2U, 0xFFFFFFFFU, 1U}) {
    EXPECT_EQ(pins->Reset(), S_OK);
    EXPECT_EQ(pins->Skip(count), count == 1 ? S_OK : S_FALSE);
  }

  source->pin.formats = {kStereo, kStereo, kStereo};
  ComPtr<IEnumMediaTypes> types;
  ASSERT_EQ(source->pin.EnumMediaTypes(types.Put()), S_OK);
  AM_MEDIA_TYPE* proposed[4] = {};
  EXPECT_EQ(types->Skip(1), S_OK);
  EXPECT_EQ(types->Next(4, proposed, &fetched), S_FALSE);
  ASSERT_EQ(fetched, 2U);
  for (ULONG i = 0; i < fetched; ++i) DeleteMediaType(proposed[i]);
  source->pin.TypesChanged();
  EXPECT_EQ(types->Next(1, proposed, &fetched), VFW_E_ENUM_OUT_OF_SYNC);
}

TEST(Filter, NamesItsPinsAndItself) {
  Owned<AddingFilter> filter;
  ComPtr<IPin> pin;
  EXPECT_EQ(filter->FindPin(KORVA_WTEXT("Output"), pin.Put()), VFW_E_NOT_FOUND);
  EXPECT_EQ(filter->FindPin(KORVA_WTEXT("Out"), pin.Put()), S_OK);
  EXPECT_EQ(pin.Get(), static_cast<IPin*>(filter->GetPin(1)));
  EXPECT_FALSE(Query<IMemInputPin>(pin.Get()));
  EXPECT_EQ(filter->GetPin(2), nullptr);
  PIN_INFO info{};
  ASSERT_EQ(pin->QueryPinInfo(&info), S_OK);
  EXPECT_TRUE(SameText(info.achName, KORVA_WTEXT("Output")));
  EXPECT_EQ(info.pFilter, filter.Get());
  info.pFilter->Release();
  // A name longer than the field is cut.
  EXPECT_EQ(filter->JoinFilterGraph(nullptr, std::basic_string<WCHAR>(300, WCHAR{'x'}).c_str()), S_OK);
  FILTER_INFO filterInfo{};
  EXPECT_EQ(filter->QueryFilterInfo(&filterInfo), S_OK);
  EXPECT_EQ(filterInfo.achName[MAX_FILTER_NAME - 1], 0);
  EXPECT_EQ(filterInfo.achName[MAX_FILTER_NAME - 2], WCHAR{'x'});
}

/// A source that answers each call about positions with the number of its slot, and hears how its stream is played.
class Seekable final : public SourcePin, public IMediaPosition {
 public:
  using SourcePin::SourcePin;
  KORVA_PIN_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override {
    KORVA_ANSWER_OR(SourcePin, AnswerInterface<IMediaPosition>(this, iid, out));
  }
  HRESULT Notify(IBaseFilter*, Quality) override { return heard; }

  HRESULT GetTypeInfoCount(UINT*) override { return 3; }
  HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return 4; }
  HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return 5; }
  HRESULT Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override { return 6; }
  HRESULT get_Duration(REFTIME*) override { return 7; }
  HRESULT put_CurrentPosition(REFTIME) override { return 8; }
  HRESULT get_CurrentPosition(REFTIME*) override { return 9; }
  HRESULT get_StopTime(REFTIME*) override { return 10; }
  HRESULT put_StopTime(REFTIME) override { return 11; }
  HRESULT get_PrerollTime(REFTIME*) override { return 12; }
  HRESULT put_PrerollTime(REFTIME) override { return 13; }
  HRESULT put_Rate(double) override { return 14; }
  HRESULT get_Rate(double*) override { return 15; }
  HRESULT CanSeekForward(LONG*) override { return 16; }
  HRESULT CanSeekBackward(LONG*) override { return 17; }

  HRESULT heard = S_OK;
};

TEST(PassThrough, PositionsAndCallsByNameReachUpstreamThroughTwoFilters) {
  Owned<AddingFilter> first, second;
  Owned<OnePinFilter<Seekable>> source;
  const auto position = Query<IMediaPosition>(second->GetPin(1));
  ASSERT_TRUE(position);
  EXPECT_TRUE(Query<IPin>(position.Get()));
  for (const bool connected : {false, true}) {
    if (connected) {
      ASSERT_EQ(source->pin.Connect(first->GetPin(0), AudioType()), S_OK);
      ASSERT_EQ(first->GetPin(1)->Connect(second->GetPin(0), AudioType()), S_OK);
    }
    UINT count = 9;
    ITypeInfo* info = nullptr;
    WCHAR letter[] = {'x', 0};
    LPOLESTR name = letter;
    DISPID id = 0;
    EXPECT_EQ(position->GetTypeInfoCount(&count), connected ? 3 : S_OK);
    EXPECT_EQ(position->GetTypeInfo(0, 0, &info), connected ? 4 : DISP_E_BADINDEX);
    EXPECT_EQ(position->GetIDsOfNames(GUID_NULL, &name, 1, 0, &id), connected ? 5 : DISP_E_UNKNOWNNAME);
    EXPECT_EQ(position->Invoke(7, GUID_NULL, 0, 0, nullptr, nullptr, nullptr, nullptr),
              connected ? 6 : DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(id, DISPID_UNKNOWN);
    // All others only pass on, whatever they are given.
    LONGLONG any = 0;
    for (HRESULT slot = 7; slot < 18; ++slot) {
      EXPECT_EQ(CallSlot(position.Get(), static_cast<std::size_t>(slot), &any), connected ? slot : E_NOTIMPL) << slot;
    }
  }
  for (IPin* pin : {first->GetPin(0), first->GetPin(1), second->GetPin(0)}) pin->Disconnect();
  source->pin.Disconnect();
}

TEST(PassThrough, QualityGoesToTheSinkThatWasSetAndElseUpstream) {
  Owned<AddingFilter> filter;
  Owned<OnePinFilter<Seekable>> source, sink;
  sink->pin.heard = S_FALSE;
  const auto notify = [&] { return filter->GetPin(1)->Notify(nullptr, Quality{Famine, 500, 0, 0}); };
  EXPECT_EQ(notify(), VFW_E_NOT_CONNECTED);
  ASSERT_EQ(source->pin.Connect(filter->GetPin(0), AudioType()), S_OK);
  for (const int pin : {0, 1}) {
    EXPECT_EQ(notify(), S_OK);
    EXPECT_EQ(filter->GetPin(pin)->SetSink(&sink->pin), S_OK);
    EXPECT_EQ(notify(), S_FALSE);
    EXPECT_EQ(filter->GetPin(pin)->SetSink(nullptr), S_OK);
  }
  filter->GetPin(0)->Disconnect();
  source->pin.Disconnect();
}

}  // namespace
}  // namespace korva
