#include "delay/echos/echos_filter.h"

#include "delay/delay_rig.h"
#include "support/test_song.h"

namespace korva {
namespace {

// One echo of full level and nothing dry: 100 ms, a decay of 1 s once it is fed back.
constexpr EchosParams kEcho = {0, 100, 10, 0, -800, 0, 13, 1000, 0, 18, 1000, 0};

EchosParams FedBack(std::int32_t delayMs, std::int32_t decayTenths) {
  EchosParams params = kEcho;
  params.multipleDelays = 1;
  params.delayMs = delayMs;
  params.decayTenths = decayTenths;
  return params;
}

TEST(SimpleDelayFilter, BothRoadsGiveTheSameStreamAndTail) {
  ExpectRoadsAgree<CQvEchos>(FedBack(37, 3));
}

TEST(SimpleDelayFilter, OnlyTheTailOfFloatsIsLongerThanOneBuffer) {
  EchosParams bypassed = FedBack(100, 10);
  bypassed.bypass = 1;
  ExpectTails<CQvEchos>(FedBack(100, 10), 8800, 3000);
  ExpectTails<CQvEchos>(kEcho, 800, 800);
  ExpectTails<CQvEchos>(bypassed, 0, 0);
}

TEST(SimpleDelayFilter, TailOnlySamplesRingOutAreSkippedAndThenRestart) {
  // The budget counts the decay once for each channel: 80 + 2 x 800 frames.
  const EchosParams params = FedBack(10, 1);
  ExpectTailOnlyRun<CQvEchos>(params, {1000, 680, 0, 0}, false);
  Owned<CQvEchos> filter;
  filter->SetParams(&params);
  filter->FloatStart(2, 8000);
  std::vector<float> audio(2 * 1000);
  EXPECT_EQ(TailOnlyAnswers(*filter, 1), "0:1000 ");
  EXPECT_EQ(filter->FloatProcess(audio.data(), 1000, 0), S_OK);
  EXPECT_EQ(TailOnlyAnswers(*filter, 3), "0:1000 1:680 1:0 ");
  // A new length makes a new budget.
  EXPECT_EQ(filter->FloatReset(0), S_FALSE);
  filter->SetDelayTime(20);
  EXPECT_EQ(filter->FloatReset(0), S_OK);
  EXPECT_EQ(TailOnlyAnswers(*filter, 3), "0:1000 1:760 1:0 ");
  // Bypassed there is no tail, and nothing is touched.
  EXPECT_EQ(filter->FloatProcess(audio.data(), 1000, 0), S_OK);
  filter->SetBypass(1);
  EXPECT_EQ(filter->FloatProcess(audio.data(), 1000, 1), S_FALSE);
}

TEST(SimpleDelayFilter, TheSongGoesOnToTheEndOfTheSampleInWhichTheTailEnds) {
  // 1680 frames of tail end in the third sample, at its frame 680; the tempo changes at its frame 800.
  TestSong song({{0, 12000}, {TestSong::kTicksPerQuarter * 7 / 10, 6000}}, {{1, 4, 2}}, 8000);
  Owned<CQvEchos> filter;
  const EchosParams params = FedBack(10, 1);
  filter->SetParams(&params);
  ASSERT_EQ(song.ConnectTo(*filter), S_OK);
  filter->OnStart(0);
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 2, 8000);
  TestGraph graph(*filter, format, {1000});
  ASSERT_EQ(graph.Start(), S_OK);
  const Bytes buffer(format.blockAlign * 1000);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(graph.Send(buffer, {i * 1'250'000, false, i > 0}), S_OK);
    TempoInfo info;
    filter->AdvanceTempo(0, 5, info);
    EXPECT_EQ(info.position, 1000 * (i + 1)) << i;
  }
}

TEST(SimpleDelayFilter, EditsReachTheNextBufferAndDropTheLineOnlyWithItsLength) {
  struct Case {
    const char* name;
    void (*edit)(CQvEchos& filter);
    Stamp stamp;
    bool echo, dirty;
  };
  const Case cases[] = {
      {"none", [](CQvEchos&) {}, {}, true, false},
      {"decay", [](CQvEchos& filter) { filter.SetDecayTime(5); }, {}, true, true},
      {"decay as it was", [](CQvEchos& filter) { filter.SetDecayTime(10); }, {}, true, false},
      {"let go of", [](CQvEchos& filter) { filter.BeginEditDelayTime(), filter.EndEditDelayTime(); }, {}, true, false},
      {"all as they were", [](CQvEchos& filter) { filter.SetParams(&kEcho); }, {}, true, true},
      {"delay", [](CQvEchos& filter) { filter.SetDelayTime(101); }, {}, false, true},
      {"delay by the host", [](CQvEchos& filter) { filter.SetParam(kEchosDelayTime, 101); }, {}, false, true},
      {"echo silent", [](CQvEchos& filter) { filter.SetDelayOut(-2000); }, {}, false, true},
      {"discontinuity", [](CQvEchos&) {}, {-1, true, false}, false, false},
  };
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 2, 8000);
  const Bytes impulse = Encode(format, Impulse(500, 2)), silence = Encode(format, std::vector<double>(2 * 500));
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Owned<CQvEchos> filter;
    filter->SetParams(&kEcho);
    TestGraph graph(*filter, format, {500});
    ASSERT_EQ(graph.Start(), S_OK);
    EXPECT_EQ(graph.Send(impulse), S_OK);
    MemoryStream record;
    EXPECT_EQ(filter->Save(&record, TRUE), S_OK);
    c.edit(*filter);
    EXPECT_EQ(filter->IsDirty(), c.dirty ? S_OK : S_FALSE);
    EXPECT_EQ(graph.Send(silence, c.stamp), S_OK);
    EXPECT_EQ(Decode(format, graph.sink->pin.received)[2 * 800] != 0.0, c.echo);
  }
}

TEST(SimpleDelayFilter, BypassPassesSamplesAndEmptiesTheLine) {
  const FormatRecord format = MakeFormat(SampleFormat::kPcm16, 2, 8000);
  const Bytes noise = NoiseBytes(format, 500), silence = Encode(format, std::vector<double>(2 * 500));
  Owned<CQvEchos> filter;
  filter->SetParams(&kEcho);
  TestGraph graph(*filter, format, {500});
  ASSERT_EQ(graph.Start(), S_OK);
  EXPECT_EQ(graph.Send(noise), S_OK);
  filter->SetBypass(1);
  // A change that comes in the meantime waits for the first buffer that is not passed.
  filter->SetDryOut(0);
  graph.sink->pin.received.clear();
  EXPECT_EQ(graph.Send(noise), S_OK);
  EXPECT_TRUE(graph.sink->pin.received == noise);
  filter->SetBypass(0);
  EXPECT_EQ(graph.Send(silence), S_OK);
  EXPECT_EQ(graph.Send(noise), S_OK);
  Bytes expected = noise;
  expected.insert(expected.end(), silence.begin(), silence.end());
  expected.insert(expected.end(), noise.begin(), noise.end());
  EXPECT_TRUE(graph.sink->pin.received == expected);
}

TEST(SimpleDelayFilter, ATempoChangeMovesTheDelayOnItsVeryFrame) {
  // Quarters of 2000 frames; from the third on of 1000.
  TestSong song({{0, 24000}, {3 * TestSong::kTicksPerQuarter, 48000}}, {{1, 4, 2}}, 8000);
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 1, 8000);
  const Bytes steady = Encode(format, std::vector<double>(9000, 0.25));
  for (const std::size_t size : {1U, 700U, 9000U}) {
    Owned<CQvEchos> filter;
    EchosParams params = kEcho;
    params.tempoSyncDelay = 1;
    filter->SetParams(&params);
    EXPECT_EQ(filter->IsTempoAvailable(), 0);
    ASSERT_EQ(song.ConnectTo(*filter), S_OK);
    EXPECT_EQ(filter->IsTempoAvailable(), 1);
    filter->OnStart(0);
    TestGraph graph(*filter, format, {size});
    ASSERT_EQ(graph.Start(), S_OK);
    ASSERT_EQ(graph.SendAll(steady, size), S_OK);
    const auto output = Decode(format, graph.sink->pin.received);
    ASSERT_EQ(output.size(), 9000U);
    for (std::size_t i = 0; i < output.size(); ++i) {
      const bool heard = (i >= 2000 && i < 6000) || i >= 7000;
      ASSERT_EQ(output[i], heard ? 0.25 : 0.0) << "frame " << i << " in buffers of " << size;
    }
  }
}

TEST(SimpleDelayFilter, SlotsRecordsAndPresetsAreAsHostsKnowThem) {
  Owned<CQvEchos> filter;
  IQvEchosProp2* const property = filter.Get();
  const std::size_t end = ExpectSlots(*filter, property, 5,
                                      {{1, 1, 5000},
                                       {4, -800, 0},
                                       {3, -800, 0},
                                       {0, 0, 1},
                                       {2, 1, 200},
                                       {6, 0, 17},
                                       {7, 1, 4000},
                                       {8, 0, 1},
                                       {9, 0, 18},
                                       {10, 1, 32000},
                                       {11, 0, 1},
                                       {5, 0, 1}});
  EXPECT_EQ(CallSlot(property, end), 0);  // no tempo
  EXPECT_EQ(CallSlot(property, 9), S_OK);
  EXPECT_EQ(CallSlot(property, 9), S_FALSE);
  EXPECT_EQ(CallSlot(property, 10), S_OK);
  EXPECT_EQ(CallSlot(property, 11), 1);

  constexpr GUID kNewest{0x9ACB0B09, 0xC5DB, 0x4431, {0xBD, 0x64, 0x74, 0x1B, 0xDD, 0xA7, 0x1A, 0xE2}};
  constexpr GUID kOldest{0x54F29263, 0x79B1, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};
  constexpr GUID kMiddle{0xC9A9FEC7, 0x8A9B, 0x4CFE, {0xAE, 0xBC, 0x92, 0xEA, 0x0E, 0x50, 0x52, 0x19}};
  using Values = std::vector<std::int32_t>;
  struct Form {
    std::uint32_t size;
    GUID id;
    Values sent, kept;
    HRESULT result;
  };
  const Values all = {1, 700, 33, -44, -55, 1, 5, 2000, 1, 7, 3000, 1}, before = {0, 1, 1, 0, 0, 0, 0, 1, 0, 0, 1, 0};
  const Values five(all.begin(), all.begin() + 5), six(all.begin(), all.begin() + 6);
  const Form forms[] = {
      {68, kNewest, all, all, S_OK},
      {40, kOldest, five, {1, 700, 33, -44, -55, 0, 13, 1000, 0, 18, 1000, 0}, S_OK},
      {44, kMiddle, six, {1, 700, 33, -44, -55, 1, 13, 1000, 0, 18, 1000, 0}, S_OK},
      {44, kOldest, six, before, E_FAIL},
      {68, kMiddle, all, before, E_FAIL},
      {68, kNewest, six, before, E_FAIL},
  };
  for (const Form& form : forms) {
    SCOPED_TRACE(testing::Message() << form.size << " bytes, " << form.sent.size() << " fields sent");
    Values values = before;
    CallSlot<const void*>(property, 4, values.data());
    EXPECT_EQ(LoadForm(*filter, form.size, form.id, form.sent), form.result);
    CallSlot<void*>(property, 3, values.data());
    EXPECT_EQ(values, form.kept);
  }
}

TEST(SimpleDelayFilter, SettersOnAnotherThreadNeverBreakAStream) {
  HammerSetters<CQvEchos>([](CQvEchos& filter, LONG i) {
    filter.SetDelayTime(1 + i % 40);
    filter.SetDecayTime(1 + i % 5);
    filter.SetMultipleDelays(i & 1);
    filter.SetDryOut(-i);
    filter.SetDelayOut(-i / 2);
    filter.SetBypass(i % 5 == 0);
    filter.SetParam(kEchosDecayTime, static_cast<float>(1 + i % 3));
    if (i % 7 == 0) filter.SetPreset(i % 2 + 1);
  });
}

TEST(SimpleDelayFilter, NothingThatAHostCanSendBreaksIt) {
  RunHostileMatrix<CQvEchos, EchosParams>(kEchosEffect, [](EchosParams& block, std::uint32_t rate) {
    block.delayMs = rate > 768000 ? 40 : std::min(block.delayMs, 40);
  });
}

}  // namespace
}  // namespace korva
