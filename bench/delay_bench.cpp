#include <cstring>

#include "bench_shared.h"
#include "delay/echomt/echomt_engine.h"
#include "delay/echomt/echomt_params.h"
#include "delay/echos/echos_engine.h"
#include "delay/echos/echos_params.h"
#include "platform/denormals.h"

namespace korva::bench {
namespace {

struct Source : ParamSource<EchomtParams> {
  bool FetchParams(EchomtParams& block) noexcept override {
    block = params;
    return false;
  }
  EchomtParams params{};
};

template <class Engine>
void RunEngine(benchmark::State& state, Engine& engine, const Bytes& input) {
  const platform::FlushDenormals flush;  // as the frame runs them
  RunInPlace(state, input, [&](std::uint8_t* buffer) {
    std::uint32_t frames = kFrames;
    engine.Process(ModeContinue, buffer, frames, false);
  });
}

void SimpleDelay(benchmark::State& state, SampleFormat format, std::uint16_t channels) {
  const FormatRecord record = MakeFormat(format, channels, kRate);
  EchosParams params{};
  std::memcpy(&params, kEchosEffect.presets.Block(2), sizeof params);
  EchosEngine engine;
  engine.SetFormat(record);
  engine.UpdateEngine(params, ModeRestart, nullptr);
  RunEngine(state, engine, NoiseBuffer(record, kFrames));
}

// Silence after noise. The recursion has no guard of its own: with a feedback of a half and more it would end in the
// smallest numbers that there are, and stay there.
void SimpleDelaySilence(benchmark::State& state, SampleFormat format, std::int32_t delayMs, double secondsBefore) {
  const FormatRecord record = MakeFormat(format, 2, kRate);
  EchosParams params{};
  std::memcpy(&params, kEchosEffect.presets.Block(2), sizeof params);
  params.delayMs = delayMs;
  params.decayTenths = 1;
  EchosEngine engine;
  engine.SetFormat(record);
  engine.UpdateEngine(params, ModeRestart, nullptr);
  auto buffer = NoiseBuffer(record, kFrames);
  std::uint32_t frames = kFrames;
  engine.Process(ModeContinue, buffer.data(), frames, false);
  const auto silence = NoiseBuffer(record, kFrames, 0.0);
  for (double done = 0; done < secondsBefore * kRate; done += kFrames) {
    buffer = silence;
    engine.Process(ModeContinue, buffer.data(), frames, false);
  }
  RunEngine(state, engine, silence);
}

void MultiTap(benchmark::State& state, SampleFormat format, std::uint16_t channels, std::int32_t depth,
              std::int32_t lowPass, std::int32_t shortest) {
  const FormatRecord record = MakeFormat(format, channels, kRate);
  Source source;
  std::memcpy(&source.params, kEchomtEffect.presets.Block(3), sizeof source.params);  // eight taps
  source.params.modDepth = depth;
  source.params.lowPassEnabled = lowPass;
  if (shortest != 0) source.params.tapDelayMs[0] = shortest;
  EchomtEngine engine(source);
  engine.SetFormat(record);
  engine.RestartEngine();
  RunEngine(state, engine, NoiseBuffer(record, kFrames));
}

const bool kRegistered = [] {
  for (const SampleFormat format : kAllFormats) {
    for (const std::uint16_t channels : kChannelCounts) {
      Add(KernelName("simple-delay", format, channels), [=](auto& state) { SimpleDelay(state, format, channels); });
      Add(KernelName("multi-tap-delay/fixed", format, channels),
          [=](auto& state) { MultiTap(state, format, channels, 0, 0, 0); });
      Add(KernelName("multi-tap-delay/modulated", format, channels),
          [=](auto& state) { MultiTap(state, format, channels, 10, 0, 0); });
    }
  }
  Add("multi-tap-delay/modulated+low-pass/f32/2",
      [](auto& state) { MultiTap(state, SampleFormat::kFloat32, 2, 10, 1, 0); });
  Add("multi-tap-delay/fixed+low-pass/f32/2", [](auto& state) { MultiTap(state, SampleFormat::kFloat32, 2, 0, 1, 0); });
  Add("multi-tap-delay/modulated-through-the-write-head/f32/2",
      [](auto& state) { MultiTap(state, SampleFormat::kFloat32, 2, 100, 0, 1); });
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
