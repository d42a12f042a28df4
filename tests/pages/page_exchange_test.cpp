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

TEST(PageExchange, ADragEndsWithItsFilter) {
  PageBench bench(PageOf("chorus"));
  const PageBench other(PageOf("chorus"));
  bench.Open();
  const LONG old = other.Whole(kChorusDelay);
  const POINT thumb = bench.Thumb(6031);
  bench.Send(6031, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(thumb.x, thumb.y));
  bench.Send(6031, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(thumb.x + 10, thumb.y));
  ASSERT_EQ(::GetCapture(), bench[6031]);
  bench.Connect(other.filter);
  bench.Send(6031, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(thumb.x + 20, thumb.y));
  bench.Send(6031, WM_LBUTTONUP, 0, MAKELPARAM(thumb.x + 20, thumb.y));
  EXPECT_EQ(other.Whole(kChorusDelay), old);
  bench.ExpectBrackets(std::ranges::count(bench.recorder.heard, '['));
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
