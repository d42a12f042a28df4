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
      {10000, 10000, "10.00", 10000},
      {10005, 10000, "10.00", 10000},
      {10010, 10001, "10.01", 10010},
      {20000, 11000, "20.00", 20000},
  };
  PageBench bench(PageOf("chorus"));
  bench.Open();
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.rate);
    bench.Set(kChorusModRate, c.rate);
    bench.Notice();
    EXPECT_EQ(bench.Position(6032), c.position);
    EXPECT_EQ(bench.Text(6033), c.shown);
    bench.Command(6033, EN_KILLFOCUS);
    EXPECT_EQ(bench.Get(kChorusModRate), c.rate) << "a look at the box changed it";
    const auto bar = reinterpret_cast<LPARAM>(bench[6032]);
    ::SendMessageW(bench.dialog(), WM_HSCROLL, MAKEWPARAM(SB_THUMBPOSITION, 0), bar);
    ::SendMessageW(bench.dialog(), WM_HSCROLL, MAKEWPARAM(SB_ENDSCROLL, 0), bar);
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
      {"chorus", 6033, L"1,5", kChorusModRate, 1500, "1.500"},
      {"chorus", 6033, L"5,125", kChorusModRate, 5125, "5.125"},
      {"chorus", 6033, L"5.125", kChorusModRate, 5125, "5,125", 1031},
      {"chorus", 6033, L"15 Hz", kChorusModRate, 15000, "15.00"},
      {"chorus", 6033, L"-3", kChorusModRate, 1, "0.001"},
      {"chorus", 6039, L"12.34", kChorusDelay, 123, "12.3"},
      {"chorus", 6038, L"1,234.9", kChorusAttenuationHz, 1234, "1,234"},
      {"chorus", 6038, L"1.234", kChorusAttenuationHz, 1234, "1.234", 1031},
      {"chorus", 8031, L"2.5", kChorusModPeriodMultiplier, 2500, "2.500"},
      {"simple-delay", 3014, L"0.0004", kEchosDelayTime, 1, "0.001"},
      {"simple-delay", 3014, L"1.5", kEchosDelayTime, 1500, "1.500"},
      {"simple-delay", 3015, L"1.25", kEchosDecayTime, 12, "1.2"},
      {"simple-delay", 3023, L"3.9999", kEchosDelayMultiplier, 3999, "3.999"},
      {"reverb", 5036, L"5,000", kReverbBassFreq, 5000, "5,000"},
      {"reverb", 5037, L"12345.6", kReverbHighFreq, 12345, "12,345"},
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
}

TEST(PageRules, ReadoutsOfTheReverb) {
  PageBench bench(PageOf("reverb"));
  bench.Open();
  for (const LONG delay : {0, 200}) {
    bench.Set(kReverbPreDelay, delay);
    bench.Set(kReverbDecayTime, 5);
    bench.Notice();
    EXPECT_EQ(bench.Text(5023), delay == 0 ? "Off" : "200 ms.");
    EXPECT_EQ(bench.Text(5019), "0.5");
    EXPECT_EQ(bench.Text(5031), "Mode 4  (16 ms)") << "with its two blanks";
  }
}

TEST(PageRules, ControlsAreEnabledByWhatTheyDependOn) {
  const struct {
    const char* effect;
    bool song;
    std::vector<std::pair<int, LONG>> rows;
    std::vector<int> enabled, disabled;
  } kCases[] = {
      {"chorus",
       false,
       {{kChorusTempoSync, 0}, {kChorusAttenuateHigh, 0}},
       {6032, 6033, 6047, 6039},
       {8005, 8031, 8032, 8033, 6049, 6037, 6038}},
      {"chorus",
       true,
       {{kChorusTempoSync, 1}, {kChorusAttenuateHigh, 1}},
       {8005, 8031, 8032, 8033, 6049, 6037, 6038},
       {6032, 6033, 6047}},
      {"simple-delay",
       false,
       {{kEchosMultipleDelays, 1}},
       {3016, 3014, 3021, 3017, 3015, 3018, 3012},
       {8007, 8010, 3023, 8008, 8009, 3025, 8011, 8012}},
      {"simple-delay",
       true,
       {{kEchosMultipleDelays, 0}, {kEchosTempoSyncDelay, 1}, {kEchosTempoSyncDecay, 1}},
       {8007, 3023, 8008, 8009},
       {8010, 3016, 3014, 3021, 3017, 3015, 3018, 3025, 8011, 8012}},
      {"simple-delay",
       true,
       {{kEchosMultipleDelays, 1}, {kEchosTempoSyncDecay, 1}},
       {8010, 3025, 8011, 8012},
       {3017, 3015, 3018}},
      {"reverb", false, {{kReverbBassOn, 1}, {kReverbHighOn, 0}}, {5036, 5038}, {5037, 5039}},
      {"reverb", false, {{kReverbBassOn, 0}, {kReverbHighOn, 1}}, {5037, 5039}, {5036, 5038}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.effect);
    TestSong song({{0, 12000}});
    PageBench bench(PageOf(c.effect));
    if (c.song) song.ConnectTo(*Query<IMfxSoftSynth>(bench.filter.Get()).Get());
    bench.Open();
    for (const auto& [row, value] : c.rows) bench.Set(row, value);
    bench.Notice();
    for (const int id : c.enabled) EXPECT_TRUE(bench.Enabled(id)) << id;
    for (const int id : c.disabled) EXPECT_FALSE(bench.Enabled(id)) << id;
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
  } kCases[] = {
      {6031, kChorusDelay, 0, 500, 500 + kWay / kNotches},
      {6031, kChorusDelay, MK_CONTROL, 500, 501},
      {6027, kChorusFeedback, 0, 50, 60},
      {6020, kChorusDryOut, 0, -300, -288},
  };
  PageBench bench(PageOf("chorus"));
  bench.Open();
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.id);
    bench.Set(c.row, c.start);
    bench.Notice();
    const WPARAM notch = c.keys | (WHEEL_DELTA << 16);
    bench.Leave();
    bench.Send(c.id, WM_MOUSEWHEEL, notch, 0);
    EXPECT_EQ(bench.Get(c.row), c.start);
    EXPECT_EQ(bench.Send(c.id, TBM_GETPOS, 0, 0), c.id == 6020 ? -600 - c.start : c.start) << "moved without the focus";
    ::SetFocus(bench[c.id]);
    bench.recorder.Take();
    bench.Send(c.id, WM_MOUSEWHEEL, notch, 0);
    EXPECT_EQ(bench.Get(c.row), c.moved);
    const std::string heard = bench.recorder.Take();
    EXPECT_EQ(std::ranges::count(heard, '['), 1) << heard;
    EXPECT_EQ(std::ranges::count(heard, ']'), 1) << heard;
  }
}

TEST(PageRules, ButtonsOfTheBarSayWhatTheyDo) {
  PageBench bench(PageOf("chorus"));
  bench.Open();
  EXPECT_EQ(bench.Text(kBypassButton), "Bypass");
  EXPECT_EQ(bench.Text(kHelpItem), "Help");
  const auto icon = [&](int id) { return bench.Send(id, BM_GETIMAGE, IMAGE_ICON, 0); };
  const LRESULT off = icon(kBypassButton);
  EXPECT_NE(icon(kHelpItem), 0);
  EXPECT_NE(off, 0);
  bench.Command(kNotice);
  EXPECT_EQ(icon(kBypassButton), off) << "a new one though nothing changed";
  RECT square = {}, wide = {};
  ::GetClientRect(bench[kBypassButton], &square);
  bench.Send(kLogo, kLogoImages, 0, 0);  // as where the images cannot be had
  EXPECT_EQ(icon(kBypassButton), 0);
  EXPECT_EQ(::GetWindowLongPtrW(bench[kBypassButton], GWL_STYLE) & BS_ICON, 0);
  ::GetClientRect(bench[kBypassButton], &wide);
  EXPECT_GT(wide.right, square.right) << "its text has room";
}

}  // namespace
}  // namespace korva::test
