#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "chorus/chorus_params.h"
#include "delay/echos/echos_params.h"
#include "delay/echos/echos_property.h"
#include "frame/interfaces.h"
#include "graph_kit.h"
#include "module/class_table.h"
#include "platform/tempo_host.h"
#include "registered_module.h"
#include "reverb/reverb_params.h"
#include "support/test_song.h"

namespace korva {
namespace {

constexpr LONG kFeedback = 3;  // "Fast flange 2": what it holds rings on for a while

/// Source, filters of one class and sink in a graph.
struct Chained {
  explicit Chained(Stream stream, SourceOptions options = {}, int filters = 1, bool direct = false,
                   REFCLSID classId = kChorusEffect.filterClass)
      : source(new StreamSource(std::move(stream), options)), sink(new WaitingSink) {
    std::vector<IBaseFilter*> chain;
    for (int i = 0; i < filters; ++i) {
      effects.push_back(CreateRegistered<IBaseFilter>(classId));
      chain.push_back(effects.back().Get());
      Query<IStaticFilterPreset>(chain.back())->SetPreset(kFeedback);
    }
    joined = graph.Chain(*source.Get(), chain, *sink.Get(), direct);
  }
  ~Chained() { graph.Stop(); }

  Bytes Play() {
    if (FAILED(graph.Run()) || !sink->pin.WaitForEnd()) return {};
    Bytes bytes = sink->pin.received;
    graph.Stop();
    return bytes;
  }

  Graph graph;
  ComPtr<StreamSource> source;
  std::vector<ComPtr<IBaseFilter>> effects;
  ComPtr<WaitingSink> sink;
  HRESULT joined;
};

Stream Noise(std::size_t frames = 20000, std::size_t silentFrom = static_cast<std::size_t>(-1)) {
  return MakeNoise(SampleFormat::kFloat32, 2, frames, silentFrom);
}

Bytes PlayOnce(Stream stream) {
  return Chained(std::move(stream)).Play();
}

bool IsSilent(const Bytes& bytes, std::size_t fromFrame) {
  const std::size_t from = fromFrame * sizeof(float) * 2;
  return from < bytes.size() && std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end(),
                                            [](auto byte) { return byte == 0; });
}

TEST(Graph, EveryFormatGoesThroughByEveryKindOfConnection) {
  for (const SampleFormat format : kAllFormats) {
    for (const std::uint16_t channels : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{6}, std::uint16_t{32}}) {
      const Stream noise = MakeNoise(format, channels, 5000);
      Chained intelligent(noise), direct(noise, {7}, 1, true);
      ASSERT_EQ(intelligent.joined, S_OK);
      ASSERT_EQ(direct.joined, S_OK);
      const auto bytes = intelligent.Play();
      EXPECT_EQ(bytes.size(), noise.bytes.size());
      EXPECT_NE(bytes, noise.bytes);
      EXPECT_EQ(direct.Play(), bytes);
    }
  }
}

TEST(Graph, RefusesWhatItCannotTakeAndIsNeverPickedByItself) {
  Stream deep = Noise(100);
  deep.format.formatTag = kTagPcm;
  deep.format.bitsPerSample = 24;
  EXPECT_EQ(Chained(deep, {}, 1, true).joined, VFW_E_NO_ACCEPTABLE_TYPES);
  const Chained alone(Noise(100), {}, 0);
  ComPtr<IPin> peer;
  alone.source->pin.ConnectedTo(peer.Put());
  EXPECT_EQ(peer.Get(), static_cast<IPin*>(&alone.sink->pin));
}

TEST(Graph, EveryRunStartsAnew) {
  const Stream noise = Noise();
  Chained chained(noise);
  const auto first = chained.Play();
  ASSERT_EQ(first.size(), noise.bytes.size());
  ASSERT_EQ(chained.graph.Run(), S_OK);
  EXPECT_TRUE(chained.graph.SaysComplete()) << "the graph hears the end";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(chained.graph.Stop(), S_OK);
    EXPECT_EQ(chained.graph.Pause(), S_OK);
  }
  EXPECT_EQ(chained.Play(), first);
  chained.sink->pin.blockAt = 3;
  EXPECT_EQ(chained.graph.Run(), S_OK);
  EXPECT_TRUE(chained.sink->pin.WaitUntilBlocked());
  EXPECT_EQ(chained.graph.Stop(), S_OK) << "in the middle of a sample";
  chained.sink->pin.blockAt = WaitingPin::kNever;
  EXPECT_EQ(chained.Play(), first);
}

TEST(Graph, DiscontinuityLetsNoOldAudioThrough) {
  constexpr std::size_t kCut = 10300;
  EXPECT_FALSE(IsSilent(PlayOnce(Noise(20000, kCut)), kCut))
      << "the effect must ring on for this test to mean anything";
  EXPECT_TRUE(IsSilent(Chained(Noise(20000, kCut), {1000, 0, kCut}).Play(), kCut));
}

std::vector<float> Samples(const Bytes& bytes) {
  std::vector<float> samples(bytes.size() / sizeof(float));
  std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
  return samples;
}

TEST(Graph, AnEnvelopeOfTheHostIsHeard) {
  constexpr std::ptrdiff_t kFaded = 2 * 12000;  // past 0.2 s and one chunk
  const struct {
    const EffectDescription& effect;
    DWORD dry;
    std::vector<DWORD> wet;
  } kCases[] = {{kChorusEffect, kChorusDryOut, {kChorusOut}},
                {kEchosEffect, kEchosDryOut, {kEchosDelayOut}},
                {kReverbEffect, kReverbDryOut, {kReverbReverbOut, kReverbEarlyOut}}};
  for (const auto& [effect, dry, wet] : kCases) {
    SCOPED_TRACE(effect.name);
    Chained chained(Noise(), {}, 1, false, effect.filterClass);
    const auto params = Query<IMediaParams>(chained.effects[0].Get());
    const float silent = effect.rows[dry].info.mpdMinValue;
    for (const DWORD row : wet) ASSERT_TRUE(SUCCEEDED(params->SetParam(row, silent)));
    MP_ENVELOPE_SEGMENT silence{2'000'000, 1'000'000'000, silent, silent, MP_CURVE_JUMP, 0};
    ASSERT_EQ(params->AddEnvelope(dry, 1, &silence), S_OK);
    const std::vector<float> samples = Samples(chained.Play());
    ASSERT_GT(std::ssize(samples), kFaded);
    const auto loudest = [](auto from, auto to) { return *std::max_element(from, to); };
    EXPECT_GT(loudest(samples.begin(), samples.begin() + 2000), 0);
    EXPECT_EQ(loudest(samples.begin() + kFaded, samples.end()), 0);
  }
}

// The echo of an impulse comes one quarter note later, or after the delay's own time where there is no song.
TEST(Graph, AConnectedTempoMapIsHeard) {
  for (const auto& [bpm100, frame] : {std::pair(0, 17640), {9000, 29400}, {24000, 11025}}) {
    Stream impulse = Noise(40000, 0);
    constexpr float kHalf = 0.5F;
    std::memcpy(impulse.bytes.data(), &kHalf, sizeof kHalf);
    Chained chained(impulse, {}, 1, false, kEchosEffect.filterClass);
    IBaseFilter* const filter = chained.effects[0].Get();
    const auto params = Query<IMediaParams>(filter);
    EXPECT_EQ(params->SetParam(kEchosTempoSyncDelay, 1), S_OK);
    EXPECT_TRUE(SUCCEEDED(params->SetParam(kEchosDelayNote, 13)));
    TestSong song({{0, bpm100}});
    const auto transport = Query<IMfxSoftSynth>(filter);
    if (bpm100 != 0) {
      EXPECT_EQ(song.ConnectTo(*transport.Get()), S_OK);
      EXPECT_EQ(transport->OnStart(0), S_OK);
    }
    const std::vector<float> samples = Samples(chained.Play());
    transport->Disconnect();
    const auto echo = std::find_if(samples.begin() + 2, samples.end(), [](float sample) { return sample != 0; });
    EXPECT_EQ((echo - samples.begin()) / 2, frame) << bpm100;
  }
  EXPECT_FALSE(Query<IMfxSoftSynth>(CreateRegistered<IBaseFilter>(kReverbEffect.filterClass).Get())) << "has no tempo";
}

TEST(Graph, FlushInTheMiddleOfABuffer) {
  constexpr std::size_t kCut = 10000;
  Chained chained(Noise(20000, kCut));
  chained.sink->pin.blockAt = 6;
  ASSERT_EQ(chained.graph.Run(), S_OK);
  ASSERT_TRUE(chained.sink->pin.WaitUntilBlocked());
  chained.source->pin.Seek(kCut);
  ASSERT_TRUE(chained.sink->pin.WaitForEnd());
  const auto bytes = chained.sink->pin.received;
  EXPECT_EQ(bytes.size(), Noise(20000 - kCut).bytes.size());
  EXPECT_TRUE(IsSilent(bytes, 0));
}

TEST(Graph, RenegotiatesDownstreamWhenUpstreamChanges) {
  Chained chained(Noise());
  const ComPtr<IPin> in = PinOf(chained.effects[0].Get(), L"In"), out = PinOf(chained.effects[0].Get(), L"Out");
  const Stream noise = MakeNoise(SampleFormat::kPcm16, 1, 5000);
  chained.graph->Disconnect(&chained.source->pin);
  chained.graph->Disconnect(in.Get());
  chained.source->pin.SetStream(noise);
  ASSERT_EQ(chained.graph->ConnectDirect(&chained.source->pin, in.Get(), nullptr), S_OK);
  CMediaType upstream, downstream;
  in->ConnectionMediaType(&upstream.get());
  // A graph may do it on a thread of its own.
  for (int i = 0; i < 2000 && !SameMediaType(upstream.get(), downstream.get()); ++i) {
    if (i != 0) ::Sleep(1);
    downstream.Reset();
    out->ConnectionMediaType(&downstream.get());
  }
  EXPECT_TRUE(SameMediaType(upstream.get(), downstream.get()));
  EXPECT_EQ(chained.Play(), PlayOnce(noise));
}

TEST(Graph, FilterLeavesWhileConnected) {
  Chained chained(Noise());
  const auto connected = [&](const WCHAR* pin) {
    ComPtr<IPin> peer;
    return PinOf(chained.effects[0].Get(), pin)->ConnectedTo(peer.Put()) == S_OK;
  };
  ASSERT_EQ(chained.graph.Run(), S_OK);
  EXPECT_EQ(chained.graph->RemoveFilter(chained.effects[0].Get()), VFW_E_NOT_STOPPED);
  EXPECT_TRUE(connected(L"In") && connected(L"Out"));
  ASSERT_EQ(chained.graph.Stop(), S_OK);
  EXPECT_EQ(chained.graph->RemoveFilter(chained.effects[0].Get()), S_OK);
  EXPECT_FALSE(connected(L"In") || connected(L"Out"));
  EXPECT_EQ(RegisteredModule().CanUnloadNow(), S_FALSE);
  chained.effects.clear();
  EXPECT_EQ(RegisteredModule().CanUnloadNow(), S_OK);
}

}  // namespace
}  // namespace korva
