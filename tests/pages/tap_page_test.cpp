// The rules of the Multi-Tap Delay's page that are its own, and its graph.
#include "delay/echomt/echo_response.h"
#include "delay/echomt/echomt_filter.h"
#include "delay/echomt/echomt_params.h"
#include "page_bench.h"
#include "qvkit/ui_color.h"
#include "support/owned.h"
#include "support/test_graph.h"

namespace korva::test {
namespace {

constexpr int kGraph = 4042, kFirstTap = 4018;

class TapBench : public PageBench {
 public:
  explicit TapBench(ComPtr<IUnknown> with = {}) : PageBench(PageOf("multi-tap-delay"), std::move(with)) {}
  void Preset(LONG row) {
    Query<IStaticFilterPreset>(filter.Get())->SetPreset(row);
    Pump();
  }
  EchomtParams Params() const {
    EchomtParams block{};
    Query<IQvEchomtProp>(filter.Get())->GetParams(&block);
    return block;
  }
  /// The tap whose button is checked; -1 for none or several.
  int CheckedTap() const {
    int checked = -1;
    for (int tap = 0; tap < kEchomtTaps; ++tap) {
      if (Checked(kFirstTap + tap)) checked = checked < 0 ? tap : kEchomtTaps;
    }
    return checked < kEchomtTaps ? checked : -1;
  }
};

TEST(TapPage, ShowsTheTapThatIsChosen) {
  TapBench bench;
  bench.Open();
  bench.Preset(13);  // eight taps
  for (const int tap : {7, 2, 4}) {
    SCOPED_TRACE(tap);
    bench.Click(kFirstTap + tap);
    const EchomtParams params = bench.Params();
    EXPECT_EQ(params.currentTap, tap);
    EXPECT_EQ(bench.CheckedTap(), tap);
    EXPECT_EQ(bench.Position(4026), params.tapGain[tap]);
    EXPECT_EQ(bench.Position(4029), params.tapDelayMs[tap]);
    EXPECT_EQ(bench.Text(4118), std::to_string(params.tapDelayMs[tap]));
    EXPECT_EQ(bench.Text(4038), std::to_string(params.tapPan[tap]) + " %");
  }
  // The typed delay goes to the tap that it was typed for, and to none when a preset has gone to another.
  bench.Enter(4118, L"1,234");
  bench.Click(kFirstTap + 6);
  bench.Leave();
  EXPECT_EQ(bench.Params().tapDelayMs[4], 1234);
  EXPECT_EQ(bench.Params().tapDelayMs[6], 482);
  bench.Enter(4118, L"77");
  bench.Preset(14);
  bench.Leave();
  EXPECT_EQ(bench.Params().tapDelayMs[0], 100);
  // Taps that are taken away take the choice with them.
  bench.Preset(13);
  bench.Click(kFirstTap + 7);
  for (const int count : {7, 3, 1}) {
    while (bench.Params().tapCount > count) bench.Press(4014, VK_LEFT);
    EXPECT_EQ(bench.Params().currentTap, count - 1);
    EXPECT_EQ(bench.CheckedTap(), count - 1);
    for (int tap = 0; tap < kEchomtTaps; ++tap) EXPECT_EQ(bench.Enabled(kFirstTap + tap), tap < count);
  }
}

TEST(TapPage, PanBelongsToStereoStreams) {
  Owned<CQvEchomt> filter;
  TapBench bench(ComPtr<IUnknown>(filter->InnerUnknown()));
  bench.Open();
  EXPECT_FALSE(bench.Enabled(4031));
  for (const int channels : {2, 1, 6, 2}) {
    SCOPED_TRACE(channels);
    {
      const TestGraph graph(*filter, MakeFormat(SampleFormat::kPcm16, static_cast<std::uint16_t>(channels), 48000));
      ASSERT_EQ(graph.connected, S_OK);
      Pump();
      for (const int id : {4031, 4038, 4039, 4040, 4041}) EXPECT_EQ(bench.Enabled(id), channels == 2);
    }
    Pump();
    EXPECT_FALSE(bench.Enabled(4031)) << "no stream any more";
  }
}

// Where a bar stands and what the echoes are is tested with the response; here, that the graph shows the filter's.
TEST(TapPage, TheGraphShowsBarsWhereAndAsHighAsTold) {
  TapBench bench, second;
  bench.Open();
  second.Open();
  ::ShowWindow(second.host, SW_HIDE);
  RECT client = {};
  ::GetClientRect(bench[kGraph], &client);
  const int width = client.right, height = client.bottom;
  const COLORREF current = QvGetUIColor(kColorCurrentTap), echo = QvGetUIColor(kColorEcho);
  const auto at = [&bench](int x, int y) {
    const HDC screen = ::GetDC(bench[kGraph]);
    const COLORREF color = ::GetPixel(screen, x, y);
    ::ReleaseDC(bench[kGraph], screen);
    return color;
  };
  const auto expectTaps = [&](const char* what, const EchomtParams& params) {
    SCOPED_TRACE(what);
    Pump();
    ::UpdateWindow(bench[kGraph]);
    const auto barOf = [&](int tap) {
      return BarOf({1, 0, width - 1, height}, GraphSpan(params.graphResolution), params.tapDelayMs[tap],
                   params.tapGain[tap] * 100);
    };
    const GraphBox front = barOf(params.currentTap);
    for (int tap = 0; tap < params.tapCount; ++tap) {
      const GraphBox bar = barOf(tap);
      const bool isCurrent = tap == params.currentTap;
      if (bar == GraphBox{} || (!isCurrent && bar.left == front.left)) continue;  // out of sight
      const COLORREF color = isCurrent ? current : QvGetUIColor(kColorTap);
      EXPECT_EQ(at(bar.left, bar.top), color) << tap;
      EXPECT_EQ(at(bar.left, std::min(bar.bottom, height) - 1), color) << tap;
      if (!isCurrent) continue;
      EXPECT_NE(at(bar.left, bar.top - 1), color) << "higher than told";
      EXPECT_NE(at(bar.left, bar.bottom), color) << "lower than told";
    }
  };
  for (const LONG preset : {1, 10, 13, 22}) {
    for (const LONG resolution : {0, 1, 2, 3}) {
      bench.Preset(preset);
      bench.Choose(4043, resolution);
      ASSERT_EQ(bench.Params().graphResolution, resolution);
      expectTaps("preset", bench.Params());
    }
  }
  EXPECT_EQ(at(0, 1), RGB(0, 0, 0)) << "the axes";
  EXPECT_EQ(at(width - 1, height / 2), RGB(0, 0, 0));
  // By what the page offers: every edit that the graph shows repaints it.
  bench.Preset(1);
  bench.Type(4118, L"500");
  expectTaps("delay", bench.Params());
  const auto expectEchoes = [&](bool shown) {
    for (int i = 2; i <= 10; ++i) {
      const int x = 1 + (width - 3) * i * 500 / 5000;
      for (const int y : {0, height / 2 - 1}) EXPECT_EQ(at(x, y) == echo, shown) << i << " at " << y;
    }
  };
  while (bench.Params().feedback < 100) bench.Press(4013, VK_PRIOR);
  bench.Choose(4043, 3);
  expectTaps("feedback", bench.Params());
  expectEchoes(true);
  // Without memory the echoes are left out, and the taps are not.
  FailAllocationsAfter(0);
  ::InvalidateRect(bench[kGraph], nullptr, FALSE);
  ::UpdateWindow(bench[kGraph]);
  FailAllocationsAfter(-1);
  expectTaps("no memory", bench.Params());
  expectEchoes(false);
  while (bench.Params().tapCount < 3) bench.Press(4014, VK_RIGHT);
  expectTaps("count", bench.Params());
  bench.Click(kFirstTap + 1);
  expectTaps("current tap", bench.Params());
  for (const WPARAM key : {WPARAM{VK_END}, WPARAM{VK_DELETE}}) {
    bench.Press(4026, key);
    expectTaps("gain", bench.Params());
  }
  ASSERT_EQ(bench.Params().tapGain[1], 0);
  // Another object, and none.
  const auto other = bench.kind.Filter();
  bench.Connect(other);
  EchomtParams params{};
  Query<IQvEchomtProp>(other.Get())->GetParams(&params);
  expectTaps("another object", params);
  EXPECT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
  ::InvalidateRect(bench[kGraph], nullptr, FALSE);
  Pump();
}

}  // namespace
}  // namespace korva::test
