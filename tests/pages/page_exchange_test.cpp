#include "chorus/chorus_params.h"
#include "page_bench.h"
#include "pitchtime/pitchs_params.h"
#include "reverb/reverb_params.h"

namespace korva::test {
namespace {

/// What is begun for one filter, or overtaken by another hand, must reach no other value.
TEST(PageExchange, EscapeTakesBackOnlyWhatTheArrowsSet) {
  const PageCase& kind = PageOf("reverb");
  const PageControl& list = *std::ranges::find(kind.page.controls, ControlKind::kList, &PageControl::kind);
  const struct {
    bool arrow, outside, exchange;
    LONG left, right;  // of the filter that was open, and of the one that came
  } kCases[] = {{true, false, false, 5, 9}, {false, true, false, 7, 9}, {true, false, true, 4, 9}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.left);
    PageBench bench(kind);
    const PageBench other(kind);
    other.Set(list.row, 9);
    bench.Set(list.row, 5);
    bench.Open();
    bench.Send(list.id, CB_SHOWDROPDOWN, TRUE, 0);
    if (c.arrow) bench.Press(list.id, VK_UP);
    if (c.outside) bench.Set(list.row, 7);
    if (c.exchange) bench.Connect(other.filter);
    bench.Hold(VK_ESCAPE, true);
    bench.Press(list.id, VK_ESCAPE);
    bench.Hold(VK_ESCAPE, false);
    Pump();
    EXPECT_EQ(bench.Whole(list.row), c.left);
    EXPECT_EQ(other.Whole(list.row), c.right);
    EXPECT_EQ(bench.Selected(list.id), c.exchange ? c.right : c.left);
  }
}

TEST(PageExchange, ADragIsABracketToldAtItsEndAndEndsWithItsFilter) {
  PageBench bench(PageOf("chorus"));
  const PageBench other(PageOf("chorus"));
  const struct { int id, row, right, up; } sliders[] = {{6031, kChorusDelay, 1, 0}, {6020, kChorusDryOut, 0, 1}};
  for (const auto& slider : sliders) {
    SCOPED_TRACE(slider.id);
    bench.Open();
    const LONG old = other.Whole(slider.row), start = -100 + 400 * slider.right;
    bench.Show(slider.row, start);
    const POINT thumb = bench.Thumb(slider.id);
    const auto drag = [&](UINT message, WPARAM keys, int way) {
      bench.Send(slider.id, message, keys, MAKELPARAM(thumb.x + slider.right * way, thumb.y - slider.up * way));
    };
    bench.Hold(VK_LBUTTON, true);
    drag(WM_LBUTTONDOWN, MK_LBUTTON, 0);
    EXPECT_EQ(bench.recorder.Take().substr(0, 1), "[");
    ASSERT_EQ(::GetCapture(), bench[slider.id]);
    for (int step = 1; step <= 10; ++step) drag(WM_MOUSEMOVE, MK_LBUTTON, step);
    EXPECT_EQ(bench.recorder.Take().find_first_of("[]"), std::string::npos);
    EXPECT_EQ(bench.site.told, 0);
    bench.Hold(VK_LBUTTON, false);
    drag(WM_LBUTTONUP, 0, 10);
    EXPECT_TRUE(bench.recorder.Take().ends_with(']'));
    EXPECT_GT(bench.site.told, 0);
    EXPECT_GT(bench.Get(slider.row), start);
    // Another filter comes in the middle.
    bench.Show(slider.row, start);
    drag(WM_LBUTTONDOWN, MK_LBUTTON, 0);
    drag(WM_MOUSEMOVE, MK_LBUTTON, 10);
    bench.Connect(other.filter);
    drag(WM_MOUSEMOVE, MK_LBUTTON, 20);
    drag(WM_LBUTTONUP, 0, 20);
    EXPECT_EQ(other.Whole(slider.row), old);
    bench.ExpectBrackets(std::ranges::count(bench.recorder.heard, '['));
    bench.page->Deactivate();
  }
}

TEST(PageExchange, ATypedTimeTransposesAnew) {
  PageBench bench(PageOf("pitch-shift"));
  bench.Open();
  bench.Set(kPitchsTransposition, 5);
  bench.Type(2027, L"2:00");
  EXPECT_EQ(bench.Get(kPitchsTransposition), 1);
  EXPECT_EQ(bench.Text(2016), "1.00000");
  bench.Click(2004);
  EXPECT_EQ(bench.Text(2121), bench.Text(2021)) << "what a screen reader says of the box";
}

TEST(PageExchange, TheWheelTurnsNoListAndNoSpinnerWithoutTheFocus) {
  for (const PageCase& kind : Pages()) {
    PageBench bench(kind);
    for (const PageControl& control : kind.page.controls) {
      if (control.kind == ControlKind::kCheck) bench.Set(control.row, 1);
    }
    bench.Open();
    for (const PageControl& control : kind.page.controls) {
      if (control.kind != ControlKind::kList && control.kind != ControlKind::kSpinner) continue;
      SCOPED_TRACE(control.id);
      bench.Leave();
      const double held = bench.Get(control.row);
      bench.Send(control.id, WM_MOUSEWHEEL, static_cast<WPARAM>(WHEEL_DELTA) << 16, 0);
      EXPECT_EQ(bench.Get(control.row), held);
    }
  }
}

}  // namespace
}  // namespace korva::test
