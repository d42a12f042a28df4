#include "bench_shared.h"
#include "delay/echomt/echomt_engine.h"
#include "delay/echomt/echomt_params.h"
#include "delay/echos/echos_engine.h"
#include "delay/echos/echos_params.h"
#include "platform/denormals.h"
#include "support/held_params.h"

namespace korva::bench {
namespace {

void SimpleDelay(benchmark::State& state, const FormatRecord& record) {
  const platform::FlushDenormals flush;  // as the frame runs them
  EchosEngine engine;
  engine.SetFormat(record);
  engine.UpdateEngine(PresetBlock<EchosParams>(kEchosEffect, 2), ModeRestart, nullptr);
  RunEngine(state, engine, record);
}

// Silence after noise. The recursion has no guard of its own: with a feedback of a half and more it would end in the
// smallest numbers that there are, and stay there.
void SimpleDelaySilence(benchmark::State& state, SampleFormat format, std::int32_t delayMs, double secondsBefore) {
  const FormatRecord record = MakeFormat(format, 2, kRate);
  auto params = PresetBlock<EchosParams>(kEchosEffect, 2);
  params.delayMs = delayMs;
  params.decayTenths = 1;
  EchosEngine engine;
  engine.SetFormat(record);
  engine.UpdateEngine(params, ModeRestart, nullptr);
  Bytes buffer = NoiseBuffer(record);
  RunBuffer(engine, buffer);
  const Bytes silence = NoiseBuffer(record, kFrames, 0);
  for (double done = 0; done < secondsBefore * kRate; done += kFrames) {
    buffer = silence;
    RunBuffer(engine, buffer);
  }
  const platform::FlushDenormals flush;
  RunEngine(state, engine, record, 0);
}

struct Motion {
  std::int32_t depth, lowPass = 0, shortest = 0;
};

void MultiTap(benchmark::State& state, const FormatRecord& record, const Motion& motion) {
  const platform::FlushDenormals flush;
  HeldParams held(PresetBlock<EchomtParams>(kEchomtEffect, 3));  // eight taps
  held.block.modDepth = motion.depth;
  held.block.lowPassEnabled = motion.lowPass;
  if (motion.shortest != 0) held.block.tapDelayMs[0] = motion.shortest;
  EchomtEngine engine(held);
  engine.SetFormat(record);
  engine.RestartEngine();
  RunEngine(state, engine, record);
}

const bool kRegistered = [] {
  const auto multiTap = [](Motion motion) {
    return [=](auto& state, const auto& record) { MultiTap(state, record, motion); };
  };
  AddStreams("simple-delay", SimpleDelay);
  AddStreams("multi-tap-delay/fixed", multiTap({0}));
  AddStreams("multi-tap-delay/modulated", multiTap({10}));
  const std::pair<const char*, Motion> others[] = {
      {"modulated+low-pass", {10, 1}}, {"fixed+low-pass", {0, 1}}, {"modulated-through-the-write-head", {100, 0, 1}}};
  for (const auto& [name, motion] : others) {
    Add("multi-tap-delay/" + std::string(name) + "/f32/2",
        [run = multiTap(motion)](auto& state) { run(state, MakeFormat(SampleFormat::kFloat32, 2, kRate)); });
  }
  for (const SampleFormat format : {SampleFormat::kPcm16, SampleFormat::kFloat32}) {
    const auto addSilence = [&](const std::string& name, std::int32_t delayMs, double secondsBefore) {
      Add(KernelName("simple-delay/silence-" + name, format, 2),
          [=](auto& state) { SimpleDelaySilence(state, format, delayMs, secondsBefore); });
    };
    addSilence("at-once", 1, 0);
    addSilence("after-30-s", 1, 30);
    addSilence("after-30-s-low-feedback", 100, 30);
  }
  return true;
}();

}  // namespace
}  // namespace korva::bench
