#pragma once

#include "audio/process_mode.h"
#include "reverb/reverb_engine.h"
#include "support/signals.h"

namespace korva {

/// Parameters as a filter would hand them over.
struct StandInStore : ParamSource<ReverbParams> {
  ReverbParams block{0, -350, -200, 0, 3, 25, 30, 1, 20, 1, 12000, 0};
  bool changed = false;
  bool FetchParams(ReverbParams& out) noexcept override {
    out = block;
    return std::exchange(changed, false);
  }
};

/// An engine on a stream of `format`, started.
struct Rig {
  Rig(const ReverbParams& params, SampleFormat sampleFormat, std::uint16_t channelCount, std::uint32_t rate = 44100,
      bool vector = true)
      : format(sampleFormat), channels(channelCount) {
    store.block = params;
    engine.UseVectorKernel(vector);
    engine.SetFormat(MakeFormat(sampleFormat, channelCount, rate));
    started = engine.ReverbReset();
  }

  /// Samples of -1 to 1, interleaved, through the engine in buffers of `cut` frames.
  std::vector<double> Run(std::span<const double> input, std::uint32_t cut = 4096, std::int32_t mode = ModeContinue) {
    std::vector<double> output;
    output.reserve(input.size());
    VisitFormat(format, [&](auto policy) {
      using Format = decltype(policy);
      std::vector<typename Format::Sample> buffer;
      const std::size_t step = std::size_t{cut} * channels;
      for (std::size_t at = 0; at < input.size(); at += step) {
        buffer.clear();
        const auto part = input.subspan(at, std::min(step, input.size() - at));
        for (const double x : part) buffer.push_back(Format::Write(x));
        auto frames = static_cast<std::uint32_t>(part.size() / channels);
        result = engine.ReverbProcess(mode, buffer.data(), frames, false);
        for (const auto x : buffer) output.push_back(Format::Read(x));
        mode = ModeContinue;
      }
    });
    return output;
  }

  StandInStore store;
  ReverbEngine engine{store};
  SampleFormat format;
  std::uint16_t channels;
  std::int32_t started = 0;
  std::int32_t result = 0;
};

/// Any parameters that a store can hold.
template <class Random>
ReverbParams RandomParams(Random& random) {
  const auto any = [&](std::int32_t low, std::int32_t high) {
    return low + static_cast<std::int32_t>(random() % static_cast<std::uint32_t>(high - low + 1));
  };
  // A gain in eight is silence.
  const auto gain = [&] { return any(0, 7) == 0 ? -800 : any(-400, 0); };
  return {gain(),
          gain(),
          gain(),
          any(0, kReverbModes - 1),
          any(0, kEarlyStyles - 1),
          any(5, 50),
          any(0, 200),
          any(0, 1),
          any(10, 5000),
          any(0, 1),
          any(100, 15000),
          0};
}

}  // namespace korva
