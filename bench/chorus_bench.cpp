#include "bench_shared.h"
#include "chorus/chorus_engine.h"
#include "chorus/chorus_filter.h"
#include "chorus/chorus_params.h"
#include "support/held_params.h"
#include "support/test_graph.h"

namespace korva::bench {
namespace {

ChorusParams Voices(std::int32_t voices, bool lowPass) {
  auto block = PresetBlock<ChorusParams>(kChorusEffect, 0);
  block.chorusSize = voices;
  block.feedback = 20;
  block.attenuateHigh = lowPass ? 1 : 0;
  return block;
}

void Chorus(benchmark::State& state, const FormatRecord& record, const ChorusParams& block) {
  ChorusEngine engine;
  engine.Start(record);
  engine.FullRecompute(block, true, nullptr);
  RunEngine(state, engine, record);
}

// A whole buffer from the input pin to the pin downstream, which takes it and does nothing.
void ChorusReceive(benchmark::State& state, std::uint16_t channels, std::uint32_t frames) {
  const FormatRecord record = MakeFormat(SampleFormat::kFloat32, channels, kRate);
  Owned<CQvChorus> chorus;
  const ChorusParams block = Voices(3, true);
  chorus->SetParams(&block);
  TestGraph graph(*chorus, record);
  graph.sink->pin.keeps = false;
  graph.Start();
  TestSample sample(NoiseBuffer(record, frames));
  RunInPlace(state, frames, sample.data, [&] { graph.input().Receive(&sample); });
}

const bool registered = [] {
  for (const std::int32_t voices : {1, 3}) {
    const std::string name = "chorus" + std::to_string(voices);
    AddStreams(name, [=](auto& state, const auto& record) { Chorus(state, record, Voices(voices, true)); });
    Add(name + "_open/f32/2",
        [=](auto& state) { Chorus(state, MakeFormat(SampleFormat::kFloat32, 2, kRate), Voices(voices, false)); });
  }
  for (const std::uint32_t frames : {64U, 4096U}) {
    for (const std::uint16_t channels : kChannelCounts) {
      Add(KernelName("chorus3_receive" + std::to_string(frames), SampleFormat::kFloat32, channels),
          [=](auto& state) { ChorusReceive(state, channels, frames); });
    }
  }
  return true;
}();

}  // namespace
}  // namespace korva::bench
