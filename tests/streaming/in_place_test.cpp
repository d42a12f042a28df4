#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "adding_filter.h"
#include "support/test_graph.h"

namespace korva {
namespace {

const FormatRecord kStereo = MakeFormat(SampleFormat::kPcm16, 2, 44100);

TEST(InPlace, SharesBuffersWhereverBothSidesAllowIt) {
  const struct {
    const char* what;
    GraphOptions options;
    bool shared;
  } rows[] = {
      {"upstream first", {256, false, false, false, false}, true},
      {"downstream first", {256, true, false, false, false}, true},
      {"upstream first, its own buffers", {256, false, false, true, false}, true},
      {"downstream first, upstream's own buffers", {256, true, false, true, false}, true},
      {"upstream first, read-only", {256, false, true, false, false}, false},
      {"downstream first, upstream read-only", {256, true, true, false, false}, false},
      {"upstream first, downstream insists", {256, false, false, false, true}, false},
      {"downstream first and insists, upstream yields", {256, true, false, false, true}, true},
      {"downstream first and insists, upstream's own", {256, true, false, true, true}, false},
      {"downstream insists, upstream read-only", {256, true, true, false, true}, false},
      {"read-only in the buffer that was offered", {256, true, true, false, false, true}, false},
      {"the same, and downstream insists", {256, true, true, false, true, true}, false},
  };
  for (const auto& row : rows) {
    const long before = CBaseObject::ObjectsActive();
    {
      Owned<AddingFilter> filter;
      TestGraph graph(*filter, kStereo, row.options);
      ASSERT_EQ(graph.connected, S_OK) << row.what;
      ALLOCATOR_PROPERTIES upstream{};
      ASSERT_TRUE(graph.source->pin.allocator());
      graph.source->pin.allocator()->GetProperties(&upstream);
      EXPECT_GE(upstream.cbBuffer, 1024) << row.what;
      EXPECT_EQ(filter->inputPin()->allocator().Get() == filter->outputPin()->allocator().Get(), row.shared)
          << row.what;
      const Bytes input = NoiseBytes(kStereo, 1000);
      Bytes expected = input;
      for (auto& byte : expected) ++byte;
      auto output = std::async(std::launch::async, [&] { return graph.Run(input, 256); });
      if (output.wait_for(std::chrono::seconds(5)) != std::future_status::ready) {
        ADD_FAILURE() << row.what << ": waits for a buffer that it holds";
        filter->Stop();
      }
      EXPECT_EQ(output.get(), expected) << row.what << ": " << graph.outcome;
      ASSERT_EQ(graph.sink->pin.arrivals.size(), 4U) << row.what;
      EXPECT_TRUE(graph.sink->pin.arrivals[0].discontinuity) << row.what;
      EXPECT_EQ(graph.sink->pin.arrivals[1].start, graph.TimeOf(256)) << row.what;
      EXPECT_EQ(filter->starts, 1);
      EXPECT_EQ(filter->stops, 1);
    }
    EXPECT_EQ(CBaseObject::ObjectsActive(), before) << row.what;
  }
}

TEST(InPlace, BuffersMeetWhatDownstreamRequires) {
  for (const bool downstreamFirst : {false, true}) {
    Owned<AddingFilter> filter;
    Owned<SourceFilter> source;
    Owned<SinkFilter> sink;
    source->pin.formats = {kStereo};
    sink->pin.requirements = {5, 8000, 64, 0};
    IPin* const in = filter->GetPin(0);
    IPin* const out = filter->GetPin(1);
    // Before upstream is there, there is nothing to propose.
    EXPECT_EQ(out->Connect(&sink->pin, nullptr), VFW_E_NO_ACCEPTABLE_TYPES);
    CMediaType type;
    type.SetWave(kStereo);
    for (const bool down : {downstreamFirst, !downstreamFirst}) {
      EXPECT_EQ(down ? out->Connect(&sink->pin, &type.get()) : source->pin.Connect(in, &type.get()), S_OK);
    }
    ALLOCATOR_PROPERTIES actual{};
    filter->outputPin()->allocator()->GetProperties(&actual);
    EXPECT_GE(actual.cbAlign, 64) << downstreamFirst;
    EXPECT_EQ(filter->outputPin()->allocator().Get(), sink->pin.allocator().Get());
    // A source that asks the input pin hears downstream's wishes; what it then decides is its own affair.
    ALLOCATOR_PROPERTIES heard{};
    EXPECT_EQ(filter->inputPin()->GetAllocatorRequirements(&heard), S_OK);
    EXPECT_EQ(heard.cBuffers, 5);
    for (IPin* pin : {in, out, static_cast<IPin*>(&source->pin), static_cast<IPin*>(&sink->pin)}) pin->Disconnect();
  }
}

TEST(InPlace, EventsPassInOrderAndAFlushTurnsSamplesAway) {
  Owned<AddingFilter> filter;
  TestGraph graph(*filter, kStereo);
  const Bytes bytes = NoiseBytes(kStereo, 16);
  EXPECT_EQ(graph.input().Receive(nullptr), E_POINTER);
  TestSample early(bytes);
  EXPECT_EQ(graph.input().Receive(&early), VFW_E_WRONG_STATE);
  ASSERT_EQ(graph.Start(), S_OK);
  SourcePin& source = graph.source->pin;
  EXPECT_EQ(source.DeliverNewSegment(0, 100, 1.0), S_OK);
  EXPECT_EQ(graph.Send(bytes), S_OK);
  EXPECT_EQ(source.DeliverBeginFlush(), S_OK);
  EXPECT_EQ(graph.Send(bytes), S_FALSE);
  EXPECT_EQ(source.DeliverEndOfStream(), S_FALSE);
  EXPECT_EQ(source.DeliverEndFlush(), S_OK);
  EXPECT_EQ(graph.Send(bytes), S_OK);
  EXPECT_EQ(source.DeliverEndOfStream(), S_OK);
  EXPECT_EQ(graph.sink->pin.events, "segment sample flush flushed sample end ");
  // A runtime error holds until a flush.
  filter->inputPin()->SetRuntimeError();
  EXPECT_EQ(graph.Send(bytes), VFW_E_RUNTIME_ERROR);
  source.DeliverBeginFlush();
  source.DeliverEndFlush();
  EXPECT_EQ(graph.Send(bytes), S_OK);
  // What downstream says comes back as it is.
  graph.sink->pin.answer = VFW_E_SAMPLE_REJECTED;
  EXPECT_EQ(graph.Send(bytes), VFW_E_SAMPLE_REJECTED);
  graph.Stop();
  EXPECT_EQ(graph.input().Receive(&early), VFW_E_WRONG_STATE);
  filter->GetPin(1)->Disconnect();
  EXPECT_EQ(graph.input().Receive(&early), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(early.references, 0U);
}

TEST(InPlace, StatesStartAndStopTheStreamOnce) {
  Owned<AddingFilter> filter;
  {
    // Without both connections a filter follows the graph's state and does nothing.
    EXPECT_EQ(filter->Pause(), S_OK);
    EXPECT_EQ(filter->state(), State_Paused);
    EXPECT_EQ(filter->Stop(), S_OK);
    EXPECT_EQ(filter->starts, 0);
  }
  TestGraph graph(*filter, kStereo);
  filter->startResult = E_OUTOFMEMORY;
  EXPECT_EQ(graph.Start(), E_OUTOFMEMORY);
  EXPECT_TRUE(filter->IsStopped());
  filter->startResult = S_OK;
  EXPECT_EQ(filter->Pause(), S_OK);
  EXPECT_EQ(filter->Run(0), S_OK);
  EXPECT_EQ(filter->Pause(), S_OK);
  EXPECT_EQ(filter->Stop(), S_OK);
  EXPECT_EQ(filter->Stop(), S_OK);
  EXPECT_EQ(filter->starts, 2);
  EXPECT_EQ(filter->stops, 1);
  FILTER_STATE state = State_Running;
  EXPECT_EQ(filter->GetState(0, &state), S_OK);
  EXPECT_EQ(state, State_Stopped);
}

// The streaming thread waits inside the filter for a buffer that downstream holds, with the receive lock taken.
TEST(InPlace, StopWakesAStreamThatWaitsForABuffer) {
  for (int round = 0; round < 5; ++round) {
    Owned<AddingFilter> filter;
    GraphOptions options;
    options.upstreamOwns = true;
    options.downstreamInsists = true;
    TestGraph graph(*filter, kStereo, options);
    ASSERT_EQ(graph.connected, S_OK);
    std::vector<ComPtr<IMediaSample>> kept;
    graph.sink->pin.onReceive = [&](IMediaSample& sample) {
      kept.emplace_back(&sample);
      return S_OK;
    };
    ASSERT_EQ(graph.Start(), S_OK);
    std::atomic<int> sent{0};
    HRESULT last = S_OK;
    std::thread stream([&] {
      const Bytes bytes = NoiseBytes(kStereo, 16);
      while (last == S_OK) {
        last = graph.Send(bytes);
        ++sent;
      }
    });
    while (sent < 2) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(filter->Stop(), S_OK);
    stream.join();
    EXPECT_TRUE(FAILED(last));
    EXPECT_EQ(filter->stops, 1);
    kept.clear();
  }
}

}  // namespace
}  // namespace korva
