#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <future>
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
      Chained intelligent(noise), direct(noise, {4096}, 1, true), two(noise, {7}, 2);
      ASSERT_EQ(intelligent.joined, S_OK);
      ASSERT_EQ(direct.joined, S_OK);
      ASSERT_EQ(two.joined, S_OK);
      const auto bytes = intelligent.Play();
      EXPECT_EQ(bytes.size(), noise.bytes.size());
      EXPECT_NE(bytes, noise.bytes);
      EXPECT_EQ(direct.Play(), bytes);
      const auto twice = two.Play();
      EXPECT_EQ(twice.size(), noise.bytes.size());
      EXPECT_NE(twice, bytes);
    }
  }
}

TEST(Graph, RefusesWhatItCannotTakeAndIsNeverPickedByItself) {
  Stream deep = Noise(100);
  deep.format.formatTag = kTagPcm;
  deep.format.bitsPerSample = 24;
  Chained refused(deep, {}, 1, true);
  EXPECT_EQ(refused.joined, VFW_E_NO_ACCEPTABLE_TYPES);
  CMediaType type;
  type.SetWave(deep.format);
  const ComPtr<IPin> in = PinOf(refused.effects[0].Get(), L"In");
  EXPECT_EQ(in->QueryAccept(&type.get()), S_FALSE);
  EXPECT_EQ(in->ReceiveConnection(&refused.source->pin, &type.get()), VFW_E_TYPE_NOT_ACCEPTED);

  Graph graph;
  const ComPtr<StreamSource> source(new StreamSource(Noise(100)));
  const ComPtr<WaitingSink> sink(new WaitingSink);
  ASSERT_EQ(graph.Chain(*source.Get(), {}, *sink.Get(), false), S_OK);
  ComPtr<IPin> peer;
  source->pin.ConnectedTo(peer.Put());
  EXPECT_EQ(peer.Get(), static_cast<IPin*>(&sink->pin));
}

TEST(Graph, EveryRunStartsAnew) {
  const Stream noise = Noise();
  Chained chained(noise);
  const auto first = chained.Play();
  ASSERT_EQ(first.size(), noise.bytes.size());
  ASSERT_EQ(chained.graph.Run(), S_OK);
  EXPECT_TRUE(chained.graph.SaysComplete()) << "the graph hears the end";
  EXPECT_EQ(chained.graph.Stop(), S_OK);
  EXPECT_EQ(chained.graph.Pause(), S_OK);
  EXPECT_EQ(chained.graph.Stop(), S_OK);
  EXPECT_EQ(chained.graph.Pause(), S_OK);
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
  constexpr std::size_t kFadedFrame = 12000;  // past 0.2 s and one chunk, at 48 kHz and below
  const struct {
    const EffectDescription& effect;
    DWORD dry;
    std::vector<DWORD> wet;
  } kCases[] = {{kChorusEffect, kChorusDryOut, {kChorusOut}},
                {kEchosEffect, kEchosDryOut, {kEchosDelayOut}},
                {kReverbEffect, kReverbDryOut, {kReverbReverbOut, kReverbEarlyOut}}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.effect.name);
    Chained chained(Noise(), {}, 1, false, c.effect.filterClass);
    const auto params = Query<IMediaParams>(chained.effects[0].Get());
    ASSERT_TRUE(params);
    const float silent = c.effect.rows[c.dry].info.mpdMinValue;
    for (const DWORD row : c.wet) ASSERT_TRUE(SUCCEEDED(params->SetParam(row, silent)));
    MP_ENVELOPE_SEGMENT silence{2'000'000, 1'000'000'000, silent, silent, MP_CURVE_JUMP, 0};
    ASSERT_EQ(params->AddEnvelope(c.dry, 1, &silence), S_OK);
    const std::vector<float> samples = Samples(chained.Play());
    ASSERT_GT(samples.size(), 2 * kFadedFrame);
    const auto sounds = [](float sample) { return sample != 0; };
    EXPECT_TRUE(std::any_of(samples.begin(), samples.begin() + 2000, sounds));
    EXPECT_TRUE(std::none_of(samples.begin() + 2 * kFadedFrame, samples.end(), sounds));
  }
}

/// What an effect makes of an impulse while it follows a song of that tempo, in hundredths; 0: of none.
std::vector<float> PlaySynced(const EffectDescription& effect, DWORD follow, DWORD note, int bpm100) {
  Stream impulse = Noise(40000, 0);
  constexpr float kOne = 0.5F;
  std::memcpy(impulse.bytes.data(), &kOne, sizeof kOne);
  Chained chained(impulse, {}, 1, false, effect.filterClass);
  IBaseFilter* const filter = chained.effects[0].Get();
  EXPECT_EQ(Query<IMediaParams>(filter)->SetParam(follow, 1), S_OK);
  EXPECT_TRUE(SUCCEEDED(Query<IMediaParams>(filter)->SetParam(note, 13)));  // a quarter note
  TestSong song({{0, bpm100}});
  const auto transport = Query<IMfxSoftSynth>(filter);
  if (bpm100 != 0) {
    EXPECT_EQ(song.ConnectTo(*transport.Get()), S_OK);
    EXPECT_EQ(transport->OnStart(0), S_OK);
  }
  std::vector<float> samples = Samples(chained.Play());
  transport->Disconnect();
  return samples;
}

TEST(Graph, AConnectedTempoMapIsHeard) {
  const struct {
    const EffectDescription& effect;
    DWORD follow, note;
  } kCases[] = {{kChorusEffect, kChorusTempoSync, kChorusModPeriodNote},
                {kEchosEffect, kEchosTempoSyncDelay, kEchosDelayNote}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.effect.name);
    const auto play = [&c](int bpm100) { return PlaySynced(c.effect, c.follow, c.note, bpm100); };
    const std::vector<float> none = play(0), slow = play(9000), fast = play(24000);
    ASSERT_GE(none.size(), 80000U);
    EXPECT_NE(slow, none);
    EXPECT_NE(fast, none);
    EXPECT_NE(slow, fast);
    EXPECT_EQ(slow, play(9000));
    if (&c.effect != &kEchosEffect) continue;
    for (const auto& [samples, frame] : {std::pair(slow, 29400), std::pair(fast, 11025)}) {
      const auto echo = std::find_if(samples.begin() + 2, samples.end(), [](float sample) { return sample != 0; });
      EXPECT_EQ((echo - samples.begin()) / 2, frame) << "one quarter note later";
    }
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

TEST(Graph, RefusalDownstreamComesBackUpstream) {
  for (const HRESULT refusal : {E_FAIL, S_FALSE, VFW_E_SAMPLE_REJECTED}) {
    Chained chained(Noise());
    chained.sink->pin.refuseFrom = 4;
    chained.sink->pin.refusal = refusal;
    ASSERT_EQ(chained.graph.Run(), S_OK);
    for (int i = 0; i < 2000 && chained.source->pin.lastResult() == S_OK; ++i) ::Sleep(1);
    EXPECT_EQ(chained.source->pin.lastResult(), refusal);
    EXPECT_EQ(chained.graph.Stop(), S_OK);
    chained.sink->pin.refuseFrom = WaitingPin::kNever;
    EXPECT_EQ(chained.Play(), PlayOnce(Noise()));
  }
}

TEST(Graph, ConnectionsChangeOnlyWhileStopped) {
  Chained chained(Noise());
  const ComPtr<IPin> in = PinOf(chained.effects[0].Get(), L"In"), out = PinOf(chained.effects[0].Get(), L"Out");
  CMediaType type;
  type.SetWave(Noise().format);
  ASSERT_EQ(chained.graph.Run(), S_OK);
  EXPECT_EQ(in->Disconnect(), VFW_E_NOT_STOPPED);
  EXPECT_EQ(out->Disconnect(), VFW_E_NOT_STOPPED);
  EXPECT_EQ(in->ReceiveConnection(&chained.source->pin, &type.get()), VFW_E_ALREADY_CONNECTED);
  chained.sink->pin.WaitForEnd();
  ASSERT_EQ(chained.graph.Stop(), S_OK);

  for (const SampleFormat format : kAllFormats) {
    const Stream noise = MakeNoise(format, 6, 5000);
    for (IPin* pin :
         {static_cast<IPin*>(&chained.source->pin), in.Get(), out.Get(), static_cast<IPin*>(&chained.sink->pin)}) {
      EXPECT_EQ(chained.graph->Disconnect(pin), S_OK);
    }
    chained.source->pin.SetStream(noise);
    ASSERT_EQ(chained.graph->Connect(&chained.source->pin, in.Get()), S_OK);
    ASSERT_EQ(chained.graph->Connect(out.Get(), &chained.sink->pin), S_OK);
    EXPECT_EQ(chained.Play(), PlayOnce(noise));
  }
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

TEST(Graph, CopiesForASinkWithItsOwnMemory) {
  Graph graph;
  const Stream noise = Noise();
  const ComPtr<StreamSource> source(new StreamSource(noise));
  const ComPtr<WaitingSink> sink(new WaitingSink);
  const auto effect = CreateRegistered<IBaseFilter>(kChorusEffect.filterClass);
  Query<IStaticFilterPreset>(effect.Get())->SetPreset(kFeedback);
  sink->pin.insistsOnOwn = true;
  ASSERT_EQ(graph.Chain(*source.Get(), {effect.Get()}, *sink.Get(), false), S_OK);
  ASSERT_EQ(graph.Run(), S_OK);
  ASSERT_TRUE(sink->pin.WaitForEnd());
  EXPECT_EQ(sink->pin.received, PlayOnce(noise));
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

TEST(Graph, TwoGraphsInTwoThreads) {
  const Bytes expected = PlayOnce(Noise());
  const auto play = [&expected] {
    ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    bool same = true;
    for (int i = 0; i < 20; ++i) same = same && PlayOnce(Noise()) == expected;
    ::CoUninitialize();
    return same;
  };
  auto one = std::async(std::launch::async, play), other = std::async(std::launch::async, play);
  EXPECT_TRUE(one.get());
  EXPECT_TRUE(other.get());
}

}  // namespace
}  // namespace korva
