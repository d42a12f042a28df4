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
  return true;
}();

}  // namespace
}  // namespace korva::bench
