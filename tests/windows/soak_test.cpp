#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "chorus/chorus_params.h"
#include "graph_kit.h"
#include "module/class_table.h"
#include "registered_module.h"
#include "usage.h"

namespace korva {
namespace {

/// The life of a graph: joined by turns in one way and the other, run, paused, stopped, run again, flushed, taken
/// apart. `classId` null: with no filter between source and sink.
void OneRound(int round, const CLSID* classId) {
  Graph graph;
  const ComPtr<StreamSource> source(new StreamSource(MakeNoise(SampleFormat::kPcm16, 2, 400), {100}));
  const ComPtr<WaitingSink> sink(new WaitingSink);
  const auto effect = classId != nullptr ? CreateRegistered<IBaseFilter>(*classId) : ComPtr<IBaseFilter>();
  std::vector<IBaseFilter*> chain;
  if (effect) chain.push_back(effect.Get());
  ASSERT_EQ(graph.Chain(*source.Get(), chain, *sink.Get(), round % 2 == 0), S_OK);
  sink->pin.blockAt = round % 4 == 0 ? 0 : WaitingPin::kNever;
  ASSERT_EQ(graph.Run(), S_OK);
  if (round % 4 == 0) {
    ASSERT_TRUE(sink->pin.WaitUntilBlocked());
    source->pin.Seek(300);
  }
  if (round % 3 != 0) {
    ASSERT_TRUE(sink->pin.WaitForEnd());
  }
  ASSERT_EQ(graph.Pause(), S_OK);
  ASSERT_EQ(graph.Stop(), S_OK);
  ASSERT_EQ(graph.Run(), S_OK);
  if (round % 5 == 0 && effect) {
    ASSERT_EQ(graph.Stop(), S_OK);
    ASSERT_EQ(graph->RemoveFilter(effect.Get()), S_OK);
  }
}

Usage GrowthOver(int rounds, bool withFilters) {
  const auto classes = ClassTable();
  const Usage before = Usage::Now();
  for (int i = 0; i < rounds && !testing::Test::HasFatalFailure(); ++i) {
    OneRound(i, withFilters ? &classes[static_cast<std::size_t>(i) % classes.size()].classId : nullptr);
    EXPECT_EQ(RegisteredModule().CanUnloadNow(), S_OK) << "round " << i;
  }
  return Usage::Now() - before;
}

TEST(Soak, AThousandRoundsLeaveNothing) {
  constexpr int kRounds = 1000;
  GrowthOver(100, true);
  // What the system's graph and this program's threads keep is none of the module's.
  const Usage without = GrowthOver(kRounds, false);
  const Usage growth = GrowthOver(kRounds, true) - without;
  EXPECT_LE(growth.handles, 0);
  EXPECT_LE(growth.bytes, 4096);
  RecordProperty("bytes", std::to_string(growth.bytes));
  RecordProperty("bytesWithoutFilter", std::to_string(without.bytes));
}

}  // namespace
}  // namespace korva
