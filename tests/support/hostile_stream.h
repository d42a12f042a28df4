#pragma once

#include <array>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "frame/in_place_filter.h"
#include "frame/row_values.h"
#include "live/effect_kinds.h"
#include "pitchtime/stretch_filter.h"
#include "support/test_graph.h"
#include "support/test_song.h"

namespace korva {

/// One stream that nobody would mean through one of the effects in a graph. Effect, format, buffers, settings and all
/// that happens on the way come from a seed, and the same seed plays the same again.
class HostileStream {
 public:
  explicit HostileStream(std::uint32_t seed) : random_(seed), kind_(EffectKinds()[Pick(kEffectCount)]) {
    constexpr std::array<std::uint32_t, 12> kRates = {0,     1,     7,     1999,   8000,       16000,
                                                      44100, 48000, 96000, 768000, 0x7FFFFFFF, 0xFFFFFFFF};
    const std::uint32_t rate = Once(10) ? Any() : kRates[Pick(kRates.size())];
    // Many channels at a high rate only fill memory.
    const std::uint32_t channels = rate > 100000 || Once(2) ? 1 + Pick(2) : 1 + Pick(kMaxChannels);
    format_ = MakeFormat(kAllFormats[Pick(std::size(kAllFormats))], static_cast<std::uint16_t>(channels), rate);
    bufferFrames_ = Once(3) ? 1 + Pick(8) : 1 + Pick(1500);
  }

  std::string Name() const { return std::string(kind_.description.name) + ", " + Describe(format_); }

  /// What did not hold, in words; empty where all did.
  std::string Play() {
    const EffectInstance effect = kind_.create();
    PlayHostile(effect);
    if (wrong_.empty()) CompareWithFresh(effect);
    if (wrong_.empty()) CompareCuts();
    return wrong_;
  }

 private:
  std::uint32_t Any() { return static_cast<std::uint32_t>(random_()); }
  std::uint32_t Pick(std::size_t below) { return static_cast<std::uint32_t>(random_() % below); }
  bool Once(std::uint32_t in) { return Pick(in) == 0; }
  void Expect(bool holds, const char* what) {
    if (!holds && wrong_.empty()) wrong_ = what;
  }

  static CTransformFilter& FilterOf(const EffectInstance& effect) {
    if (effect.inPlace != nullptr) return *effect.inPlace;
    return *effect.stretch;
  }

  /// Samples of one kind: silence, noise, any bits at all, what is no number, or too small to be normal.
  Bytes AnySamples(std::size_t frames) {
    Bytes bytes(frames * format_.blockAlign);
    const std::uint32_t what = Pick(6);
    if (what == 0) return bytes;
    if (what == 1) return NoiseBytes(format_, frames, 1.0, Any());
    VisitFormat(*SampleFormatOf(format_), [&](auto policy) {
      using Sample = typename decltype(policy)::Sample;
      using Limits = std::numeric_limits<Sample>;
      const std::array<Sample, 8> odd = {Limits::quiet_NaN(), Limits::infinity(), Limits::denorm_min(), Limits::max(),
                                         Limits::lowest(),    Limits::epsilon(),  Limits::min(),        Sample{}};
      for (std::size_t at = 0; at < bytes.size(); at += sizeof(Sample)) {
        Sample sample = odd[what == 2 ? 2 : Pick(odd.size())];
        if (what == 3 || Once(4)) {
          for (std::size_t i = 0; i < sizeof sample; ++i) bytes[at + i] = static_cast<std::uint8_t>(random_());
        } else {
          std::memcpy(&bytes[at], &sample, sizeof sample);
        }
      }
    });
    return bytes;
  }

  /// Buffers of `frames`, or so large that effects of variable length take them.
  static GraphOptions OptionsFor(std::size_t frames) {
    GraphOptions options;
    options.bufferFrames = std::max<std::size_t>(frames, 512);
    return options;
  }

  using Block = std::array<std::uint64_t, kLargestBlock / sizeof(std::uint64_t)>;

  /// Settings as a host sends them: a preset, rows anywhere in their ranges and at their ends, or any words at all.
  Block AnySettings() {
    Block block{};
    const EffectDescription& effect = kind_.description;
    const auto presets = static_cast<std::size_t>(effect.presets.count());
    std::memcpy(block.data(), effect.presets.Block(static_cast<std::int32_t>(Pick(presets))), effect.blockSize);
    if (Once(4)) return block;
    if (Once(6)) {
      for (std::uint64_t& word : block) word = random_() << 32U | random_();
      return block;
    }
    for (const ParamDescriptor& row : effect.rows) {
      if (Once(3)) continue;
      const auto least = static_cast<double>(row.info.mpdMinValue), most = static_cast<double>(row.info.mpdMaxValue);
      const double part = Once(2) ? Pick(2) : Pick(1001) / 1000.0;
      const double value = least + (most - least) * part;
      StoreDisplayValue(row, block.data(), row.info.mpType == MPT_FLOAT ? value : std::floor(value));
    }
    return block;
  }
  void Change(const EffectInstance& effect) {
    const Block block = AnySettings();
    if (Once(2)) {
      effect.parameters->WriteBlock(block.data());
    } else {
      effect.parameters->WriteRow(Pick(kind_.description.rows.size()), block.data());
    }
    const ComPtr<IMediaParams> automation = Query<IMediaParams>(effect.filter.Get());
    if (!automation || !Once(3)) return;
    const REFERENCE_TIME start = Pick(1000000), end = start + Pick(500000);
    const auto any = [&] { return Once(8) ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(Pick(200)); };
    MP_ENVELOPE_SEGMENT segment{start, end, any() - 100, any() - 100, static_cast<MP_CURVE_TYPE>(1U << Pick(5)), 0};
    automation->AddEnvelope(Pick(kind_.description.rows.size()), 1, &segment);
    if (Once(4)) automation->FlushEnvelope(0xFFFFFFFF, start, end);
  }

  void PlayHostile(const EffectInstance& effect) {
    GraphOptions options = OptionsFor(bufferFrames_);
    // An effect of variable length has no type to offer before its input has one.
    options.downstreamFirst = Once(2) && effect.inPlace != nullptr;
    options.readOnly = Once(4);
    options.upstreamOwns = Once(4);
    options.downstreamInsists = Once(4);
    options.takesOffered = Once(4);
    TestSong song({{0, 12000}, {static_cast<LONG>(1 + Pick(200)), static_cast<int>(1 + Pick(100000))}});
    const ComPtr<IMfxSoftSynth> synth = Query<IMfxSoftSynth>(effect.filter.Get());
    if (synth && Once(2)) {
      song.ConnectTo(*synth.Get());
      synth->OnStart(0);
    }
    Change(effect);
    {
      TestGraph graph(FilterOf(effect), format_, options);
      Expect(graph.connected == S_OK || options.downstreamInsists, "pins connect");
      for (std::uint32_t streams = 1 + Pick(3); graph.connected == S_OK && streams != 0; --streams) {
        PlayOne(effect, graph, synth.Get());
      }
    }
    if (synth) synth->Disconnect();
    Expect(song.references == 0, "every reference to the song is given back");
    if (const ComPtr<IMediaParams> automation = Query<IMediaParams>(effect.filter.Get())) {
      using Limits = std::numeric_limits<REFERENCE_TIME>;
      automation->FlushEnvelope(0xFFFFFFFF, Limits::min(), Limits::max());
    }
  }

  /// From start to stop.
  void PlayOne(const EffectInstance& effect, TestGraph& graph, IMfxSoftSynth* synth) {
    if (const HRESULT started = graph.Start(); FAILED(started)) {
      return Expect(started == E_OUTOFMEMORY, "a stream starts where there is memory");
    }
    for (std::uint32_t buffers = Pick(20); buffers != 0; --buffers) {
      const std::uint32_t frames = Pick(bufferFrames_ + 1);
      const std::size_t before = graph.sink->pin.received.size();
      const bool tailOnly = Once(6);
      const Bytes samples = AnySamples(frames);
      const HRESULT sent = graph.Send(samples, {Once(3) ? -1 : REFERENCE_TIME{Pick(10000000)}, Once(4), tailOnly});
      Expect(sent == S_OK || sent == E_OUTOFMEMORY, "a buffer is taken where there is memory");
      const std::size_t came =
          (graph.sink->pin.received.size() - before) / std::max<std::size_t>(format_.blockAlign, 1);
      Expect(effect.inPlace == nullptr || sent != S_OK || came == frames, "as many frames come as were sent");
      if (Once(2)) Change(effect);
      if (synth != nullptr && Once(5)) synth->OnLoop(static_cast<LONG>(Pick(5000)), static_cast<LONG>(Pick(5000)));
      if (Once(15)) {
        graph.source->pin.DeliverBeginFlush();
        graph.source->pin.DeliverEndFlush();
      }
    }
    // What never dies down is ended by the neighbour.
    std::uint32_t left = 200;
    graph.sink->pin.onReceive = [&left](IMediaSample&) { return left == 0 ? S_FALSE : (--left, S_OK); };
    if (!Once(4)) graph.source->pin.DeliverEndOfStream();
    graph.Stop();
    graph.sink->pin.onReceive = nullptr;
  }

  /// The whole stream of `bytes` with the settings in `block`; what comes is in `out`.
  bool Run(const EffectInstance& effect, const Block& block, const Bytes& bytes, std::size_t size, Bytes& out) {
    effect.parameters->WriteBlock(block.data());
    TestGraph graph(FilterOf(effect), format_, OptionsFor(size));
    std::uint32_t left = 4000;
    graph.sink->pin.onReceive = [&left](IMediaSample&) { return left == 0 ? S_FALSE : (--left, S_OK); };
    if (FAILED(graph.Start())) return false;
    const bool taken = SUCCEEDED(graph.SendAll(bytes, size));
    if (effect.stretch != nullptr) graph.source->pin.DeliverEndOfStream();
    graph.Stop();
    out = graph.sink->pin.received;
    return taken;
  }

  /// Nothing of what was played is left where another stream starts. The Reverb's first channel keeps the memory of its
  /// low-pass on purpose.
  void CompareWithFresh(const EffectInstance& used) {
    if (std::string_view(kind_.description.name) == "reverb") return;
    const EffectInstance fresh = kind_.create();
    const Block block = AnySettings();
    const Bytes noise = NoiseBytes(format_, 1000, 0.5, Any());
    Bytes first, second;
    if (!Run(fresh, block, noise, 100, first) || !Run(used, block, noise, 100, second)) return;
    Expect(first == second, "a stream sounds as in a new effect, whatever was played before");
  }

  /// How a stream is cut changes nothing.
  void CompareCuts() {
    const Block block = AnySettings();
    const Bytes noise = NoiseBytes(format_, 1500, 0.5, Any());
    Bytes first, second;
    if (!Run(kind_.create(), block, noise, 1500, first)) return;
    if (!Run(kind_.create(), block, noise, 1 + Pick(400), second)) return;
    Expect(first == second, "samples do not depend on how a stream is cut");
  }

  std::mt19937 random_;
  const EffectKind& kind_;
  FormatRecord format_;
  std::uint32_t bufferFrames_ = 1;
  std::string wrong_;
};

}  // namespace korva
