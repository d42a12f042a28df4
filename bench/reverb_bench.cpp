#include <chrono>
#include <cstring>
#include <ctime>

#include "audio/process_mode.h"
#include "bench_shared.h"
#include "platform/denormals.h"
#include "reverb/reverb_engine.h"
#include "reverb/reverb_params.h"

namespace korva::bench {
namespace {

struct Source : ParamSource<ReverbParams> {
  bool FetchParams(ReverbParams& block) noexcept override {
    block = params;
    return false;
  }
  // Ten combs, both filters on.
  ReverbParams params = *static_cast<const ReverbParams*>(kReverbEffect.presets.Block(0));
};

// The processor's flushing stays as a block of mode 0 leaves it, so every run puts it back.
struct KeepFlushBits {
  unsigned bits = _mm_getcsr();
  ~KeepFlushBits() { _mm_setcsr(bits); }
};

void Process(ReverbEngine& engine, std::uint8_t* buffer, std::uint32_t frames, ProcessMode mode) {
  engine.ReverbProcess(mode, buffer, frames, false);
  benchmark::DoNotOptimize(buffer);
}

// All in the calling thread.
void Reverb(benchmark::State& state, SampleFormat format, std::uint16_t channels, bool vector) {
  const KeepFlushBits keep;
  const FormatRecord record = MakeFormat(format, channels, kRate);
  Source source;
  ReverbEngine engine(source);
  engine.UseVectorKernel(vector);
  engine.UseThreads(1);
  engine.SetFormat(record);
  engine.ReverbReset();
  auto first = NoiseBuffer(record, kFrames);
  Process(engine, first.data(), kFrames, ModeRestart);
  RunInPlace(state, NoiseBuffer(record, kFrames),
             [&](std::uint8_t* buffer) { Process(engine, buffer, kFrames, ModeContinue); });
}

// The dearest second of ten seconds of silence after loud noise. Without a restart block the vector kernel runs with
// the processor's flushing as it finds it.
void ReverbSilence(benchmark::State& state, SampleFormat format, bool vector, bool restart) {
  const KeepFlushBits keep;
  const FormatRecord record = MakeFormat(format, 2, kRate);
  double worst = 0;
  for (auto _ : state) {
    Source source;
    source.params.decayTenths = 5;
    source.params.highHz = 100;
    ReverbEngine engine(source);
    engine.UseVectorKernel(vector);
    engine.SetFormat(record);
    engine.ReverbReset();
    auto buffer = NoiseBuffer(record, kRate, 1.0);
    Process(engine, buffer.data(), kRate, restart ? ModeRestart : ModeContinue);
    const auto silence = NoiseBuffer(record, kRate, 0.0);
    for (int second = 0; second < 10; ++second) {
      buffer = silence;
      const std::clock_t start = std::clock();
      Process(engine, buffer.data(), kRate, ModeContinue);
      worst = std::max(worst, static_cast<double>(std::clock() - start) * 1e9 / CLOCKS_PER_SEC / kRate);
    }
  }
  state.counters["ns_per_frame"] = worst;
}

// By the clock on the wall: what the caller waits, with a thread for each processor or all alone.
void ReverbShared(benchmark::State& state, std::uint16_t channels, std::uint32_t frames, bool team) {
  const FormatRecord record = MakeFormat(SampleFormat::kFloat32, channels, kRate);
  Source source;
  ReverbEngine engine(source);
  if (!team) engine.UseThreads(1);
  engine.SetFormat(record);
  engine.ReverbReset();
  const auto input = NoiseBuffer(record, frames);
  auto buffer = input;
  Process(engine, buffer.data(), frames, ModeRestart);
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    std::memcpy(buffer.data(), input.data(), input.size());
    Process(engine, buffer.data(), frames, ModeContinue);
  }
  const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
  state.counters["ns_per_frame"] = taken.count() / (static_cast<double>(state.iterations()) * frames);
}

// Work that is none: sharing out and joining alone.
void Share(benchmark::State& state) {
  ReverbTeam team;
  team.Start(platform::ProcessorCount());
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    team.Run(
        6, [](void*, std::size_t first, std::size_t) { benchmark::DoNotOptimize(first); }, nullptr);
  }
  const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
  state.counters["ns_per_share"] = taken.count() / static_cast<double>(state.iterations());
}

const bool registered = [] {
  for (const SampleFormat format : kAllFormats) {
    for (const std::uint16_t channels : kChannelCounts) {
      const std::string name = channels == 2 ? "reverb/plain" : "reverb";
      Add(KernelName(name, format, channels), [=](auto& state) { Reverb(state, format, channels, false); });
    }
    Add(KernelName("reverb/vector", format, 2), [=](auto& state) { Reverb(state, format, 2, true); });
  }
  for (const SampleFormat format : {SampleFormat::kPcm16, SampleFormat::kFloat32}) {
    const auto add = [&](const std::string& name, bool vector, bool restart) {
      benchmark::RegisterBenchmark(KernelName("reverb-silence/" + name, format, 2).c_str(), ReverbSilence, format,
                                   vector, restart)
          ->Iterations(1);
    };
    add("plain", false, true);
    add("vector", true, true);
    add("vector-no-restart", true, false);
  }
  for (const std::uint16_t channels : {std::uint16_t{3}, std::uint16_t{6}}) {
    for (const std::uint32_t frames : {64U, 256U, 1024U, 4096U}) {
      for (const bool team : {false, true}) {
        const std::string name = std::to_string(channels) + "/" + std::to_string(frames);
        Add((team ? "reverb-team/f32/" : "reverb-alone/f32/") + name,
            [=](auto& state) { ReverbShared(state, channels, frames, team); });
      }
    }
  }
  Add("reverb-share", Share);
  return true;
}();

}  // namespace
}  // namespace korva::bench
