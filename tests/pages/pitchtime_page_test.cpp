// The rules that the pages of Pitch Shift and Time Stretch have of their own.
#include "page_bench.h"
#include "pitchtime/pitchs_filter.h"
#include "pitchtime/time_filter.h"
#include "support/owned.h"
#include "support/test_graph.h"

namespace korva::test {
namespace {

/// A page whose filter may have an input.
template <class Filter>
class StretchBench {
 public:
  explicit StretchBench(const char* effect)
      : bench(PageOf(effect), ComPtr<IUnknown>(filter->InnerUnknown())), params(filter.Get()) {
    bench.Open();
  }
  void Input(std::uint32_t rate) {
    graph.reset();
    if (rate != 0) graph = std::make_unique<TestGraph>(*filter, MakeFormat(SampleFormat::kPcm16, 2, rate));
    Pump();
  }

  Owned<Filter> filter;
  PageBench bench;
  Filter* params;
  std::unique_ptr<TestGraph> graph;
};

TEST(PitchPage, ComputesTheTranspositionAndWhatFollows) {
  const struct {
    int semitones, cents;  // tenths of a cent
    double ratio;
    const char *shown, *interval, *finalTime;
    bool antiAlias, duration;
  } kCases[] = {
      {0, 1000, 1.0594630943592953, "1.05946", "Up Minor 2nd  ", "00:00:56.632", true, true},
      {7, 10, 1.4991726, "1.49917", "Up 5th +", "00:00:40.022", true, true},
      {-3, 0, 0.8408964152537145, "0.84090", "Down Minor 3rd  ", "00:01:11.352", false, true},
      {-50, -1000, 0.052556028, "0.05256", "Down Minor 3rd  ", "00:19:01.638", false, false},
  };
  StretchBench<CQvPitchs> page("pitch-shift");
  page.Input(44100);
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.semitones * 1000 + c.cents);
    page.params->SetTransposition(5);
    page.bench.Type(2011, std::to_wstring(c.semitones).c_str());
    page.bench.Type(2012, (std::to_wstring(c.cents / 10)).c_str());
    double ratio = 0;
    page.params->GetTransposition(&ratio);
    EXPECT_NEAR(ratio, c.ratio, 1e-6);
    EXPECT_EQ(page.bench.Text(2016), c.shown);
    EXPECT_EQ(page.bench.Text(2032), c.interval);
    EXPECT_EQ(page.bench.Text(2028), c.finalTime);
    EXPECT_EQ(page.bench.Enabled(2005), c.antiAlias);
    EXPECT_EQ(page.bench.Enabled(2004), c.duration);
  }
}

TEST(PitchPage, KeepingTheDurationNarrowsTheShift) {
  StretchBench<CQvPitchs> page("pitch-shift");
  const PageBench& bench = page.bench;
  bench.Type(2011, L"50");
  EXPECT_EQ(bench.Position(2022), 50);
  page.params->SetPreserveDuration(1);  // as a host may, above what the page offers
  bench.Notice();
  EXPECT_EQ(page.bench.Whole(kPitchsSemitones), 12);
  EXPECT_EQ(bench.Text(2016), "2.00000");
  EXPECT_EQ(bench.Text(2021), "Se&mitones to shift pitch by (-12 to 12):");
  bench.Press(2022, VK_PRIOR);
  EXPECT_EQ(bench.Whole(kPitchsSemitones), 12) << "the end of its way";
  bench.Press(2022, VK_NEXT);
  EXPECT_EQ(bench.Whole(kPitchsSemitones), 10) << "a page is two";
  bench.Type(2011, L"-20");
  EXPECT_EQ(bench.Text(2011), "-12");
  for (const bool kept : {true, false}) {
    for (const int id : {2002, 2010}) EXPECT_EQ(bench.Enabled(id), kept);
    for (const int id : {2026, 2027, 2028, 2029}) EXPECT_EQ(bench.Enabled(id), !kept);
    bench.Click(2004);
  }
  bench.Click(2004);
  EXPECT_EQ(bench.Text(2021), "Se&mitones to shift pitch by (-50 to 50):");
  bench.Press(2022, VK_HOME);
  EXPECT_EQ(bench.Whole(kPitchsSemitones), -50);
  page.bench.Choose(2010, 18);
  EXPECT_EQ(bench.Whole(kPitchsMode), 18);
}

TEST(PitchPage, TimesFollowTheInput) {
  StretchBench<CQvPitchs> page("pitch-shift");
  for (const std::uint32_t rate : {0U, 44100U, 0U}) {
    page.Input(rate);
    EXPECT_EQ(page.bench.Text(2027), rate != 0 ? "00:01:00.000" : "00:00:00.000");
    EXPECT_EQ(page.bench.Text(2029), rate != 0 ? "Final time (00:00:03.148 to 00:19:03.540):" : "Need input pin");
  }
  const struct {
    std::uint32_t rate;
    const WCHAR* text;
    double samples;
  } kTyped[] = {
      {0, L"1:30.5", 1.0}, {44100, L"013000500", 225306900}, {44100, L"nothing", 0}, {8000, L"0:0:0:1 and 9", 8}};
  for (const auto& c : kTyped) {
    SCOPED_TRACE(platform::ToUtf8(c.text));
    page.Input(c.rate);
    page.bench.Type(2027, c.text);
    EXPECT_EQ(page.bench.Get(kPitchsInitialSamples), c.samples);
  }
}

TEST(TimePage, ThreeFormatsSpeakOfOneLength) {
  const struct {
    int format;
    std::uint32_t rate;
    double initial;  // tempo in hundredths, or frames
    const WCHAR* typed;
    double percentTimes100;
    const char *final, *caption, *initialShown;
  } kCases[] = {
      {0, 0, 0, L"93.337", 9333.7, "93.34", "&Final Percentage (50.00 to 500.00 %):", "0"},
      {0, 0, 0, L"often", 5000, "50.00", "&Final Percentage (50.00 to 500.00 %):", "0"},
      {1, 0, 12000, L"60", 20000, "60.00", "&Final Tempo (240.00 to 24.00 bpm):", "120.00"},
      {1, 0, 12000, L"0", 50000, "24.00", "&Final Tempo (240.00 to 24.00 bpm):", "120.00"},
      {1, 0, 0, L"0", 5000, "0.00", "&Final Tempo (0.00 to 0.00 bpm):", "0.00"},
      {2, 44100, 2646000, L"00:01:30.000", 15000, "00:01:30.000",
       "&Final Time (00:00:30.000 to 00:05:00.000):", "00:01:00.000"},
      {2, 44100, 0, L"90", 50000, "00:00:00.000", "&Final Time (00:00:00.000 to 00:00:00.000):", "00:00:00.000"},
      {2, 0, 2646000, L"90", 5000, "00:00:00.000", "Need input pin", "00:00:00.000"},
  };
  StretchBench<CQvTime> page("time-stretch");
  const PageBench& bench = page.bench;
  for (const auto& c : kCases) {
    SCOPED_TRACE(platform::ToUtf8(c.typed) + " as " + std::to_string(c.format));
    page.Input(c.rate);
    page.params->SetPercent(10000);
    page.params->SetTempo(static_cast<DWORD>(c.format == 1 ? c.initial : 12000));
    page.params->SetInitialSamples(c.initial);
    page.bench.Choose(1015, c.format);
    EXPECT_EQ(bench.Get(kTimePercent), 10000) << "the format is not heard";
    bench.Type(1007, c.typed);
    EXPECT_NEAR(bench.Get(kTimePercent), c.percentTimes100, 1e-9);
    EXPECT_EQ(bench.Position(1003), static_cast<LONG>(c.percentTimes100 - 10000));
    EXPECT_EQ(bench.Text(1007), c.final);
    EXPECT_EQ(bench.Text(1002), c.caption);
    EXPECT_EQ(bench.Text(1008), c.initialShown);
    EXPECT_EQ(bench.Enabled(1008), c.format != 0);
    EXPECT_EQ(bench.Enabled(1016), c.format != 0);
  }
}

TEST(TimePage, TheFinalValueFollowsTheInitialOneAndTheSlider) {
  StretchBench<CQvTime> page("time-stretch");
  const PageBench& bench = page.bench;
  page.Input(44100);
  page.params->SetPercent(20000);
  page.bench.Choose(1015, 1);
  bench.Type(1008, L"100.005");
  EXPECT_EQ(bench.Get(kTimeTempo), 10000);
  EXPECT_EQ(bench.Text(1007), "50.00");
  page.bench.Choose(1015, 2);
  EXPECT_EQ(bench.Text(1016), "&Initial Time (hr:mn:sc.xxx):");
  bench.Type(1008, L"1:30");
  EXPECT_EQ(bench.Text(1008), "00:01:30.000");
  EXPECT_EQ(bench.Text(1007), "00:03:00.000");
  bench.Press(1003, VK_HOME);
  EXPECT_EQ(bench.Text(1007), "00:00:45.000");
  bench.Press(1003, VK_PRIOR);
  EXPECT_EQ(bench.Get(kTimePercent), 5100) << "a page is a percent";
  bench.Press(1003, VK_DELETE);
  EXPECT_EQ(bench.Get(kTimePercent), 10000);
  page.Input(22050);
  EXPECT_EQ(bench.Text(1007), "00:03:00.000") << "another rate";
  page.Input(0);
  EXPECT_EQ(bench.Text(1002), "Need input pin");
  EXPECT_EQ(bench.Text(1016), "&Initial Time (hr:mn:sc.xxx):") << "stays";
  // A preset brings back the percentage: what was typed as a tempo is not meant any more.
  page.bench.Choose(1015, 1);
  bench.Enter(1007, L"240");
  Query<IStaticFilterPreset>(bench.filter.Get())->SetPreset(2);
  Pump();
  bench.Leave();
  EXPECT_EQ(bench.Get(kTimePercent), 11000);
  EXPECT_EQ(bench.Text(1007), "110.00");
}

}  // namespace
}  // namespace korva::test
