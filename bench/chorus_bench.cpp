#include <cstring>

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

// Works in place, so each round starts from a fresh copy of the input; the copy counts.
void Chorus(benchmark::State& state, SampleFormat format, std::uint16_t channels, std::int32_t voices, bool lowPass) {
  const FormatRecord record = MakeFormat(format, channels, kRate);
  ChorusEngine engine;
  engine.Start(record);
  engine.FullRecompute(Voices(voices, lowPass), true, nullptr);
  const auto input = NoiseBuffer(record, kFrames);
  auto buffer = input;
  FrameTimer timer;
  for (auto _ : state) {
    std::memcpy(buffer.data(), input.data(), input.size());
    engine.Process(buffer.data(), kFrames);
    benchmark::DoNotOptimize(buffer.data());
    timer.Worked(kFrames);
  }
  timer.Report(state);
}

// Silence after loud noise: what is left in the lines and filters must not slow the processor down.
void ChorusSilence(benchmark::State& state, SampleFormat format) {
  const FormatRecord record = MakeFormat(format, 2, kRate);
  ChorusEngine engine;
  engine.Start(record);
  engine.FullRecompute(Voices(3, true), true, nullptr);
  auto buffer = NoiseBuffer(record, kFrames);
  engine.Process(buffer.data(), kFrames);
  const auto silence = NoiseBuffer(record, kFrames, 0);
  FrameTimer timer;
  for (auto _ : state) {
    std::memcpy(buffer.data(), silence.data(), silence.size());
    engine.Process(buffer.data(), kFrames);
    benchmark::DoNotOptimize(buffer.data());
    timer.Worked(kFrames);
  }
  timer.Report(state);
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
    for (const SampleFormat format : kAllFormats) {
      for (const std::uint16_t channels : kChannelCounts) {
        const std::string name = "chorus" + std::to_string(voices);
        benchmark::RegisterBenchmark(KernelName(name, format, channels).c_str(), Chorus, format, channels, voices,
                                     true);
      }
    }
  }
  for (const std::int32_t voices : {1, 3}) {
    const std::string name = "chorus" + std::to_string(voices) + "_open";
    benchmark::RegisterBenchmark(KernelName(name, SampleFormat::kFloat32, 2).c_str(), Chorus, SampleFormat::kFloat32,
                                 std::uint16_t{2}, voices, false);
  }
  for (const SampleFormat format : {SampleFormat::kFloat32, SampleFormat::kFloat64}) {
    benchmark::RegisterBenchmark(KernelName("chorus3_silence", format, 2).c_str(), ChorusSilence, format);
  }
  for (const std::uint32_t frames : {64U, 4096U}) {
    const std::string name = "chorus3_receive" + std::to_string(frames);
    for (const std::uint16_t channels : kChannelCounts) {
      benchmark::RegisterBenchmark(KernelName(name, SampleFormat::kFloat32, channels).c_str(), ChorusReceive,
                                   SampleFormat::kFloat32, channels, frames);
    }
  }
  return true;
}();

}  // namespace
}  // namespace korva::bench
