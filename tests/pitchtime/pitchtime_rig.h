#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "contract/shuffle.h"
#include "pitchtime/pitchs_filter.h"
#include "pitchtime/time_filter.h"
#include "support/test_graph.h"

namespace korva {

/// Buffers of a sink whose size is the sink's choice, whatever was asked for and told.
class SinkAllocator final : public IMemAllocator {
 public:
  explicit SinkAllocator(std::size_t bytes) : bytes_(static_cast<LONG>(bytes)) { CreateMemoryAllocator(inner_.Put()); }
  KORVA_STACK_UNKNOWN(IMemAllocator);
  HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override {
    ALLOCATOR_PROPERTIES own{1, bytes_, request->cbAlign, request->cbPrefix};
    const HRESULT result = inner_->SetProperties(&own, actual);
    actual->cbBuffer = std::max<LONG>(bytes_, 512);
    return result;
  }
  HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) override { return inner_->GetProperties(properties); }
  HRESULT Commit() override { return inner_->Commit(); }
  HRESULT Decommit() override { return inner_->Decommit(); }
  HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME*, REFERENCE_TIME*, DWORD) override {
    return refusesAfter-- == 0 ? VFW_E_TIMEOUT : inner_->GetBuffer(sample, nullptr, nullptr, 0);
  }
  HRESULT ReleaseBuffer(IMediaSample* sample) override { return inner_->ReleaseBuffer(sample); }

  int refusesAfter = -1;  ///< buffers given before one is refused; negative for never

 private:
  const LONG bytes_;
  ComPtr<IMemAllocator> inner_;
};

/// What makes a Pitch Shift or a Time Stretch, with the rows that tests set most.
inline std::string Shifted(double transposition, bool keep, const std::string& more = "") {
  return "pitch-shift transposition=" + std::to_string(transposition) +
         " preserve-duration=" + std::to_string(int{keep}) + " " + more;
}
inline std::string Stretched(double percent, int mode = 16) {
  return "time-stretch percent=" + std::to_string(percent * 100) + " mode=" + std::to_string(mode);
}

inline const FormatRecord kMonoFloats = MakeFormat(SampleFormat::kFloat32, 1, 44100);

/// One of the two in a graph: `StretchRig(Shifted(1.5, true)).Run(samples)`. Buffers downstream hold `outBytes`.
struct StretchRig {
  explicit StretchRig(const std::string& settings, const FormatRecord& streamFormat = kMonoFloats,
                      std::size_t outBytes = 32768, GraphOptions options = {})
      : filter(Make(settings)), format(streamFormat), allocator(outBytes), graph(filter, format, options) {
    Set(settings.substr(settings.find(' ')));
    // The output is connected anew, so that it delivers into these buffers.
    filter.GetPin(1)->Disconnect();
    graph.sink->pin.Disconnect();
    graph.sink->pin.NotifyAllocator(&allocator, FALSE);
    EXPECT_EQ(filter.GetPin(1)->Connect(&graph.sink->pin, nullptr), S_OK);
  }

  void Set(const std::string& settings) { SetRows(filter.parameters(), settings); }

  /// Sends samples and answers what came out at that.
  std::vector<double> Send(std::span<const double> samples, bool jump = false) {
    const Bytes bytes = Encode(format, samples);
    const std::size_t step = 4096U * format.blockAlign;
    for (std::size_t at = 0; at < bytes.size(); at += step) {
      const auto part = std::span(bytes).subspan(at, std::min(step, bytes.size() - at));
      EXPECT_EQ(graph.Send(part, {-1, jump && at == 0, false}), S_OK);
    }
    return Take();
  }
  std::vector<double> End() {
    EXPECT_EQ(graph.source->pin.DeliverEndOfStream(), S_OK);
    return Take();
  }
  /// A whole stream in buffers of `frames`.
  std::vector<double> Run(std::span<const double> samples, std::size_t frames = 4096) {
    const Bytes output = graph.Run(Encode(format, samples), frames);
    EXPECT_EQ(graph.outcome, S_OK);
    return Decode(format, output);
  }

  CQvStretchFilter& filter;
  const ComPtr<IBaseFilter> object{&filter};
  const FormatRecord format;
  SinkAllocator allocator;
  TestGraph graph;

 private:
  static CQvStretchFilter& Make(const std::string& settings) {
    if (settings.starts_with("pitch")) return *new CQvPitchs(nullptr);
    return *new CQvTime(nullptr);
  }
  std::vector<double> Take() { return Decode(format, std::exchange(graph.sink->pin.received, {})); }
};

inline std::vector<double> Sine(double hz, std::size_t frames) {
  std::vector<double> sine(frames);
  for (std::size_t i = 0; i < frames; ++i) {
    sine[i] = 0.5 * std::sin(6.283185307179586 * hz * static_cast<double>(i) / kMonoFloats.samplesPerSecond);
  }
  return sine;
}

/// Tones that drift, with noise, another mixture in every channel, on the grid of 8-bit samples.
inline std::vector<double> Music(std::size_t frames, std::size_t channels = 1) {
  std::minstd_rand random(1);
  std::vector<double> music(frames * channels);
  for (std::size_t i = 0; i < frames; ++i) {
    const auto t = static_cast<double>(i);
    for (std::size_t c = 0; c < channels; ++c) {
      const double noise = static_cast<double>(random()) / 2147483647.0 - 0.5;
      const double tone = std::sin(t * (0.031 + t * 1e-8)) + 0.6 * std::sin(t * 0.0713 + static_cast<double>(c));
      music[i * channels + c] = std::floor((0.3 * tone + 0.1 * noise) * 128) / 128;
    }
  }
  return music;
}

/// How far one tone is from `target`, in cents, by its rising zero crossings.
inline double CentsOff(std::span<const double> tone, double target) {
  double first = -1, last = -1;
  double periods = -1;
  for (std::size_t i = 0; i + 1 < tone.size(); ++i) {
    if (!(tone[i] < 0 && tone[i + 1] >= 0)) continue;
    last = static_cast<double>(i) + tone[i] / (tone[i] - tone[i + 1]);
    if (first < 0) first = last;
    ++periods;
  }
  return 1200 * std::log2(periods * kMonoFloats.samplesPerSecond / (last - first) / target);
}

/// Root mean square.
inline double LevelOf(std::span<const double> samples) {
  double sum = 0;
  for (const double x : samples) sum += x * x;
  return std::sqrt(sum / static_cast<double>(samples.size()));
}

}  // namespace korva
