#include <vector>

#include "bench_shared.h"
#include "chorus/chorus_filter.h"
#include "delay/echos/echos_filter.h"
#include "support/owned.h"

namespace korva::bench {
namespace {

// Chunks with time moving forward through `segments` back-to-back segments on every parameter. What a chunk costs must
// not grow with their number.
void NextChunkForward(benchmark::State& state, std::int64_t segments) {
  Owned<CQvChorus> chorus;
  constexpr std::int64_t kLength = 1'000'000;  // 100 ms
  std::vector<MP_ENVELOPE_SEGMENT> course;
  for (std::int64_t i = 0; i < segments; ++i) {
    course.push_back({i * kLength, (i + 1) * kLength, 1, 1, MP_CURVE_LINEAR, 0});
  }
  for (DWORD row = 0; segments != 0 && row < kChorusEffect.rows.size(); ++row) {
    chorus->AddEnvelope(row, static_cast<DWORD>(segments), course.data());
  }
  chorus->StartTime(kRate);
  chorus->SetHostTime(0);
  std::uint32_t flags = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(chorus->NextChunk(kFrames, &flags, 1.0));
    if (segments != 0 && chorus->hostTime() >= segments * kLength) {
      // Walking back to the start is a seek, and may cost what it costs.
      state.PauseTiming();
      chorus->SetHostTime(0);
      chorus->NextChunk(1, &flags, 1.0);
      state.ResumeTiming();
    }
  }
}

// What a buffer costs beside its frames, by the direct road: it has one.
template <class Filter>
void FloatProcessCost(benchmark::State& state) {
  Owned<Filter> filter;
  filter->FloatStart(2, kRate);
  float frame[2] = {0.1F, -0.1F};
  RunRounds(state, 1, [&] {
    filter->FloatProcess(frame, 1, 0);
    frame[0] = 0.1F;
  });
  filter->FloatStop();
}

BENCHMARK(FloatProcessCost<CQvChorus>);
BENCHMARK(FloatProcessCost<CQvEchos>);
BENCHMARK_CAPTURE(NextChunkForward, none, 0);
BENCHMARK_CAPTURE(NextChunkForward, 10, 10);
BENCHMARK_CAPTURE(NextChunkForward, 10000, 10000);

}  // namespace
}  // namespace korva::bench
