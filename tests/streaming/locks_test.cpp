#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "adding_filter.h"
#include "support/asking.h"
#include "support/test_graph.h"

namespace korva {
namespace {

constexpr auto kPatience = std::chrono::seconds(5);

// A renderer that asks upstream from inside a call of ours, or seeks there, while a host's stop holds the filter lock.
TEST(Locks, WhatDownstreamDoesInACallWaitsForNoStateChange) {
  const Bytes bytes = NoiseBytes(kStereo, 16);
  const struct {
    const char* call;
    std::function<void(TestGraph&)> make;
  } rows[] = {
      {"sample ", [&](TestGraph& graph) { graph.Send(bytes); }},
      {"end ", [](TestGraph& graph) { graph.source->pin.DeliverEndOfStream(); }},
      {"flush ", [](TestGraph& graph) { graph.source->pin.DeliverBeginFlush(); }},
      {"flushed ", [](TestGraph& graph) { graph.source->pin.DeliverEndFlush(); }},
      {"segment ", [](TestGraph& graph) { graph.source->pin.DeliverNewSegment(0, 100, 1.0); }},
  };
  for (const auto& row : rows) {
    for (const bool seeks : {false, true}) {
      Owned<AddingFilter> filter;
      TestGraph graph(*filter, kStereo);
      ASSERT_EQ(graph.Start(), S_OK);
      bool entered = false;
      std::promise<void> inside, stopping, asked;
      const auto held = stopping.get_future(), answered = asked.get_future();
      const auto within = [](const std::future<void>& event) {
        return event.wait_for(kPatience) == std::future_status::ready;
      };
      filter->onStop = [&] {
        stopping.set_value();
        return within(answered);
      };
      graph.sink->pin.onEvent = [&](const std::string& event) {
        if (event != row.call || std::exchange(entered, true)) return;
        inside.set_value();
        EXPECT_TRUE(within(held)) << row.call << "keeps a stop from its lock";
        EXPECT_TRUE(AskUpstream(*filter->GetPin(1)));
        if (seeks) {
          graph.source->pin.DeliverBeginFlush();
          graph.source->pin.DeliverEndFlush();
          graph.source->pin.DeliverNewSegment(0, 100, 1.0);
        }
        asked.set_value();
      };
      std::thread host([&, reached = inside.get_future()] {
        EXPECT_TRUE(within(reached));
        EXPECT_EQ(filter->Stop(), S_OK) << row.call << (seeks ? "and a seek" : "") << " waited for the stop";
      });
      row.make(graph);
      host.join();
      filter->onStop = nullptr;
    }
  }
}

// What is asked at any time is whole, and lives as long as the one who asked needs it.
TEST(Locks, AskingWhileConnectionsComeAndGo) {
  const Bytes bytes = NoiseBytes(kStereo, 64);
  for (int round = 0; round < 50; ++round) {
    Owned<AddingFilter> filter;
    std::atomic<bool> done{false};
    std::thread neighbour([&] {
      while (!done) EXPECT_TRUE(AskUpstream(*filter->GetPin(1)));
    });
    for (int i = 0; i < 4; ++i) {
      GraphOptions options;
      options.downstreamFirst = i % 2 != 0;
      options.readOnly = i == 2;
      TestGraph graph(*filter, kStereo, options);
      EXPECT_EQ(graph.connected, S_OK);
      EXPECT_EQ(graph.Run(bytes, 16).size(), bytes.size());
    }
    done = true;
    neighbour.join();
  }
}

}  // namespace
}  // namespace korva
