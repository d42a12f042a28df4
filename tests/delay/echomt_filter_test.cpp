#include "delay/echomt/echomt_filter.h"

#include "delay/delay_rig.h"

namespace korva {
namespace {

// One centred tap and nothing dry. At 8 kHz it stands at 800 frames of a line of 840.
EchomtParams OneTap(std::int32_t feedback) {
  EchomtParams params{};
  for (std::size_t i = 0; i < kEchomtTaps; ++i) {
    params.tapDelayMs[i] = i == 0 ? 100 : 1;
    params.tapGain[i] = 100;
  }
  params.tapCount = 1;
  params.dryOut = -800;
  params.wetOut = -10;
  params.feedback = feedback;
  params.lowPassHz = 5000;
  params.modRate = 15;
  return params;
}

TEST(MultiTapDelayFilter, BothRoadsGiveTheSameStreamAndTail) {
  ExpectRoadsAgree<CQvEchomt>(*static_cast<const EchomtParams*>(kEchomtEffect.presets.Block(2)));
}

TEST(MultiTapDelayFilter, EveryFormatRingsOutWhole) {
  ExpectTails<CQvEchomt>(OneTap(0), 840, 840);
  ExpectTails<CQvEchomt>(OneTap(50), 5 * 840, 5 * 840);
  ExpectTails<CQvEchomt>(OneTap(100), 160000, 160000);
}

TEST(MultiTapDelayFilter, TailOnlySamplesRingOutAreSkippedAndThenRestart) {
  const EchomtParams params = OneTap(50);
  ExpectTailOnlyRun<CQvEchomt>(params, {1000, 1000, 1000, 1000, 200, 0, 0}, true);
  Owned<CQvEchomt> filter;
  filter->SetParams(&params);
  filter->FloatStart(2, 8000);
  // Each call is answered by itself: the one that runs out is not yet the end.
  std::vector<float> audio(2 * 1000);
  EXPECT_EQ(TailOnlyAnswers(*filter, 1), "0:1000 ");
  EXPECT_EQ(filter->FloatProcess(audio.data(), 1000, 0), S_OK);
  EXPECT_EQ(TailOnlyAnswers(*filter, 6), "0:1000 0:1000 0:1000 0:1000 0:200 1:0 ");
}

TEST(MultiTapDelayFilter, EditsReachTheNextBufferAndKeepMoveOrDropTheLine) {
  struct Case {
    const char* name;
    void (*edit)(CQvEchomt& filter);
    Stamp stamp;
    std::int64_t echo;  // frames after the impulse, -1 for none
    bool changed;
  };
  const Case cases[] = {
      {"none", [](CQvEchomt&) {}, {}, 800, false},
      {"gain", [](CQvEchomt& filter) { filter.SetWetOut(-100); }, {}, 800, true},
      {"gain as it was", [](CQvEchomt& filter) { filter.SetWetOut(-10); }, {}, 800, false},
      {"rate of no depth", [](CQvEchomt& filter) { filter.SetModRate(100); }, {}, 800, true},
      {"page", [](CQvEchomt& filter) { filter.SetCurrentTap(3); }, {}, 800, true},
      // The tap is set to 800 anew while the head has gone 500 further.
      {"feedback", [](CQvEchomt& filter) { filter.SetFeedback(10); }, {}, 1300, true},
      {"pan", [](CQvEchomt& filter) { filter.SetTapPan1(-50); }, {}, 1300, true},
      {"depth", [](CQvEchomt& filter) { filter.SetModDepth(100); }, {}, -1, true},
      {"longest tap", [](CQvEchomt& filter) { filter.SetTapDelay2(161); }, {}, -1, true},
      {"unused tap", [](CQvEchomt& filter) { filter.SetTapDelay8(2500); }, {}, 1300, true},
      {"discontinuity", [](CQvEchomt&) {}, {-1, true, false}, -1, false},
  };
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 1, 8000);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    // A second tap, which is not heard, makes the line long enough for a moved one.
    EchomtParams params = OneTap(0);
    params.tapCount = 2;
    params.tapDelayMs[1] = 160;
    params.tapGain[1] = 0;
    Owned<CQvEchomt> filter;
    filter->SetParams(&params);
    TestGraph graph(*filter, format, {900});
    ASSERT_EQ(graph.Start(), S_OK);
    EXPECT_EQ(graph.Send(Encode(format, Impulse(500, 1))), S_OK);
    EXPECT_EQ(filter->FloatQuery(), S_FALSE);
    MemoryStream record;
    EXPECT_EQ(filter->Save(&record, TRUE), S_OK);
    c.edit(*filter);
    EXPECT_EQ(filter->FloatQuery(), c.changed ? S_OK : S_FALSE);
    EXPECT_EQ(filter->IsDirty(), c.changed ? S_OK : S_FALSE);
    EXPECT_EQ(graph.Send(Encode(format, std::vector<double>(900)), c.stamp), S_OK);
    const auto output = Decode(format, graph.sink->pin.received);
    const auto loud = std::find_if(output.begin(), output.end(), [](double x) { return x != 0.0; });
    EXPECT_EQ(loud == output.end() ? -1 : loud - output.begin(), c.echo);
  }
}

TEST(MultiTapDelayFilter, LargestSettingStaysInItsLines) {
  EchomtParams params = OneTap(150);
  std::fill_n(params.tapDelayMs, kEchomtTaps, 2500);
  params.tapCount = kEchomtTaps;
  params.modDepth = 100;
  const FormatRecord format = MakeFormat(SampleFormat::kFloat32, 32, 192000);
  Owned<CQvEchomt> filter;
  filter->SetParams(&params);
  TestGraph graph(*filter, format, {4801});
  ASSERT_EQ(graph.Start(), S_OK);
  const Bytes noise = NoiseBytes(format, 4801);
  // Past the first echoes and once round the line of 506395 frames.
  double loudest = 0;
  for (int i = 0; i < 110; ++i) {
    graph.sink->pin.received.clear();
    ASSERT_EQ(graph.Send(noise), S_OK);
    for (const double x : Decode(format, graph.sink->pin.received)) loudest = std::max(loudest, std::fabs(x));
  }
  EXPECT_GT(loudest, 0.6);
  EXPECT_LT(loudest, 8 * 0.5 * 2.5);
}

TEST(MultiTapDelayFilter, SlotsRecordsAndPresetsAreAsHostsKnowThem) {
  Owned<CQvEchomt> filter;
  IQvEchomtProp* const property = filter.Get();
  std::vector<SlotRule> rules = {{28, -800, 0}, {26, -800, 0}, {25, -800, 0},       {32, 1, 100},
                                 {31, 0, 100},  {27, 0, 150},  {29, -99999, 99999}, {30, 100, 10000},
                                 {24, 1, 8},    {33, 0, 7},    {34, 0, 3}};
  for (std::size_t tap = 0; tap < 8; ++tap) rules.push_back({8 + tap, -100, 100});
  for (std::size_t tap = 0; tap < 8; ++tap) rules.push_back({tap, 1, 2500});
  for (std::size_t tap = 0; tap < 8; ++tap) rules.push_back({16 + tap, -100, 100});
  ExpectSlots(*filter, property, 2, rules);

  std::vector<LONG> values(35), expected(35);
  CallSlot<LONG*>(property, 3, values.data());
  expected = values;
  // Out of range values are told and taken as far as the range goes; the low-pass switch has none.
  values[7] = 2501, values[19] = -101, values[34] = 4, values[29] = -7;
  expected[7] = 2500, expected[19] = -100, expected[34] = 3, expected[29] = -7;
  EXPECT_EQ(CallSlot<const LONG*>(property, 4, values.data()), E_FAIL);
  constexpr GUID kTag{0x7298A3E3, 0x78EE, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};
  constexpr GUID kOther{0x7298A3E0, 0x78EE, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};
  const std::vector<std::int32_t> ones(35, 1);
  EXPECT_EQ(LoadForm(*filter, 160, kOther, ones), E_FAIL);
  EXPECT_EQ(LoadForm(*filter, 159, kTag, ones), E_FAIL);
  EXPECT_EQ(LoadForm(*filter, 160, kTag, std::vector<std::int32_t>(34, 1)), E_FAIL);
  CallSlot<LONG*>(property, 3, values.data());
  EXPECT_EQ(values, expected);
  EXPECT_EQ(LoadForm(*filter, 160, kTag, ones), S_OK);
}

TEST(MultiTapDelayFilter, SettersOnAnotherThreadNeverBreakAStream) {
  HammerSetters<CQvEchomt>([](CQvEchomt& filter, LONG i) {
    filter.SetTapDelay1(1 + i % 40);
    filter.SetTapGain1(i % 100);
    filter.SetTapPan1(-(i % 100));
    filter.SetTapCount(1 + i % 3);
    filter.SetFeedback(i % 50);
    filter.SetWetOut(-i / 2);
    filter.SetModDepth(i % 4);
    filter.SetLowPassEnabled(i & 1);
    if (i % 7 == 0) filter.SetPreset(i % 2 + 1);
  });
}

TEST(MultiTapDelayFilter, NothingThatAHostCanSendBreaksIt) {
  RunHostileMatrix<CQvEchomt, EchomtParams>(kEchomtEffect, [](EchomtParams& block, std::uint32_t rate) {
    for (std::int32_t& delay : block.tapDelayMs) delay = rate > 768000 ? 30 : std::min(delay, 30);
  });
}

}  // namespace
}  // namespace korva
