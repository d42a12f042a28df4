#include <cmath>
#include <utility>
#include <vector>

#include "bench_shared.h"
#include "pitchtime/anti_alias.h"
#include "pitchtime/offset_search.h"
#include "pitchtime/pitchs_engine.h"
#include "pitchtime/pitchs_params.h"
#include "pitchtime/time_engine.h"
#include "pitchtime/time_params.h"

// Per input frame throughout: that is what a stream brings, whatever its length becomes.
namespace korva::bench {
namespace {

// Long enough that blocks of every mode come round many times.
constexpr std::uint32_t kStreamFrames = 10 * kRate;

template <class Block>
struct FixedParams : ParamSource<Block> {
  Block block;
  explicit FixedParams(const EffectDescription& effect) : block(*static_cast<const Block*>(effect.recordStart)) {}
  bool FetchParams(Block& out) noexcept override {
    out = block;
    return false;
  }
};

/// Voices that drift over a little noise: noise alone has no best offset, and a plain tone too many.
std::vector<std::uint8_t> MusicBuffer(const FormatRecord& record, std::uint32_t frames) {
  std::vector<std::uint8_t> bytes = NoiseBuffer(record, frames, 0.03);
  VisitFormat(*SampleFormatOf(record), [&](auto policy) {
    using Format = decltype(policy);
    auto* sample = reinterpret_cast<typename Format::Sample*>(bytes.data());
    for (std::uint32_t i = 0; i < frames; ++i) {
      const double t = i * 6.283185307179586 / kRate;
      for (int c = 0; c < record.channels; ++c, ++sample) {
        double voices = 0;
        for (const double hz : {110.0, 164.8, 220.7, 329.6, 987.8}) voices += std::sin(t * hz * (1 + t * 1e-4) + c);
        *sample = Format::Write(0.1 * voices * (0.7 + 0.3 * std::sin(t * 3)) + Format::Read(*sample));
      }
    }
  });
  return bytes;
}

void RunEngine(benchmark::State& state, StretchEngine& engine, const FormatRecord& record) {
  const auto source = MusicBuffer(record, kStreamFrames);
  std::vector<std::uint8_t> buffer(std::size_t{kFrames} * record.blockAlign);
  std::vector<std::uint8_t> out(std::size_t{4} * kFrames * record.blockAlign);
  engine.Start(record);
  std::size_t at = 0;
  // Whole passes: the work comes in hops.
  FrameTimer timer(kStreamFrames / kFrames * kFrames);
  for (auto _ : state) {
    std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(at), buffer.size(), buffer.begin());
    at += buffer.size();
    if (at + buffer.size() > source.size()) at = 0;
    engine.PrepareInput(ModeContinue, buffer.data(), kFrames);
    std::uint32_t left = kFrames;
    const std::uint8_t* from = buffer.data();
    while (left != 0) {
      std::uint32_t taken = left, written = 4 * kFrames;
      engine.Process(ModeContinue, from, &taken, out.data(), &written);
      from += std::size_t{taken} * record.blockAlign;
      left -= taken;
    }
    benchmark::ClobberMemory();
    timer.Worked(kFrames);
  }
  timer.Report(state);
}

void RunTime(benchmark::State& state, SampleFormat format, std::uint16_t channels, std::int32_t mode) {
  FixedParams<TimeParams> params(kTimeEffect);
  params.block.mode = mode;
  params.block.percentTimes100 = 15000.0;
  TimeEngine engine(params);
  RunEngine(state, engine, MakeFormat(format, channels, kRate));
}

struct PitchSetting {
  std::int32_t accuracy;
  bool keep, filter;
};

void RunPitch(benchmark::State& state, SampleFormat format, std::uint16_t channels, PitchSetting setting) {
  FixedParams<PitchsParams> params(kPitchsEffect);
  params.block.transposition = TranspositionOf(4, 0);
  params.block.accuracy = setting.accuracy;
  params.block.preserveDuration = setting.keep ? 1 : 0;
  params.block.antiAlias = setting.filter ? 1 : 0;
  PitchsEngine engine(params);
  RunEngine(state, engine, MakeFormat(format, channels, kRate));
}

void RunFilter(benchmark::State& state, SampleFormat format, std::uint16_t channels) {
  AntiAliasFilter filter;
  filter.DesignAntiAlias(0.4);
  auto buffer = NoiseBuffer(MakeFormat(format, channels, kRate), kFrames);
  FrameTimer timer;
  for (auto _ : state) {
    filter.FilterInPlace(format, buffer.data(), channels, kFrames);
    benchmark::ClobberMemory();
    timer.Worked(kFrames);
  }
  timer.Report(state);
}

const bool kRegistered = [] {
  for (const SampleFormat format : kAllFormats) {
    for (const std::uint16_t channels : kChannelCounts) {
      for (const std::int32_t mode : {0, 1, 6, 15}) {
        Add(KernelName("time-stretch/150%/mode " + std::to_string(mode), format, channels),
            [=](auto& state) { RunTime(state, format, channels, mode); });
      }
      for (const std::int32_t accuracy : {1, 2, 3}) {
        Add(KernelName("pitch-shift/+4/accuracy " + std::to_string(accuracy), format, channels), [=](auto& state) {
          RunPitch(state, format, channels, {accuracy, false, false});
        });
      }
      Add(KernelName("pitch-shift/+4/kept", format, channels), [=](auto& state) {
        RunPitch(state, format, channels, {2, true, false});
      });
      Add(KernelName("pitch-shift/filter", format, channels), [=](auto& state) { RunFilter(state, format, channels); });
    }
  }
  return true;
}();

}  // namespace
}  // namespace korva::bench
