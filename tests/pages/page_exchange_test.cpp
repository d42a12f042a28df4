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
    BYTE keys[256] = {};
    keys[VK_ESCAPE] = 0x80;
    ::SetKeyboardState(keys);
    bench.Press(list.id, VK_ESCAPE);
    keys[VK_ESCAPE] = 0;
    ::SetKeyboardState(keys);
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
  RECT thumb = {};
  bench.Send(6031, TBM_GETTHUMBRECT, 0, reinterpret_cast<LPARAM>(&thumb));
  const auto point = [&](LONG x) { return MAKELPARAM(x, (thumb.top + thumb.bottom) / 2); };
  const LONG middle = (thumb.left + thumb.right) / 2;
  bench.Send(6031, WM_LBUTTONDOWN, MK_LBUTTON, point(middle));
  bench.Send(6031, WM_MOUSEMOVE, MK_LBUTTON, point(middle + 10));
  ASSERT_EQ(::GetCapture(), bench[6031]);
  bench.Connect(other.filter);
  bench.Send(6031, WM_MOUSEMOVE, MK_LBUTTON, point(middle + 20));
  bench.Send(6031, WM_LBUTTONUP, 0, point(middle + 20));
  EXPECT_EQ(other.Whole(kChorusDelay), old);
  const std::string heard = bench.recorder.Take();
  EXPECT_EQ(std::ranges::count(heard, '['), std::ranges::count(heard, ']')) << heard;
}

TEST(PageExchange, ABoxThatIsLeftShowsWhatTheFilterHolds) {
  PageBench bench(PageOf("chorus"));
  bench.Set(kChorusDelay, 400);
  bench.Open();
  bench.Enter(6039, L"5");
  bench.Set(kChorusDelay, 700);
  bench.Command(kNotice);
  bench.Type(6039, L"40.0");  // as it stood
  EXPECT_EQ(bench.Whole(kChorusDelay), 700);
  EXPECT_EQ(bench.Text(6039), "70.0");
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
      for (const int notch : {-WHEEL_DELTA, WHEEL_DELTA}) {
        bench.Send(control.id, WM_MOUSEWHEEL, static_cast<WPARAM>(notch) << 16, 0);
        EXPECT_EQ(bench.Get(control.row), held);
      }
    }
  }
}

}  // namespace
}  // namespace korva::test
