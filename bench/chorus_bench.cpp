#include "bench_shared.h"
#include "chorus/chorus_engine.h"
#include "chorus/chorus_filter.h"
#include "chorus/chorus_params.h"
#include "support/test_graph.h"

namespace korva::bench {
namespace {

ChorusParams Voices(std::int32_t voices, bool lowPass) {
  ChorusParams block = *static_cast<const ChorusParams*>(kChorusEffect.presets.Block(0));
  block.chorusSize = voices;
  block.feedback = 20;
  block.attenuateHigh = lowPass ? 1 : 0;
  return block;
}

void Chorus(benchmark::State& state, SampleFormat format, std::uint16_t channels, std::int32_t voices, bool lowPass) {
  const FormatRecord record = MakeFormat(format, channels, kRate);
  ChorusEngine engine;
  engine.Start(record);
  engine.FullRecompute(Voices(voices, lowPass), true, nullptr);
  RunInPlace(state, NoiseBuffer(record, kFrames), [&](std::uint8_t* buffer) { engine.Process(buffer, kFrames); });
}

// Silence after loud noise: what is left in the lines and filters must not slow the processor down.
void ChorusSilence(benchmark::State& state, SampleFormat format) {
  const FormatRecord record = MakeFormat(format, 2, kRate);
  ChorusEngine engine;
  engine.Start(record);
  engine.FullRecompute(Voices(3, true), true, nullptr);
  auto noise = NoiseBuffer(record, kFrames);
  engine.Process(noise.data(), kFrames);
  RunInPlace(state, NoiseBuffer(record, kFrames, 0), [&](std::uint8_t* buffer) { engine.Process(buffer, kFrames); });
}

// A whole buffer from the input pin to the pin downstream, which takes it and does nothing.
void ChorusReceive(benchmark::State& state, SampleFormat format, std::uint16_t channels, std::uint32_t frames) {
  const FormatRecord record = MakeFormat(format, channels, kRate);
  Owned<CQvChorus> chorus;
  const ChorusParams block = Voices(3, true);
  chorus->SetParams(&block);
  TestGraph graph(*chorus, record);
  graph.sink->pin.keeps = false;
  graph.Start();
  TestSample sample(NoiseBuffer(record, frames));
  const auto input = sample.data;
  FrameTimer timer;
  for (auto _ : state) {
    std::memcpy(sample.data.data(), input.data(), input.size());
    graph.input().Receive(&sample);
    timer.Worked(frames);
  }
  timer.Report(state);
}

const bool registered = [] {
  for (const std::int32_t voices : {1, 3}) {
    const std::string name = "chorus" + std::to_string(voices);
    for (const SampleFormat format : kAllFormats) {
      for (const std::uint16_t channels : kChannelCounts) {
        Add(KernelName(name, format, channels), [=](auto& state) { Chorus(state, format, channels, voices, true); });
      }
    }
    Add(name + "_open/f32/2", [=](auto& state) { Chorus(state, SampleFormat::kFloat32, 2, voices, false); });
  }
  for (const SampleFormat format : {SampleFormat::kFloat32, SampleFormat::kFloat64}) {
    Add(KernelName("chorus3_silence", format, 2), [=](auto& state) { ChorusSilence(state, format); });
  }
  for (const std::uint32_t frames : {64U, 4096U}) {
    for (const std::uint16_t channels : kChannelCounts) {
      Add(KernelName("chorus3_receive" + std::to_string(frames), SampleFormat::kFloat32, channels),
          [=](auto& state) { ChorusReceive(state, SampleFormat::kFloat32, channels, frames); });
    }
  }
  return true;
}();

}  // namespace
}  // namespace korva::bench
