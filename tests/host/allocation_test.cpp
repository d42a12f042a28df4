// The sanitizers bring an allocator of their own, which nobody may count in.
#ifndef KORVA_SANITIZED

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "frame/row_values.h"
#include "host/effect_table.h"
#include "host/parameter_text.h"
#include "support/counted_calls.h"
#include "support/test_graph.h"

namespace korva {
namespace {

/// Effects that build their lines anew for any whole block, and rows of the others that do so.
const std::set<std::string> kRebuilds = {"reverb", "pitch-shift", "time-stretch", "simple-delay delay",
                                         "multi-tap-delay mod-depth"};

bool Rebuilds(const EffectDescription& effect, const ParamDescriptor& row) {
  const std::string name = std::string(effect.name) + " " + row.name;
  return kRebuilds.count(effect.name) + kRebuilds.count(name) != 0 || name.starts_with("multi-tap-delay tap-delay-");
}

// Whole buffers of a stream in a graph, while every value that needs no new memory moves.
TEST(Allocation, ARunningStreamTakesNoMemory) {
  for (const EffectRow& effect : EffectTable()) {
    const EffectDescription& description = effect.description;
    const Outcome<EffectInstance> instance = CreateEffect(effect);
    ASSERT_TRUE(instance);
    ParameterBlock block = ReadBlock(*instance);
    for (const SampleFormat sampleFormat : kAllFormats) {
      const FormatRecord format = MakeFormat(sampleFormat, 2, 44100);
      const Bytes noise = NoiseBytes(format, 4096);
      TestGraph graph(dynamic_cast<CTransformFilter&>(*instance->filter.Get()), format);
      graph.sink->pin.keeps = false;
      ASSERT_GT(CountedCalls([&] { EXPECT_EQ(graph.Start(), S_OK); }).requests, 0);
      for (int i = 0; i < 8; ++i) graph.Send(noise, {.discontinuity = i == 0});
      const auto requests = [&] { return CountedCalls([&] { graph.Send(noise); }).requests; };
      EXPECT_EQ(requests(), 0) << description.name;
      for (const ParamDescriptor& row : description.rows) {
        if (Rebuilds(description, row)) continue;
        // To its other end and back.
        const double was = LoadDisplayValue(row, block.data());
        for (const double value : {static_cast<double>(row.info.mpdMaxValue), was}) {
          StoreDisplayValue(row, block.data(), value);
          instance->parameters->WriteBlock(block.data());
          EXPECT_EQ(requests(), 0) << description.name << " " << row.name;
        }
      }
    }
  }
}

}  // namespace
}  // namespace korva

#endif
