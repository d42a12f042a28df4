#include "pitchtime/pitchtime_rig.h"
#include "platform/services.h"

namespace korva {
namespace {

TEST(StretchFilter, SamplesDoNotDependOnTheSizesOfBuffers) {
  const struct {
    std::string settings;
    FormatRecord format;
  } rows[] = {
      {Shifted(1.4983, true, "mode=6 anti-alias=1"), MakeFormat(SampleFormat::kFloat32, 2, 22050)},
      {Shifted(0.7937, true, "mode=12 accuracy=3"), MakeFormat(SampleFormat::kPcm16, 1, 22050)},
      {Shifted(0.50191, true, "mode=16"), MakeFormat(SampleFormat::kPcm32, 3, 8000)},
      {Shifted(0.05, false), MakeFormat(SampleFormat::kFloat32, 1, 44100)},
      {Shifted(19, false, "accuracy=3 anti-alias=1"), MakeFormat(SampleFormat::kPcm8, 2, 44100)},
      {Stretched(50, 12), MakeFormat(SampleFormat::kFloat32, 1, 22050)},
      {Stretched(500, 16), MakeFormat(SampleFormat::kPcm16, 2, 22050)},
      {Stretched(70, 6), MakeFormat(SampleFormat::kPcm32, 3, 11025)},
      {Stretched(117, 5), MakeFormat(SampleFormat::kPcm8, 2, 8000)},
      {Stretched(100, 18), MakeFormat(SampleFormat::kFloat64, 1, 3)},
  };
  for (const auto& row : rows) {
    const std::string& settings = row.settings;
    const FormatRecord& format = row.format;
    // Ends in many places between two blocks: the drain must not care what was still to be written.
    for (const std::size_t frames : {9001U, 9323U, 9677U}) {
      const auto input = GridNoise(frames * format.channels);
      const auto run = [&](std::size_t in, std::size_t out) {
        return StretchRig(settings, format, out * format.blockAlign, {.bufferFrames = std::max<std::size_t>(in, 512)})
            .Run(input, in);
      };
      const auto whole = run(frames, 200000);
      for (const auto& [in, out] : {std::pair{1, 500}, {4096, 1}, {300, 77}}) {
        EXPECT_EQ(LargestDifference(run(std::size_t(in), std::size_t(out)), whole), 0)
            << settings << Describe(format) << ", " << frames << " by " << in << " to " << out;
      }
    }
  }
}

TEST(StretchFilter, StampsCountOutputFromTheLastDiscontinuity) {
  const FormatRecord format = MakeFormat(SampleFormat::kPcm16, 1, 10000);  // 500 frames a block, of which 250 go out
  const struct {
    LONG frames;
    REFERENCE_TIME time;  // of the input; negative for none
    LONGLONG mediaTime;
    bool discontinuity, syncPoint;
    std::string arrivals;
  } rows[] = {
      {750, 9999, 7, false, false, "0-500000 0;"},  // only a discontinuity brings a stamp
      {250, -1, -1, false, true, "500000-750000 500 sync;"},
      {499, 70000000, 5000, true, false, ""},
      {1, 1, 1, false, false, "70000000-70250000 5000 jump;"},
      {500, -1, -1, true, true, "70250000-70500000 5250 jump sync;"},
      {500, 1, 1, false, false, "70500000-71000000 5500;"},
  };
  StretchRig rig(Stretched(100), format);
  std::string arrivals;
  rig.graph.sink->pin.onReceive = [&](IMediaSample& sample) {
    REFERENCE_TIME start = -1, stop = -1;
    LONGLONG mediaStart = -1, mediaStop = -1;
    sample.GetTime(&start, &stop);
    sample.GetMediaTime(&mediaStart, &mediaStop);
    EXPECT_EQ(mediaStop - mediaStart, sample.GetActualDataLength() / 2);
    arrivals += std::to_string(start) + "-" + std::to_string(stop) + " " + std::to_string(mediaStart);
    arrivals += sample.IsDiscontinuity() == S_OK ? " jump" : "";
    arrivals += sample.IsSyncPoint() == S_OK ? " sync;" : ";";
    return S_OK;
  };
  ASSERT_EQ(rig.graph.Start(), S_OK);
  for (const auto& row : rows) {
    TestSample sample(Bytes(static_cast<std::size_t>(row.frames) * 2));
    REFERENCE_TIME start = row.time, stop = row.time + 1;
    LONGLONG mediaStart = row.mediaTime, mediaStop = row.mediaTime + 1;
    if (row.time >= 0) sample.SetTime(&start, &stop);
    if (row.mediaTime >= 0) sample.SetMediaTime(&mediaStart, &mediaStop);
    sample.SetDiscontinuity(row.discontinuity);
    sample.SetSyncPoint(row.syncPoint);
    arrivals.clear();
    EXPECT_EQ(rig.graph.input().Receive(&sample), S_OK);
    EXPECT_EQ(arrivals, row.arrivals);
  }
}

TEST(StretchFilter, FailuresDownstreamEndTheCallWithTheirCode) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat64, 32, 8000);
  const Bytes noise = NoiseBytes(format, 2000);
  const std::size_t frame = format.blockAlign;
  const struct {
    const char* what;
    std::size_t bufferBytes;
    int refusesAfter;
    HRESULT answer;  // of the sink
    HRESULT received, ended;
    std::string events;
  } rows[] = {
      {"all is well", 999 * frame, -1, S_OK, S_OK, S_OK, "sample sample sample sample sample end "},
      {"sink fails", 999 * frame, -1, E_ABORT, E_ABORT, E_ABORT, "sample sample end "},
      {"sink has enough", 999 * frame, -1, S_FALSE, S_FALSE, S_OK, "sample sample end "},
      {"no first buffer", 999 * frame, 0, S_OK, VFW_E_TIMEOUT, S_OK, "sample end "},
      {"no second buffer", 999 * frame, 1, S_OK, VFW_E_TIMEOUT, S_OK, "sample sample end "},
      {"less than a frame", frame - 1, -1, S_OK, E_FAIL, E_FAIL, "end "},
      {"nothing at all", 0, -1, S_OK, E_FAIL, E_FAIL, "end "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    StretchRig rig(Stretched(200), format, row.bufferBytes, {2000});
    const SinkPin& sink = rig.graph.sink->pin;
    rig.graph.sink->pin.answer = row.answer;
    ASSERT_EQ(rig.graph.Start(), S_OK);
    rig.allocator.refusesAfter = row.refusesAfter;
    EXPECT_EQ(rig.graph.Send(noise, {0, true, false}), row.received);
    EXPECT_EQ(rig.graph.source->pin.DeliverEndOfStream(), row.ended);
    EXPECT_EQ(sink.events, row.events);
    // A buffer that is refused at the end leaves downstream without its end.
    rig.allocator.refusesAfter = 0;
    EXPECT_EQ(rig.graph.source->pin.DeliverEndOfStream(), VFW_E_TIMEOUT);
    EXPECT_EQ(sink.events, row.events);
  }
}

TEST(StretchFilter, WhatMustNotBeWrittenIsFilteredInACopy) {
  const Bytes noise = NoiseBytes(kMonoFloats, 1000);
  for (const bool readOnly : {false, true}) {
    StretchRig rig(Shifted(1.5, false, "anti-alias=1"), kMonoFloats, 4096, {.readOnly = readOnly});
    ASSERT_EQ(rig.graph.Start(), S_OK);
    TestSample sample(noise);
    EXPECT_EQ(rig.graph.input().Receive(&sample), S_OK);
    EXPECT_EQ(sample.data == noise, readOnly);
  }
}

/// What the filter asks of a graph: to make a connection anew.
class Reconnector final : public IFilterGraph {
 public:
  KORVA_STACK_UNKNOWN(IFilterGraph);
  HRESULT AddFilter(IBaseFilter*, LPCWSTR) override { return E_NOTIMPL; }
  HRESULT RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
  HRESULT EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
  HRESULT FindFilterByName(LPCWSTR, IBaseFilter**) override { return E_NOTIMPL; }
  HRESULT ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  HRESULT Reconnect(IPin* pin) override {
    asked = pin;
    return S_OK;
  }
  HRESULT Disconnect(IPin*) override { return E_NOTIMPL; }
  HRESULT SetDefaultSyncSource() override { return E_NOTIMPL; }

  IPin* asked = nullptr;
};

TEST(StretchFilter, TakesAnotherFormatWhereDownstreamWould) {
  const FormatRecord stereo = MakeFormat(SampleFormat::kPcm16, 2, 44100),
                     mono = MakeFormat(SampleFormat::kPcm16, 1, 8000);
  CMediaType type, broken;
  type.SetWave(mono);
  broken.SetWave(stereo);
  platform::FreeTaskMemory(std::exchange(broken.get().pbFormat, nullptr));
  StretchRig rig(Shifted(1, false, "mode=16"), stereo);
  SourcePin& source = rig.graph.source->pin;
  SinkPin& sink = rig.graph.sink->pin;
  IPin *const in = rig.filter.GetPin(0), *const out = rig.filter.GetPin(1);
  CMediaType proposed;
  EXPECT_EQ(rig.filter.GetMediaType(-1, proposed), E_INVALIDARG);
  EXPECT_EQ(rig.filter.GetMediaType(1, proposed), VFW_S_NO_MORE_ITEMS);
  // A block that claims a length and is not there.
  for (IPin* const pin : {in, out}) EXPECT_EQ(pin->QueryAccept(&broken.get()), S_FALSE);

  sink.accept = [](const AM_MEDIA_TYPE&) { return E_FAIL; };
  EXPECT_EQ(in->QueryAccept(&type.get()), S_FALSE);
  // A wrong block align is put right before downstream is asked.
  reinterpret_cast<FormatRecord*>(type.get().pbFormat)->blockAlign = 99;
  sink.accept = [](const AM_MEDIA_TYPE& offered) {
    return reinterpret_cast<const FormatRecord*>(offered.pbFormat)->blockAlign == 2 ? S_OK : E_FAIL;
  };
  EXPECT_EQ(in->QueryAccept(&type.get()), S_OK);

  const auto connectAnew = [&] {
    source.Disconnect();
    in->Disconnect();
    return source.Connect(in, &type.get());
  };
  EXPECT_EQ(connectAnew(), VFW_E_NOT_IN_GRAPH);
  Reconnector reconnector;
  rig.filter.JoinFilterGraph(&reconnector, nullptr);
  EXPECT_EQ(connectAnew(), S_OK);
  EXPECT_EQ(reconnector.asked, out);
  // Until the graph gets round to it the change is announced on the first sample of every buffer.
  std::string announced;
  sink.onReceive = [&](IMediaSample& sample) {
    AM_MEDIA_TYPE* changed = nullptr;
    announced += sample.GetMediaType(&changed) == S_OK ? 'T' : '-';
    DeleteMediaType(changed);
    return S_OK;
  };
  ASSERT_EQ(rig.graph.Start(), S_OK);
  rig.Set("transposition=0.05");
  for (int i = 0; i < 2; ++i) EXPECT_EQ(rig.graph.Send(NoiseBytes(mono, 2000), {0, i == 0, false}), S_OK);
  EXPECT_TRUE(announced.starts_with("T-") && announced.find("-T-") != std::string::npos) << announced;
  rig.filter.JoinFilterGraph(nullptr, nullptr);
}

TEST(StretchFilter, AsksForBuffersOfFourTimesTheInputsSize) {
  constexpr LONG kMost = std::numeric_limits<LONG>::max();
  for (const auto& [upstream, size] : {std::pair<LONG, LONG>{127, 508}, {128, 512}, {kMost / 2, kMost}}) {
    ComPtr<IMemAllocator> allocator;
    CreateMemoryAllocator(allocator.Put());
    ALLOCATOR_PROPERTIES properties{3, upstream, 16, 0};
    EXPECT_EQ(Owned<CQvTime>()->DecideBufferSize(*allocator.Get(), properties), size < 512 ? E_FAIL : S_OK);
    EXPECT_EQ(properties.cbBuffer, size);
  }
}

}  // namespace
}  // namespace korva
