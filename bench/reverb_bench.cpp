#include <xmmintrin.h>

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
  return true;
}();

}  // namespace
}  // namespace korva::bench
