// The rules of the Multi-Tap Delay's page that are its own, and its graph.
#include <cstring>

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

/// The colours of a graph.
class Picture {
 public:
  Picture(int w, int h) : width(w), height(h), colors_(static_cast<std::size_t>(w * h)) {}
  /// As it stands on the screen.
  static Picture Of(HWND graph) {
    RECT client = {};
    ::GetClientRect(graph, &client);
    ::UpdateWindow(graph);
    Picture shown(client.right, client.bottom);
    const HDC screen = ::GetDC(graph), memory = ::CreateCompatibleDC(screen);
    const HBITMAP bitmap = ::CreateCompatibleBitmap(screen, shown.width, shown.height);
    const HGDIOBJ before = ::SelectObject(memory, bitmap);
    ::BitBlt(memory, 0, 0, shown.width, shown.height, screen, 0, 0, SRCCOPY);
    for (int at = 0; at < shown.width * shown.height; ++at) {
      shown.At(at % shown.width, at / shown.width) = ::GetPixel(memory, at % shown.width, at / shown.width);
    }
    ::SelectObject(memory, before);
    ::DeleteObject(bitmap);
    ::DeleteDC(memory);
    ::ReleaseDC(graph, screen);
    return shown;
  }

  void Fill(const GraphBox& box, COLORREF color) {
    for (int y = std::max(box.top, 0); y < std::min(box.bottom, height); ++y) {
      for (int x = std::max(box.left, 0); x < std::min(box.right, width); ++x) At(x, y) = color;
    }
  }
  COLORREF& At(int x, int y) { return colors_[static_cast<std::size_t>(y * width + x)]; }
  bool operator==(const Picture&) const = default;
  int width, height;

 private:
  std::vector<COLORREF> colors_;
};

/// What the graph of a pattern must look like.
Picture Expected(const EchomtParams& params, int width, int height) {
  Picture picture(width, height);
  picture.Fill({0, 0, width, height}, ::GetSysColor(COLOR_BTNFACE));
  picture.Fill({0, 0, 1, height}, RGB(0, 0, 0));
  picture.Fill({0, height / 2, width, height / 2 + 1}, RGB(0, 0, 0));
  const GraphBox graph = {1, 0, width - 1, height};
  const std::int32_t span = GraphSpan(params.graphResolution);
  std::vector<std::int32_t> response(static_cast<std::size_t>(span) + 1);
  ComputeEchoResponse(params, response);
  for (std::int32_t t = 1; t <= span; ++t) {
    const std::int32_t level = response[static_cast<std::size_t>(t)];
    if (level != 0) picture.Fill(BarOf(graph, span, t, level), QvGetUIColor(kColorEcho));
  }
  for (const bool current : {false, true}) {
    for (int tap = 0; tap < params.tapCount; ++tap) {
      if ((tap == params.currentTap) != current) continue;
      const GraphBox bar = BarOf(graph, span, params.tapDelayMs[tap], params.tapGain[tap] * 100);
      picture.Fill(bar, QvGetUIColor(current ? kColorCurrentTap : kColorTap));
    }
  }
  return picture;
}

TEST(TapPage, TheGraphShowsBarsWhereAndAsHighAsTold) {
  TapBench bench, second;
  bench.Open();
  second.Open();
  ::ShowWindow(second.host, SW_HIDE);
  const auto compare = [&bench](const char* what, const EchomtParams& params) {
    Pump();
    const Picture shown = Picture::Of(bench[kGraph]);
    EXPECT_TRUE(shown == Expected(params, shown.width, shown.height)) << what;
    return shown;
  };
  for (const LONG preset : {1, 2, 10, 13, 17, 22}) {
    for (const LONG resolution : {0, 1, 2, 3}) {
      bench.Preset(preset);
      bench.Choose(4043, resolution);
      ASSERT_EQ(bench.Params().graphResolution, resolution);
      compare("preset", bench.Params());
    }
  }
  // By what the page offers: every edit that the graph shows repaints it.
  bench.Preset(1);
  bench.Type(4118, L"500");
  compare("delay", bench.Params());
  while (bench.Params().feedback < 100) bench.Press(4013, VK_PRIOR);
  bench.Choose(4043, 3);
  Picture full = compare("feedback", bench.Params());
  for (int echo = 1; echo <= 10; ++echo) {
    const int x = 1 + (full.width - 3) * echo * 500 / 5000;
    const COLORREF color = QvGetUIColor(echo == 1 ? kColorCurrentTap : kColorEcho);
    EXPECT_EQ(full.At(x, 0), color) << "up to the edge";
    EXPECT_EQ(full.At(x, full.height / 2 - 1), color);
  }
  while (bench.Params().tapCount < 3) bench.Press(4014, VK_RIGHT);
  compare("count", bench.Params());
  bench.Click(kFirstTap + 1);
  compare("current tap", bench.Params());
  for (const WPARAM key : {VK_END, VK_DELETE}) {
    bench.Press(4026, key);
    compare("gain", bench.Params());
  }
  ASSERT_EQ(bench.Params().tapGain[1], 0);
  // Another object, and none.
  const auto other = bench.kind.Filter();
  bench.Connect(other);
  EchomtParams params{};
  Query<IQvEchomtProp>(other.Get())->GetParams(&params);
  compare("another object", params);
  EXPECT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
  ::InvalidateRect(bench[kGraph], nullptr, FALSE);
  Pump();
  // Without memory the echoes are left out, and the taps are not.
  bench.Connect();
  bench.Preset(13);
  FailAllocationsAfter(0);
  ::InvalidateRect(bench[kGraph], nullptr, FALSE);
  ::UpdateWindow(bench[kGraph]);
  FailAllocationsAfter(-1);
  params = bench.Params();
  params.feedback = 0;
  compare("no memory", params);
}

}  // namespace
}  // namespace korva::test
