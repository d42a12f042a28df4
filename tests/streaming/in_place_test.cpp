#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "adding_filter.h"
#include "support/test_graph.h"

namespace korva {
namespace {

/// Whatever a test refused or broke off, nothing of it may be left.
class NothingLeft final : public testing::Environment {
  void TearDown() override { EXPECT_EQ(CBaseObject::ObjectsActive(), 0); }
};
const testing::Environment* const nothingLeft = testing::AddGlobalTestEnvironment(new NothingLeft);

TEST(InPlace, SharesBuffersWhereverBothSidesAllowIt) {
  const struct {
    const char* what;
    GraphOptions options;
    bool shared;
  } rows[] = {
      {"upstream first", {256}, true},
      {"downstream first", {256, true, false, false, false}, true},
      {"upstream first, its own buffers", {256, false, false, true, false}, true},
      {"downstream first, upstream's own buffers", {256, true, false, true, false}, true},
      {"upstream first, read-only", {256, false, true, false, false}, false},
      {"downstream first, upstream read-only", {256, true, true, false, false}, false},
      {"upstream first, downstream insists", {256, false, false, false, true}, false},
      {"downstream first and insists, upstream yields", {256, true, false, false, true}, true},
      {"downstream first and insists, upstream's own", {256, true, false, true, true}, false},
      {"read-only in the buffer that was offered", {256, true, true, false, false, true}, false},
      {"the same, and downstream insists", {256, true, true, false, true, true}, false},
  };
  const Bytes input = NoiseBytes(kStereo, 1000);
  Bytes expected = input;
  for (auto& byte : expected) ++byte;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Owned<AddingFilter> filter;
    TestGraph graph(*filter, kStereo, row.options);
    ASSERT_EQ(graph.connected, S_OK);
    EXPECT_EQ(filter->inputPin()->allocator().Get() == filter->outputPin()->allocator().Get(), row.shared);
    auto output = std::async(std::launch::async, [&] { return graph.Run(input, 256); });
    if (output.wait_for(std::chrono::seconds(5)) != std::future_status::ready) {
      ADD_FAILURE() << "waits for a buffer that it holds";
      filter->Stop();
    }
    EXPECT_EQ(output.get(), expected) << graph.outcome;
    ASSERT_EQ(graph.sink->pin.arrivals.size(), 4U);
    EXPECT_TRUE(graph.sink->pin.arrivals[0].discontinuity);
    EXPECT_EQ(graph.sink->pin.arrivals[1].start, graph.TimeOf(256));
  }
}

TEST(InPlace, BuffersMeetWhatDownstreamRequires) {
  for (const bool downstreamFirst : {false, true}) {
    LoosePins pins;
    pins.source.formats = {kStereo};
    pins.sink.requirements = {5, 8000, 64, 0};
    // Before upstream is there, there is nothing to propose.
    EXPECT_EQ(pins.out->Connect(&pins.sink, nullptr), VFW_E_NO_ACCEPTABLE_TYPES);
    for (const bool down : {downstreamFirst, !downstreamFirst}) {
      EXPECT_EQ(down ? pins.out->Connect(&pins.sink, AudioType()) : pins.source.Connect(pins.in, AudioType()), S_OK);
    }
    const auto used = pins.filter->outputPin()->allocator();
    ALLOCATOR_PROPERTIES actual{}, heard{};
    used->GetProperties(&actual);
    EXPECT_GE(actual.cbAlign, 64) << downstreamFirst;
    EXPECT_EQ(used.Get(), pins.sink.allocator().Get());
    EXPECT_EQ(used.Get(), pins.filter->inputPin()->allocator().Get());
    // A source that asks the input pin hears downstream's wishes; what it then decides is its own affair.
    EXPECT_EQ(pins.filter->inputPin()->GetAllocatorRequirements(&heard), S_OK);
    EXPECT_EQ(heard.cBuffers, 5);
  }
}

TEST(InPlace, EventsPassInOrderAndAnswersComeBack) {
  Owned<AddingFilter> filter;
  TestGraph graph(*filter, kStereo);
  const Bytes bytes = NoiseBytes(kStereo, 16);
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
  graph.sink->pin.answer = VFW_E_SAMPLE_REJECTED;
  EXPECT_EQ(graph.Send(bytes), VFW_E_SAMPLE_REJECTED);
  graph.Stop();
  filter->GetPin(1)->Disconnect();
  TestSample late(bytes);
  EXPECT_EQ(graph.input().Receive(&late), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(late.references, 0U);
}

TEST(InPlace, StatesStartAndStopTheStreamOnce) {
  Owned<AddingFilter> filter;
  // Without both connections a filter follows the graph's state and does nothing.
  EXPECT_EQ(filter->Pause(), S_OK);
  EXPECT_EQ(filter->state(), State_Paused);
  EXPECT_EQ(filter->Stop(), S_OK);
  EXPECT_EQ(filter->starts, 0);
  TestGraph graph(*filter, kStereo);
  filter->startResult = E_OUTOFMEMORY;
  EXPECT_EQ(graph.Start(), E_OUTOFMEMORY);
  EXPECT_TRUE(filter->IsStopped());
  filter->startResult = S_OK;
  EXPECT_EQ(filter->Pause(), S_OK);
  EXPECT_EQ(filter->Run(0), S_OK);
  EXPECT_EQ(filter->Pause(), S_OK);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(filter->Stop(), S_OK);
  EXPECT_EQ(filter->starts, 2);
  EXPECT_EQ(filter->stops, 1);
}

// The streaming thread waits inside the filter for a buffer that downstream holds, with the receive lock taken.
TEST(InPlace, StopWakesAStreamThatWaitsForABuffer) {
  Owned<AddingFilter> filter;
  TestGraph graph(*filter, kStereo, {.upstreamOwns = true, .downstreamInsists = true});
  ASSERT_EQ(graph.connected, S_OK);
  std::vector<ComPtr<IMediaSample>> kept;
  graph.sink->pin.onReceive = [&](IMediaSample& sample) {
    kept.emplace_back(&sample);
    return S_OK;
  };
  for (int round = 0; round < 5; ++round) {
    ASSERT_EQ(graph.Start(), S_OK);
    auto stream = std::async(std::launch::async, [&] {
      HRESULT sent = S_OK;
      while (sent == S_OK) sent = graph.Send(NoiseBytes(kStereo, 16));
      return sent;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(filter->Stop(), S_OK);
    EXPECT_TRUE(FAILED(stream.get()));
    kept.clear();
    graph.Stop();
  }
}

}  // namespace
}  // namespace korva
