#include <xmmintrin.h>

#include <ctime>

#include "bench_shared.h"
#include "reverb/reverb_engine.h"
#include "reverb/reverb_params.h"
#include "support/held_params.h"

namespace korva::bench {
namespace {

// The processor's flushing stays as a block of mode 0 leaves it, so every run puts it back.
struct KeepFlushBits {
  unsigned bits = _mm_getcsr();
  ~KeepFlushBits() { _mm_setcsr(bits); }
};

// Ten combs, both filters on.
struct Rig {
  explicit Rig(const FormatRecord& record) { engine.SetFormat(record); }

  HeldParams<ReverbParams> held{PresetBlock<ReverbParams>(kReverbEffect, 0)};
  ReverbEngine engine{held};
};

// All in the calling thread.
void Reverb(benchmark::State& state, const FormatRecord& record, bool vector) {
  const KeepFlushBits keep;
  Rig rig(record);
  rig.engine.UseVectorKernel(vector);
  rig.engine.UseThreads(1);
  rig.engine.ReverbReset();
  Bytes first = NoiseBuffer(record);
  RunBuffer(rig.engine, first, kFrames, ModeRestart);
  RunEngine(state, rig.engine, record);
}

// The dearest second of ten seconds of silence after loud noise. Without a restart block the vector kernel runs with
// the processor's flushing as it finds it.
void ReverbSilence(benchmark::State& state, SampleFormat format, bool vector, bool restart) {
  const KeepFlushBits keep;
  const FormatRecord record = MakeFormat(format, 2, kRate);
  double worst = 0;
  for (auto _ : state) {
    Rig rig(record);
    rig.held.block.decayTenths = 5;
    rig.held.block.highHz = 100;
    rig.engine.UseVectorKernel(vector);
    rig.engine.ReverbReset();
    Bytes buffer = NoiseBuffer(record, kRate, 1.0);
    RunBuffer(rig.engine, buffer, kRate, restart ? ModeRestart : ModeContinue);
    const Bytes silence = NoiseBuffer(record, kRate, 0.0);
    for (int second = 0; second < 10; ++second) {
      buffer = silence;
      const std::clock_t start = std::clock();
      RunBuffer(rig.engine, buffer, kRate);
      worst = std::max(worst, static_cast<double>(std::clock() - start) * 1e9 / CLOCKS_PER_SEC / kRate);
    }
  }
  state.counters["ns_per_frame"] = worst;
}

// What the caller waits, with a thread for each processor or all alone.
void ReverbShared(benchmark::State& state, std::uint16_t channels, std::uint32_t frames, bool team) {
  const FormatRecord record = MakeFormat(SampleFormat::kFloat32, channels, kRate);
  Rig rig(record);
  if (!team) rig.engine.UseThreads(1);
  rig.engine.ReverbReset();
  Bytes buffer = NoiseBuffer(record, frames);
  RunInPlace(state, frames, buffer, [&] { RunBuffer(rig.engine, buffer, frames); });
}

// Work that is none: sharing out and joining alone. A frame is one sharing.
void Share(benchmark::State& state) {
  ReverbTeam team;
  team.Start(platform::ProcessorCount());
  const auto nothing = [](void*, std::size_t first, std::size_t) { benchmark::DoNotOptimize(first); };
  RunRounds(state, 1, [&] { team.Run(6, nothing, nullptr); });
}

const bool registered = [] {
  for (const SampleFormat format : kAllFormats) {
    const auto add = [&](const char* name, std::uint16_t channels, bool vector) {
      Add(KernelName(name, format, channels),
          [=](auto& state) { Reverb(state, MakeFormat(format, channels, kRate), vector); });
    };
    add("reverb", 1, false);
    add("reverb/plain", 2, false);
    add("reverb/vector", 2, true);
    add("reverb", 6, false);
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
