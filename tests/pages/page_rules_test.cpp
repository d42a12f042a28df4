#include "chorus/chorus_params.h"
#include "delay/echos/echos_property.h"
#include "page_bench.h"
#include "reverb/reverb_params.h"
#include "support/test_song.h"

// What single pages have of their own, and the parts of the page.
namespace korva::test {
namespace {

TEST(PageRules, AChorusRateHasTwoSlopes) {
  const struct {
    LONG rate, position;
    const char* shown;
    LONG back;  // after the thumb was taken and let go at that position
  } kCases[] = {
      {1, 1, "0.001", 1},
      {9999, 9999, "9.999", 9999},
      {10005, 10000, "10.00", 10000},
      {10010, 10001, "10.01", 10010},
      {20000, 11000, "20.00", 20000},
  };
  PageBench bench(PageOf("chorus"));
  bench.Open();
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.rate);
    bench.Show(kChorusModRate, c.rate);
    EXPECT_EQ(bench.Position(6032), c.position);
    EXPECT_EQ(bench.Text(6033), c.shown);
    bench.Command(6033, EN_KILLFOCUS);
    EXPECT_EQ(bench.Get(kChorusModRate), c.rate) << "a look at the box changed it";
    for (const WPARAM code : {WPARAM{SB_THUMBPOSITION}, WPARAM{SB_ENDSCROLL}}) {
      ::SendMessageW(bench.dialog(), WM_HSCROLL, code, reinterpret_cast<LPARAM>(bench[6032]));
    }
    EXPECT_EQ(bench.Get(kChorusModRate), c.back);
  }
}

TEST(PageRules, BoxesReadTheirUnits) {
  const struct {
    const char* effect;
    int box;
    const WCHAR* text;
    int row;
    LONG value;
    const char* shown;
    std::uint32_t locale = 1033;
  } kCases[] = {
      {"chorus", 6033, L"0.0004", kChorusModRate, 1, "0.001"},
      {"chorus", 6033, L"5.125", kChorusModRate, 5125, "5,125", 1031},
      {"chorus", 6033, L"15 Hz", kChorusModRate, 15000, "15.00"},
      {"chorus", 6039, L"12.34", kChorusDelay, 123, "12.3"},
      {"chorus", 6038, L"1,234.9", kChorusAttenuationHz, 1234, "1,234"},
      {"chorus", 8031, L"2.5", kChorusModPeriodMultiplier, 2500, "2.500"},
      {"simple-delay", 3014, L"0.0004", kEchosDelayTime, 1, "0.001"},
      {"simple-delay", 3015, L"1.25", kEchosDecayTime, 12, "1.2"},
      {"simple-delay", 3023, L"3.9999", kEchosDelayMultiplier, 3999, "3.999"},
      {"reverb", 5036, L"5,000", kReverbBassFreq, 5000, "5,000"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(platform::ToUtf8(c.text));
    Environment::components->Speak(c.locale);
    PageBench bench(PageOf(c.effect));
    bench.Open();
    bench.Type(c.box, c.text);
    EXPECT_EQ(bench.Get(c.row), c.value);
    EXPECT_EQ(bench.Text(c.box), c.shown);
  }
  Environment::components->Speak(1033);
  PageBench reverb(PageOf("reverb"));
  reverb.Open();
  for (const LONG delay : {0, 200}) {
    reverb.Show(kReverbPreDelay, delay);
    EXPECT_EQ(reverb.Text(5023), delay == 0 ? "Off" : "200 ms.");
    EXPECT_EQ(reverb.Text(5031), "Mode 4  (16 ms)") << "with its two blanks";
  }
}

TEST(PageRules, ControlsAreEnabledByWhatTheyDependOn) {
  using Ids = std::vector<int>;
  using Rows = std::vector<std::pair<int, LONG>>;
  const Ids rate{6032, 6033, 6047}, period{8005, 8031, 8032, 8033, 6049}, high{6037, 6038};
  const Ids delay{3016, 3014, 3021}, decay{3017, 3015, 3018}, notes{8007, 3023, 8008, 8009}, ends{3025, 8011, 8012};
  const Ids bass{5036, 5038}, treble{5037, 5039};
  const struct {
    const char* effect;
    bool song;
    Rows rows;
    std::vector<Ids> enabled, disabled;
  } kCases[] = {
      {"chorus", false, {{kChorusTempoSync, 0}, {kChorusAttenuateHigh, 0}}, {rate}, {period, high}},
      {"chorus", true, {{kChorusTempoSync, 1}, {kChorusAttenuateHigh, 1}}, {period, high}, {rate}},
      {"simple-delay", false, {{kEchosMultipleDelays, 1}}, {delay, decay, {3012}}, {notes, ends, {8010}}},
      {"simple-delay",
       true,
       {{kEchosMultipleDelays, 0}, {kEchosTempoSyncDelay, 1}, {kEchosTempoSyncDecay, 1}},
       {notes},
       {delay, decay, ends, {8010}}},
      {"simple-delay", true, {{kEchosMultipleDelays, 1}, {kEchosTempoSyncDecay, 1}}, {ends, {8010}}, {decay}},
      {"reverb", false, {{kReverbBassOn, 1}, {kReverbHighOn, 0}}, {bass}, {treble}},
      {"reverb", false, {{kReverbBassOn, 0}, {kReverbHighOn, 1}}, {treble}, {bass}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.effect);
    TestSong song({{0, 12000}});
    PageBench bench(PageOf(c.effect));
    if (c.song) song.ConnectTo(*Query<IMfxSoftSynth>(bench.filter.Get()).Get());
    bench.Open();
    for (const auto& [row, value] : c.rows) bench.Set(row, value);
    bench.Notice();
    for (const bool enabled : {true, false}) {
      for (const Ids& ids : enabled ? c.enabled : c.disabled) {
        for (const int id : ids) EXPECT_EQ(bench.Enabled(id), enabled) << id;
      }
    }
  }
  // The box beside a filter's slider waits for the next tick.
  PageBench bench(PageOf("chorus"));
  bench.Set(kChorusAttenuateHigh, 1);
  bench.Open();
  bench.Tick();
  bench.Click(6036);
  EXPECT_FALSE(bench.Enabled(6037));
  EXPECT_TRUE(bench.Enabled(6038));
  bench.Tick();
  EXPECT_FALSE(bench.Enabled(6038));
}

TEST(PageRules, TheWheelTurnsWhatHasTheFocus) {
  constexpr LONG kWay = 999, kNotches = 50;
  const struct {
    int id, row;
    WPARAM keys;
    LONG start, moved;
  } kCases[] = {{6031, kChorusDelay, 0, 500, 500 + kWay / kNotches},
                {6031, kChorusDelay, MK_CONTROL, 500, 501},
                {6027, kChorusFeedback, 0, 50, 60},
                {6020, kChorusDryOut, 0, -300, -288}};
  PageBench bench(PageOf("chorus"));
  bench.Open();
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.id);
    bench.Leave();
    bench.Show(c.row, c.start);
    for (const bool focused : {false, true}) {
      if (focused) ::SetFocus(bench[c.id]);
      bench.Send(c.id, WM_MOUSEWHEEL, c.keys | (WHEEL_DELTA << 16), 0);
      EXPECT_EQ(bench.Get(c.row), focused ? c.moved : c.start);
      bench.ExpectBrackets(focused ? 1 : 0);
    }
  }
}

TEST(PageRules, ButtonsOfTheBarSayWhatTheyDo) {
  PageBench bench(PageOf("chorus"));
  bench.Open();
  EXPECT_EQ(bench.Text(kBypassButton), "Bypass");
  EXPECT_EQ(bench.Text(kHelpItem), "Help");
  const auto icon = [&](int id) { return bench.Send(id, BM_GETIMAGE, IMAGE_ICON, 0); };
  EXPECT_NE(icon(kHelpItem), 0);
  EXPECT_NE(icon(kBypassButton), 0);
  RECT square = {}, wide = {};
  ::GetClientRect(bench[kBypassButton], &square);
  bench.Send(kLogo, kLogoImages, 0, 0);  // as where the images cannot be had
  EXPECT_EQ(icon(kBypassButton), 0);
  ::GetClientRect(bench[kBypassButton], &wide);
  EXPECT_GT(wide.right, square.right) << "its text has room";
}

}  // namespace
}  // namespace korva::test
