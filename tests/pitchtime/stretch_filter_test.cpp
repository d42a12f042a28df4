#include "pitchtime/stretch_filter.h"

#include <gtest/gtest.h>

#include "pitchtime/pitchs_filter.h"
#include "pitchtime/time_filter.h"
#include "platform/services.h"
#include "support/test_graph.h"

namespace korva {
namespace {

/// Buffers of a sink whose size is the sink's choice, whatever was asked for and told.
class SinkAllocator final : public IMemAllocator {
 public:
  explicit SinkAllocator(std::size_t bytes) : bytes_(static_cast<LONG>(bytes)) { CreateMemoryAllocator(inner_.Put()); }
  KORVA_STACK_UNKNOWN(IMemAllocator);
  HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override {
    ALLOCATOR_PROPERTIES own{1, bytes_, request->cbAlign, request->cbPrefix};
    const HRESULT result = inner_->SetProperties(&own, actual);
    actual->cbBuffer = std::max<LONG>(bytes_, 512);
    return result;
  }
  HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) override { return inner_->GetProperties(properties); }
  HRESULT Commit() override { return inner_->Commit(); }
  HRESULT Decommit() override { return inner_->Decommit(); }
  HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME*, REFERENCE_TIME*, DWORD) override {
    return refusesAfter-- == 0 ? VFW_E_TIMEOUT : inner_->GetBuffer(sample, nullptr, nullptr, 0);
  }
  HRESULT ReleaseBuffer(IMediaSample* sample) override { return inner_->ReleaseBuffer(sample); }

  /// Connects the output anew, so that the filter delivers into these buffers.
  HRESULT TakeOver(TestGraph& graph, CTransformFilter& filter) {
    filter.GetPin(1)->Disconnect();
    graph.sink->pin.Disconnect();
    graph.sink->pin.NotifyAllocator(this, FALSE);
    return filter.GetPin(1)->Connect(&graph.sink->pin, nullptr);
  }

  int refusesAfter = -1;

 private:
  const LONG bytes_;
  ComPtr<IMemAllocator> inner_;
};

void Shift(CQvPitchs& filter, double transposition, bool keep) {
  filter.SetTransposition(transposition);
  filter.SetPreserveDuration(keep ? 1 : 0);
  filter.SetAntiAlias(1);
  filter.SetMode(16);
}

void Stretch(CQvTime& filter, double percent) {
  filter.SetPercent(percent * 100);
  filter.SetMode(16);
}

/// No object outlives its test.
class StretchFilter : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(CBaseObject::ObjectsActive(), before_); }

 private:
  const long before_ = CBaseObject::ObjectsActive();
};

template <class Filter, class Set>
void ExpectSameInAnyBuffers(const FormatRecord& format, const Set& set) {
  // Ends in many places between two blocks: the drain must not care what was still to be written.
  for (const std::size_t frames : {9001U, 9323U, 9677U}) {
    const Bytes input = NoiseBytes(format, frames);
    Bytes whole;
    for (const auto& [in, out] :
         {std::pair<std::size_t, std::size_t>{frames, 200000}, {1, 500}, {4096, 1}, {300, 77}}) {
      SCOPED_TRACE(Describe(format) + ", " + std::to_string(frames) + " by " + std::to_string(in) + " to " +
                   std::to_string(out));
      Owned<Filter> filter;
      set(*filter);
      SinkAllocator allocator(out * format.blockAlign);
      TestGraph graph(*filter, format, {std::max<std::size_t>(in, 512)});
      ASSERT_EQ(allocator.TakeOver(graph, *filter), S_OK);
      const Bytes output = graph.Run(input, in);
      EXPECT_EQ(graph.outcome, S_OK);
      if (whole.empty()) whole = output;
      EXPECT_TRUE(output == whole) << output.size() << " bytes, not " << whole.size();
    }
  }
}

TEST_F(StretchFilter, SamplesDoNotDependOnTheSizesOfBuffers) {
  const struct {
    double transposition;
    bool keep;
    LONG accuracy, mode;
    FormatRecord format;
  } shifted[] = {
      {1.4983, true, 2, 6, MakeFormat(SampleFormat::kFloat32, 2, 22050)},
      {0.7937, true, 3, 12, MakeFormat(SampleFormat::kPcm16, 1, 22050)},
      {0.50191, true, 2, 16, MakeFormat(SampleFormat::kPcm32, 3, 8000)},
      {0.05, false, 2, 0, MakeFormat(SampleFormat::kFloat32, 1, 44100)},
      {19.0, false, 3, 0, MakeFormat(SampleFormat::kPcm8, 2, 44100)},
  };
  for (const auto& c : shifted) {
    ExpectSameInAnyBuffers<CQvPitchs>(c.format, [&](CQvPitchs& filter) {
      Shift(filter, c.transposition, c.keep);
      filter.SetAccuracy(c.accuracy);
      filter.SetMode(c.mode);
    });
  }
  const std::tuple<double, LONG, FormatRecord> stretched[] = {
      {50, 12, MakeFormat(SampleFormat::kFloat32, 1, 22050)}, {500, 16, MakeFormat(SampleFormat::kPcm16, 2, 22050)},
      {70, 6, MakeFormat(SampleFormat::kPcm32, 3, 11025)},    {117, 5, MakeFormat(SampleFormat::kPcm8, 2, 8000)},
      {100, 18, MakeFormat(SampleFormat::kFloat64, 1, 3)},
  };
  for (const auto& [percent, mode, format] : stretched) {
    ExpectSameInAnyBuffers<CQvTime>(format, [&, p = percent, m = mode](CQvTime& filter) {
      filter.SetPercent(p * 100);
      filter.SetMode(m);
    });
  }
}

TEST_F(StretchFilter, ADiscontinuityStartsAnewAndEmptyBuffersDoNothing) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 2, 22050);
  const Bytes old = NoiseBytes(format, 3000), fresh = NoiseBytes(format, 3000, 0.5, 2);
  const std::span<const std::uint8_t> parts(fresh);
  const auto run = [&](auto& filter, bool interrupted) {
    TestGraph graph(filter, format);
    EXPECT_EQ(graph.Start(), S_OK);
    const auto send = [&](std::span<const std::uint8_t> bytes, bool jump) {
      EXPECT_EQ(graph.Send(bytes, {0, jump, false}), S_OK);
    };
    if (interrupted) send(old, true);
    graph.sink->pin.received.clear();
    // Bytes past the last whole frame are dropped.
    send(parts.first(1003 * 8 + (interrupted ? 5 : 0)), true);
    if (interrupted) send({}, false);
    send(parts.subspan(1003 * 8), false);
    EXPECT_EQ(graph.source->pin.DeliverEndOfStream(), S_OK);
    return graph.sink->pin.received;
  };
  for (const bool keep : {false, true}) {
    Owned<CQvPitchs> one, other;
    Shift(*one, 1.5, keep);
    Shift(*other, 1.5, keep);
    EXPECT_TRUE(run(*one, true) == run(*other, false)) << keep;
  }
  Owned<CQvTime> one, other;
  Stretch(*one, 150);
  Stretch(*other, 150);
  EXPECT_TRUE(run(*one, true) == run(*other, false));
}

TEST_F(StretchFilter, StampsCountOutputFromTheLastDiscontinuity) {
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
  Owned<CQvTime> filter;
  Stretch(*filter, 100);
  TestGraph graph(*filter, format);
  std::string arrivals;
  graph.sink->pin.onReceive = [&](IMediaSample& sample) {
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
  ASSERT_EQ(graph.Start(), S_OK);
  for (const auto& row : rows) {
    ComPtr<IMediaSample> sample;
    ASSERT_EQ(graph.source->pin.GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0), S_OK);
    REFERENCE_TIME start = row.time, stop = row.time + 1;
    LONGLONG mediaStart = row.mediaTime, mediaStop = row.mediaTime + 1;
    if (row.time >= 0) sample->SetTime(&start, &stop);
    if (row.mediaTime >= 0) sample->SetMediaTime(&mediaStart, &mediaStop);
    sample->SetDiscontinuity(row.discontinuity);
    sample->SetSyncPoint(row.syncPoint);
    sample->SetActualDataLength(row.frames * 2);
    arrivals.clear();
    EXPECT_EQ(graph.source->pin.Deliver(sample.Get()), S_OK);
    EXPECT_EQ(arrivals, row.arrivals);
  }
}

TEST_F(StretchFilter, FailuresDownstreamEndTheCallWithTheirCode) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat64, 32, 8000);
  const Bytes noise = NoiseBytes(format, 2000);
  const std::size_t frame = format.blockAlign;
  const struct {
    const char* what;
    std::size_t bufferBytes;
    int refusesAfter;  // buffers given before one is refused; negative for never
    HRESULT answer;    // of the sink
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
    Owned<CQvTime> filter;
    Stretch(*filter, 200);
    SinkAllocator allocator(row.bufferBytes);
    TestGraph graph(*filter, format, {2000});
    ASSERT_EQ(allocator.TakeOver(graph, *filter), S_OK);
    graph.sink->pin.answer = row.answer;
    ASSERT_EQ(graph.Start(), S_OK);
    allocator.refusesAfter = row.refusesAfter;
    EXPECT_EQ(graph.Send(noise, {0, true, false}), row.received);
    EXPECT_EQ(graph.source->pin.DeliverEndOfStream(), row.ended);
    EXPECT_EQ(graph.sink->pin.events, row.events);
    // A buffer that is refused at the end leaves downstream without its end.
    allocator.refusesAfter = 0;
    EXPECT_EQ(graph.source->pin.DeliverEndOfStream(), VFW_E_TIMEOUT);
    EXPECT_EQ(graph.sink->pin.events, row.events);
  }
}

TEST_F(StretchFilter, WhatMustNotBeWrittenIsFilteredInACopy) {
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 1, 8000);
  const Bytes noise = NoiseBytes(format, 1000);
  for (const bool readOnly : {false, true}) {
    Owned<CQvPitchs> filter;
    Shift(*filter, 1.5, false);
    TestGraph graph(*filter, format, {.readOnly = readOnly});
    ASSERT_EQ(graph.Start(), S_OK);
    TestSample sample(noise);
    EXPECT_EQ(graph.input().Receive(&sample), S_OK);
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

TEST_F(StretchFilter, TakesAnotherFormatWhereDownstreamWould) {
  const FormatRecord stereo = MakeFormat(SampleFormat::kPcm16, 2, 44100),
                     mono = MakeFormat(SampleFormat::kPcm16, 1, 8000);
  CMediaType type, broken;
  type.SetWave(mono);
  broken.SetWave(stereo);
  platform::FreeTaskMemory(std::exchange(broken.get().pbFormat, nullptr));
  Owned<CQvPitchs> filter;
  CMediaType proposed;
  EXPECT_EQ(filter->GetMediaType(0, proposed), E_UNEXPECTED);
  TestGraph graph(*filter, stereo);
  ASSERT_EQ(graph.connected, S_OK);
  EXPECT_EQ(filter->GetMediaType(-1, proposed), E_INVALIDARG);
  EXPECT_EQ(filter->GetMediaType(1, proposed), VFW_S_NO_MORE_ITEMS);
  // A block that claims a length and is not there.
  EXPECT_EQ(filter->GetPin(0)->QueryAccept(&broken.get()), S_FALSE);
  EXPECT_EQ(filter->GetPin(1)->QueryAccept(&broken.get()), S_FALSE);

  graph.sink->pin.accept = [](const AM_MEDIA_TYPE&) { return E_FAIL; };
  EXPECT_EQ(filter->GetPin(0)->QueryAccept(&type.get()), S_FALSE);
  // A wrong block align is put right before downstream is asked.
  reinterpret_cast<FormatRecord*>(type.get().pbFormat)->blockAlign = 99;
  graph.sink->pin.accept = [](const AM_MEDIA_TYPE& offered) {
    return reinterpret_cast<const FormatRecord*>(offered.pbFormat)->blockAlign == 2 ? S_OK : E_FAIL;
  };
  EXPECT_EQ(filter->GetPin(0)->QueryAccept(&type.get()), S_OK);

  const auto connectAnew = [&] {
    graph.source->pin.Disconnect();
    filter->GetPin(0)->Disconnect();
    return graph.source->pin.Connect(filter->GetPin(0), &type.get());
  };
  EXPECT_EQ(connectAnew(), VFW_E_NOT_IN_GRAPH);
  Reconnector reconnector;
  filter->JoinFilterGraph(&reconnector, nullptr);
  EXPECT_EQ(connectAnew(), S_OK);
  EXPECT_EQ(reconnector.asked, static_cast<IPin*>(filter->GetPin(1)));
  // Until the graph gets round to it the change is announced on the first sample of every buffer.
  std::string announced;
  graph.sink->pin.onReceive = [&](IMediaSample& sample) {
    AM_MEDIA_TYPE* changed = nullptr;
    announced += sample.GetMediaType(&changed) == S_OK ? 'T' : '-';
    DeleteMediaType(changed);
    return S_OK;
  };
  ASSERT_EQ(graph.Start(), S_OK);
  filter->SetTransposition(0.05);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(graph.Send(NoiseBytes(mono, 2000), {0, i == 0, false}), S_OK);
  EXPECT_TRUE(announced.starts_with("T-") && announced.find("-T-") != std::string::npos) << announced;
  filter->JoinFilterGraph(nullptr, nullptr);
}

TEST_F(StretchFilter, AsksForBuffersOfFourTimesTheInputsSize) {
  constexpr LONG kMost = std::numeric_limits<LONG>::max();
  const std::tuple<LONG, HRESULT, LONG> rows[] = {
      {127, E_FAIL, 0}, {128, S_OK, 512}, {4096, S_OK, 16384}, {kMost / 2, S_OK, kMost}};
  for (const auto& [upstream, result, size] : rows) {
    Owned<CQvTime> filter;
    ComPtr<IMemAllocator> allocator;
    CreateMemoryAllocator(allocator.Put());
    ALLOCATOR_PROPERTIES properties{3, upstream, 16, 0};
    EXPECT_EQ(filter->DecideBufferSize(*allocator.Get(), properties), result);
    if (result != S_OK) continue;
    EXPECT_EQ(properties.cbBuffer, size);
    EXPECT_EQ(properties.cBuffers, 3);
  }
}

}  // namespace
}  // namespace korva
