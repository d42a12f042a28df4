#include <thread>

#include "page_bench.h"
#include "pages/logo_name.h"
#include "qvkit/help.h"

// What every page does, over the list of pages.
namespace korva::test {
namespace {

const testing::Environment* const environment = testing::AddGlobalTestEnvironment(new Environment);

/// A value in the range of a row that reads as itself.
double Middle(const ParamDescriptor& row) {
  return row.externalMin + (row.externalMax - row.externalMin + 2) / 3;
}

std::string Shown(const PageBench& bench, const PageControl& control, double value) {
  return platform::ToUtf8(
      ShowNumber(*control.form, value, bench.Row(control.row).externalMin, ModuleLanguage()).Text());
}

bool Slides(const PageControl& control) {
  return control.kind == ControlKind::kFader || control.kind == ControlKind::kTrackbar;
}

TEST(Page, CodesOfALifecycle) {
  const auto before = CBaseObject::ObjectsActive();
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    IPropertyPage& page = *bench.page.Get();
    IUnknown* const nothing = nullptr;
    IUnknown* object = bench.filter.Get();
    IUnknown* stranger = &bench.site;
    const RECT place = {0, 0, 10, 10};
    EXPECT_EQ(page.SetPageSite(&bench.site), E_UNEXPECTED);
    EXPECT_EQ(page.SetPageSite(nullptr), S_OK);
    EXPECT_EQ(page.SetPageSite(nullptr), E_UNEXPECTED);
    EXPECT_EQ(page.Apply(), E_UNEXPECTED);
    EXPECT_EQ(page.SetPageSite(&bench.site), S_OK);
    EXPECT_EQ(page.Apply(), E_UNEXPECTED);
    EXPECT_EQ(page.SetObjects(0, nullptr), E_UNEXPECTED);
    EXPECT_EQ(page.SetObjects(2, &object), E_UNEXPECTED);
    EXPECT_EQ(page.SetObjects(1, nullptr), E_POINTER);
    EXPECT_EQ(page.SetObjects(1, const_cast<IUnknown**>(&nothing)), E_POINTER);
    EXPECT_EQ(page.SetObjects(1, &stranger), E_NOINTERFACE);
    EXPECT_EQ(page.SetObjects(1, &object), S_OK);
    EXPECT_EQ(page.SetObjects(1, &object), S_OK);
    EXPECT_EQ(page.Apply(), S_OK);
    EXPECT_EQ(page.IsPageDirty(), S_FALSE);
    EXPECT_EQ(page.Help(L""), E_NOTIMPL);
    EXPECT_EQ(page.TranslateAccelerator(nullptr), E_NOTIMPL);
    EXPECT_EQ(page.Deactivate(), E_UNEXPECTED);
    EXPECT_EQ(page.Show(SW_SHOW), E_UNEXPECTED);
    EXPECT_EQ(page.Move(&place), E_UNEXPECTED);
    EXPECT_EQ(page.Activate(bench.host, nullptr, FALSE), E_POINTER);
    EXPECT_EQ(page.Activate(bench.host, &place, FALSE), S_OK);
    EXPECT_EQ(page.Activate(bench.host, &place, FALSE), E_UNEXPECTED);
    EXPECT_NE(::GetWindowLongPtrW(bench.dialog(), GWL_EXSTYLE) & WS_EX_CONTROLPARENT, 0);
    for (const UINT command : {SW_HIDE, SW_SHOWNORMAL, SW_SHOW}) EXPECT_EQ(page.Show(command), S_OK);
    EXPECT_EQ(page.Show(SW_MAXIMIZE), E_INVALIDARG);
    EXPECT_EQ(page.Deactivate(), S_OK);
    EXPECT_EQ(bench.dialog(), nullptr);
    EXPECT_EQ(page.Activate(bench.host, &place, FALSE), S_OK);
    // Left open: the last reference closes everything.
  }
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

TEST(Page, TellsWhatItIs) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    PROPPAGEINFO info = {};
    EXPECT_EQ(bench.page->GetPageInfo(nullptr), E_POINTER);
    ASSERT_EQ(bench.page->GetPageInfo(&info), S_OK);
    EXPECT_EQ(info.cb, 48u);
    EXPECT_EQ(platform::ToUtf8(info.pszTitle), platform::ToUtf8(kind.page.effect.className));
    EXPECT_EQ(info.pszDocString, nullptr);
    EXPECT_EQ(info.dwHelpContext, kind.page.helpContext);
    EXPECT_GT(info.size.cx, 300);
    WCHAR page[MAX_PATH];
    ASSERT_NE(QvHelp_PagePath(info.dwHelpContext, info.pszHelpFile, page, MAX_PATH), 0);
    EXPECT_NE(::GetFileAttributesW(page), INVALID_FILE_ATTRIBUTES) << platform::ToUtf8(page);
    EXPECT_EQ(QvHelp_PagePath(info.dwHelpContext, info.pszHelpFile, page, 8), 0);
    bench.Open();
    EXPECT_EQ(platform::ToUtf8(kind.page.effect.displayName), std::string("KORVA ").append(bench.Text(kLogoName)));
    ::CoTaskMemFree(info.pszTitle);
    ::CoTaskMemFree(info.pszHelpFile);
  }
}

// The rows of the description say where a control ends and where it goes back to.
TEST(Page, KeysMoveParametersInsideABracket) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    bench.Open();
    for (const PageControl& control : kind.page.controls) {
      if (!Slides(control) || control.own.range != nullptr) continue;
      SCOPED_TRACE(control.id);
      const ParamDescriptor& row = bench.Row(control.row);
      const bool upright = control.kind == ControlKind::kFader;
      const double middle = Middle(row);
      const double neutral = control.own.reset.value_or(ToBlockUnits(row, row.info.mpdNeutralValue));
      const struct {
        WPARAM key;
        double value;
      } kKeys[] = {{WPARAM(upright ? VK_DOWN : VK_LEFT), middle - 1},
                   {WPARAM(upright ? VK_UP : VK_RIGHT), middle + 1},
                   {WPARAM(upright ? VK_NEXT : VK_NEXT), middle - control.own.page},
                   {WPARAM(upright ? VK_END : VK_HOME), double(row.externalMin)},
                   {WPARAM(upright ? VK_HOME : VK_END), double(row.externalMax)},
                   {VK_DELETE, neutral}};
      for (const auto& c : kKeys) {
        SCOPED_TRACE(c.key);
        if (c.value == middle) continue;
        bench.Set(control.row, middle);
        bench.Notice();
        bench.recorder.Take();
        bench.site.told = 0;
        bench.Press(control.id, c.key);
        const double value = std::clamp<double>(c.value, row.externalMin, row.externalMax);
        EXPECT_EQ(bench.Get(control.row), value);
        EXPECT_GT(bench.site.told, 0);
        EXPECT_EQ(bench.site.lastFlags, 1u);
        const std::string heard = bench.recorder.Take(), name = std::to_string(control.row);
        const bool automated = bench.Access(control.row).beginEdit != nullptr;
        EXPECT_EQ(heard.substr(0, heard.find(' ')), automated ? std::string("[").append(name) : "");
        EXPECT_EQ(std::ranges::count(heard, '['), automated ? 1 : 0) << heard;
        EXPECT_EQ(std::ranges::count(heard, ']'), automated ? 1 : 0) << heard;
        if (control.own.show == nullptr) {
          EXPECT_EQ(bench.Text(control.readout.id), Shown(bench, control, value));
        }
      }
    }
  }
}

TEST(Page, MouseDragsTheThumbAndTheSiteIsToldAtTheEnd) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    bench.Open();
    for (const ControlKind sort : {ControlKind::kFader, ControlKind::kTrackbar}) {
      const auto control = std::ranges::find_if(kind.page.controls, [&](const PageControl& slider) {
        return slider.kind == sort && bench.Row(slider.row).externalMax - bench.Row(slider.row).externalMin > 40;
      });
      if (control == kind.page.controls.end()) continue;
      SCOPED_TRACE(control->id);
      const bool upright = sort == ControlKind::kFader;
      bench.Set(control->row, Middle(bench.Row(control->row)));
      bench.Notice();
      RECT thumb = {};
      bench.Send(control->id, TBM_GETTHUMBRECT, 0, reinterpret_cast<LPARAM>(&thumb));
      const int x = (thumb.left + thumb.right) / 2, y = (thumb.top + thumb.bottom) / 2;
      const double before = bench.Get(control->row);
      const bool automated = bench.Access(control->row).beginEdit != nullptr;
      bench.recorder.Take();
      bench.site.told = 0;
      BYTE keys[256] = {};
      keys[VK_LBUTTON] = 0x80;
      ::SetKeyboardState(keys);
      bench.Send(control->id, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(x, y));
      EXPECT_EQ(bench.recorder.Take().substr(0, 1), automated ? "[" : "");
      for (int step = 1; step <= 10; ++step) {
        bench.Send(control->id, WM_MOUSEMOVE, MK_LBUTTON, upright ? MAKELPARAM(x, y - step) : MAKELPARAM(x + step, y));
      }
      EXPECT_EQ(bench.site.told, 0);
      EXPECT_EQ(bench.recorder.Take().find_first_of("[]"), std::string::npos);
      keys[VK_LBUTTON] = 0;
      ::SetKeyboardState(keys);
      bench.Send(control->id, WM_LBUTTONUP, 0, upright ? MAKELPARAM(x, y - 10) : MAKELPARAM(x + 10, y));
      EXPECT_GT(bench.site.told, 0);
      const std::string heard = bench.recorder.Take();
      EXPECT_EQ(heard.empty() ? ' ' : heard.back(), automated ? ']' : ' ');
      EXPECT_GT(bench.Get(control->row), before);
    }
  }
}

TEST(Page, TypedTextsAreReadAndWrittenBack) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    bench.Open();
    for (const PageControl& control : kind.page.controls) {
      if (!control.readout.box || control.own.read != nullptr || control.own.range != nullptr) continue;
      const ParamDescriptor& row = bench.Row(control.row);
      const auto number = ShowNumber(*control.form, Middle(row), row.externalMin, ModuleLanguage());
      const struct {
        const WCHAR* text;
        double value;
      } kTexts[] = {{number.Text(), Middle(row)},
                    {L"9999999999", double(row.externalMax)},
                    {L"nothing", std::max(0.0, double(row.externalMin))}};
      for (const auto& c : kTexts) {
        SCOPED_TRACE(std::to_string(control.id) + " " + platform::ToUtf8(c.text));
        bench.Notice();
        bench.site.told = 0;
        bench.Type(control.readout.id, c.text);
        EXPECT_EQ(bench.Get(control.row), c.value);
        EXPECT_EQ(bench.Text(control.readout.id), Shown(bench, control, c.value));
        EXPECT_EQ(bench.site.told, 1);
      }
      // What the page would show anyway leaves the value, and says nothing to anybody.
      bench.site.told = 0;
      const ShortText same = ShowNumber(*control.form, bench.Get(control.row), row.externalMin, ModuleLanguage());
      bench.Type(control.readout.id, same.Text());
      EXPECT_EQ(bench.site.told, 0);
    }
  }
}

/// A page on which a box can be typed into, with that box.
struct Typing {
  explicit Typing(PageBench& bench) {
    for (const PageControl& row : bench.kind.page.controls) {
      if (row.readout.box && row.own.read == nullptr && row.own.range == nullptr) control = &row;
    }
    if (control == nullptr) return;
    text = ShowNumber(*control->form, Middle(bench.Row(control->row)), 0, ModuleLanguage());
  }
  const PageControl* control = nullptr;
  ShortText text;
};

TEST(Page, AnUnfinishedTextBelongsToItsFilter) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    const Typing typing(bench);
    if (typing.control == nullptr) continue;
    const int row = typing.control->row, box = typing.control->readout.id;
    const double value = Middle(bench.Row(row)), old = bench.Get(row);
    ASSERT_NE(value, old);
    // Another object in its place, none in its place, and the page's end all leave it with the one it was typed for.
    for (const int way : {0, 1, 2}) {
      SCOPED_TRACE(way);
      bench.Set(row, old);
      bench.Open();
      const PageBench other(kind);
      bench.Enter(box, typing.text.Text());
      if (way == 0) bench.Connect(other.filter);
      if (way == 1) {
        EXPECT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
      }
      if (way == 2) {
        EXPECT_EQ(bench.page->Deactivate(), S_OK);
      }
      EXPECT_EQ(bench.Get(row), value);
      if (way != 2) bench.Leave();
      EXPECT_EQ(other.Get(row), old);
      if (way != 2) {
        EXPECT_EQ(bench.page->Deactivate(), S_OK);
      }
      if (way != 1) {
        EXPECT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
      }
    }
    // A notice leaves it alone; a preset chosen over it wins, without its value ever reaching the filter.
    bench.Set(row, old);
    bench.Open();
    bench.Enter(box, typing.text.Text());
    bench.Command(kNotice);
    EXPECT_EQ(bench.Text(box), platform::ToUtf8(typing.text.Text()));
    bench.recorder.Take();
    bench.Command(kFirstPresetItem);
    EXPECT_EQ(bench.Get(row), old);
    const std::string heard = bench.recorder.Take(), opening = std::string("[").append(std::to_string(row)).append(" ");
    EXPECT_EQ(heard.find(opening), heard.rfind(opening)) << "the preset's own change alone: " << heard;
    EXPECT_NE(bench.Text(box), platform::ToUtf8(typing.text.Text()));
    // Typed as the page shows it anyway, it is not in the way of what comes from outside.
    ShortText shown = ShowNumber(*typing.control->form, old, 0, ModuleLanguage());
    bench.Enter(box, shown.Text());
    bench.Set(row, value);
    bench.Command(kNotice);
    EXPECT_EQ(bench.Text(box), platform::ToUtf8(typing.text.Text()));
  }
}

TEST(Page, ChecksListsAndSpinnersSetTheirParameters) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    bench.Open();
    for (const PageControl& control : kind.page.controls) {
      if (control.kind == ControlKind::kCheck) bench.Set(control.row, 1);  // what tempo and filters enable
    }
    bench.Notice();
    for (const PageControl& control : kind.page.controls) {
      SCOPED_TRACE(control.id);
      if (control.row == kNoRow) continue;
      const ParamDescriptor& row = bench.Row(control.row);
      const bool automated = bench.Access(control.row).beginEdit != nullptr;
      const std::string name = std::to_string(control.row);
      bench.recorder.Take();
      if (control.kind == ControlKind::kCheck || control.kind == ControlKind::kBypass) {
        ::EnableWindow(bench[control.id], TRUE);
        const LONG start = bench.Whole(control.row);
        for (const LONG expected : {1 - start, start}) {
          bench.Click(control.id);
          EXPECT_EQ(bench.Whole(control.row), expected);
          EXPECT_EQ(bench.Checked(control.id), expected != 0);
        }
      } else if (control.kind == ControlKind::kList) {
        ASSERT_EQ(bench.Send(control.id, CB_GETCOUNT, 0, 0), row.externalMax - row.externalMin + 1);
        bench.Set(control.row, row.externalMax);
        bench.Notice();
        bench.recorder.Take();
        bench.Send(control.id, CB_SHOWDROPDOWN, TRUE, 0);
        EXPECT_EQ(bench.recorder.Take(), automated ? std::string("[").append(name) : "");
        bench.Press(control.id, VK_UP);
        EXPECT_EQ(bench.Whole(control.row), row.externalMax - 1);
        bench.Send(control.id, CB_SHOWDROPDOWN, FALSE, 0);
        EXPECT_EQ(bench.Whole(control.row), row.externalMax - 1);
        if (automated) {
          EXPECT_EQ(bench.recorder.Take(), std::string(" ").append(name).append("=").append(name).append("]"));
        }
        // Escape takes back what the arrow keys chose.
        bench.Send(control.id, CB_SHOWDROPDOWN, TRUE, 0);
        bench.Press(control.id, VK_UP);
        BYTE keys[256] = {};
        keys[VK_ESCAPE] = 0x80;
        ::SetKeyboardState(keys);
        bench.Press(control.id, VK_ESCAPE);
        keys[VK_ESCAPE] = 0;
        ::SetKeyboardState(keys);
        Pump();
        EXPECT_EQ(bench.Whole(control.row), row.externalMax - 1);
        EXPECT_EQ(bench.Selected(control.id), row.externalMax - 1);
        EXPECT_EQ(bench.recorder.Take().empty(), !automated);
      } else if (control.kind == ControlKind::kSpinner) {
        const LONG step = control.own.page;
        const auto heard = std::string("[").append(name).append(" ").append(name).append("=").append(name).append("]");
        const struct {
          WPARAM key;
          LONG value;
        } kSteps[] = {{VK_UP, step + 1}, {VK_PRIOR, 2 * step + 1}, {VK_DOWN, 2 * step}, {VK_NEXT, step}, {VK_NEXT, 1}};
        bench.Set(control.row, step);
        bench.Notice();
        bench.recorder.Take();
        for (const auto& c : kSteps) {
          bench.Press(control.readout.id, c.key);
          EXPECT_EQ(bench.Whole(control.row), c.value);
          EXPECT_EQ(bench.recorder.Take(), heard);
        }
        RECT arrows = {};
        ::GetClientRect(bench[control.id], &arrows);
        ::EnableWindow(bench[control.id], TRUE);
        bench.Send(control.id, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(arrows.right / 2, 2));
        bench.Send(control.id, WM_LBUTTONUP, 0, MAKELPARAM(arrows.right / 2, 2));
        EXPECT_EQ(bench.Whole(control.row), 2);
        EXPECT_EQ(bench.recorder.Take(), heard);
      } else if (control.kind == ControlKind::kRadios) {
        // The system's radio buttons never come back from a click that meets a disabled one.
        for (const int id : {control.id, control.id + 1}) ::EnableWindow(bench[id], TRUE);
        bench.Click(control.id + 1);
        bench.Click(control.id);
        EXPECT_EQ(bench.Whole(control.row), row.externalMin);
      }
    }
  }
}

/// What a control shows of its parameter.
LONG Held(const PageBench& bench, const PageControl& control) {
  switch (control.kind) {
    case ControlKind::kList:
      return static_cast<LONG>(bench.Selected(control.id));
    case ControlKind::kCheck:
    case ControlKind::kBypass:
      return bench.Checked(control.id) ? 1 : 0;
    default:
      return bench.Position(control.id);
  }
}

TEST(Page, FollowsWhatOthersSet) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    bench.Open();
    for (const PageControl& control : kind.page.controls) {
      const bool alone = control.own.before == nullptr && control.own.range == nullptr;
      if (control.row == kNoRow || control.kind == ControlKind::kRadios || control.kind == ControlKind::kEditBox)
        continue;
      SCOPED_TRACE(control.id);
      const ParamDescriptor& row = bench.Row(control.row);
      for (const double value : {double(row.externalMin), Middle(row), double(row.externalMax)}) {
        if (!alone) continue;
        if (bench.params) {
          bench.params->SetParam(static_cast<DWORD>(control.row), ToTableUnits(row, static_cast<std::int32_t>(value)));
        } else {
          bench.Set(control.row, value);
          bench.Command(kNotice);
        }
        Pump();
        const double position = control.own.toPosition != nullptr ? control.own.toPosition(value) : value;
        EXPECT_EQ(Held(bench, control), static_cast<LONG>(position));
        if (control.form != nullptr && control.own.show == nullptr) {
          EXPECT_EQ(bench.Text(control.readout.id), Shown(bench, control, value));
        }
      }
      // An open list holds still, and catches up when it closes.
      if (control.kind != ControlKind::kList) continue;
      bench.Send(control.id, CB_SHOWDROPDOWN, TRUE, 0);
      bench.Set(control.row, row.externalMin);
      bench.Command(kNotice, 100);
      EXPECT_EQ(bench.Selected(control.id), row.externalMax);
      bench.Send(control.id, CB_SHOWDROPDOWN, FALSE, 0);
      Pump();
      EXPECT_EQ(bench.Selected(control.id), row.externalMin);
    }
  }
}

TEST(Page, FollowsEnvelopesWhileAStreamRuns) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    if (!bench.params) continue;
    bench.Open();
    const auto direct = Query<IQvAudioTransformFloat>(bench.filter.Get());
    for (const PageControl& control : kind.page.controls) {
      const float value =
          ToTableUnits(bench.Row(control.row), static_cast<std::int32_t>(Middle(bench.Row(control.row))));
      MP_ENVELOPE_SEGMENT jump = {0, 10'000'000, value, value, MP_CURVE_JUMP, 0};
      ASSERT_EQ(bench.params->AddEnvelope(static_cast<DWORD>(control.row), 1, &jump), S_OK);
    }
    ASSERT_EQ(direct->FloatStart(2, 44100), S_OK);
    ASSERT_EQ(direct->FloatReset(1), S_OK);
    std::vector<float> sound(2 * 4410);
    ASSERT_EQ(direct->FloatProcess(sound.data(), 4410, 0), S_OK);
    for (const int tick : {1, 2}) {
      bench.Tick();
      for (const PageControl& control : kind.page.controls) {
        SCOPED_TRACE(std::to_string(tick) + ": " + std::to_string(control.id));
        EXPECT_EQ(Held(bench, control), static_cast<LONG>(Middle(bench.Row(control.row))));
        if (control.readout.box) {
          EXPECT_FALSE(bench.Enabled(control.readout.id)) << "automation owns it";
        }
      }
    }
    ASSERT_EQ(direct->FloatStop(), S_OK);
    bench.Tick();
    for (const PageControl& control : kind.page.controls) {
      if (control.readout.box) {
        EXPECT_EQ(bench.Enabled(control.readout.id), bench.Enabled(control.id)) << control.id;
      }
    }
  }
}

TEST(Page, TwoPagesOnAFilterAndAThirdThatWaits) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench first(kind), second(kind, first.filter), third(kind, first.filter);
    if (!first.params) continue;
    const auto& control = *std::ranges::find(kind.page.controls, ControlKind::kFader, &PageControl::kind);
    const auto shown = [&](const PageBench& bench) { return bench.Position(control.id); };
    const auto set = [&](float decibels) { first.params->SetParam(static_cast<DWORD>(control.row), decibels); };
    first.Open();
    second.Open();
    third.Open();
    set(-3.0F);
    Pump();
    EXPECT_EQ(shown(first), -30);
    EXPECT_EQ(shown(second), -30);
    EXPECT_NE(shown(third), -30) << "the filter tells two windows";
    EXPECT_EQ(first.page->Deactivate(), S_OK);
    third.Tick();
    EXPECT_EQ(shown(third), -30);
    set(-4.0F);
    Pump();
    EXPECT_EQ(shown(second), -40);
    EXPECT_EQ(shown(third), -40);
  }
}

TEST(Page, ConnectsAndOpensInEitherOrder) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    bench.Activate();
    for (const PageControl& control : kind.page.controls) {
      if (control.readout.box) bench.Type(control.readout.id, L"77");
      if (Slides(control)) bench.Press(control.id, VK_HOME);
      bench.Command(control.id, BN_CLICKED);
    }
    bench.Tick();
    bench.Connect();
    const PageBench fresh(kind);
    for (const PageControl& control : kind.page.controls) {
      if (control.row == kNoRow) continue;
      SCOPED_TRACE(control.id);
      EXPECT_EQ(bench.Get(control.row), fresh.Get(control.row))
          << "what was done before it came is none of the filter's";
      if (Slides(control) && control.own.show == nullptr) {
        EXPECT_EQ(bench.Text(control.readout.id), Shown(bench, control, bench.Get(control.row)));
      }
    }
    EXPECT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
    const auto& slider = *std::ranges::find_if(kind.page.controls, Slides);
    const LONG position = bench.Position(slider.id);
    bench.Set(slider.row, Middle(bench.Row(slider.row)));
    bench.Command(kNotice);
    EXPECT_EQ(bench.Position(slider.id), position) << "let go of";
  }
}

TEST(Page, ClosesInTheMiddleOfThings) {
  const auto before = CBaseObject::ObjectsActive();
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    const auto direct = Query<IQvAudioTransformFloat>(bench.filter.Get());
    if (direct) {
      ASSERT_EQ(direct->FloatStart(2, 44100), S_OK);
    }
    std::atomic<bool> stop = false;
    std::thread audio([&] {
      std::vector<float> sound(2 * 256);
      while (!stop && direct) direct->FloatProcess(sound.data(), 256, 0);
    });
    for (int round = 0; round < 3; ++round) {
      bench.Open();
      bench.recorder.Take();
      for (const PageControl& control : kind.page.controls) {
        if (Slides(control)) bench.Send(control.id, WM_KEYDOWN, VK_HOME, 1);
        if (control.kind == ControlKind::kList) bench.Send(control.id, CB_SHOWDROPDOWN, TRUE, 0);
      }
      if (round == 1) {
        EXPECT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
        EXPECT_EQ(bench.page->Deactivate(), S_OK);
      } else {
        EXPECT_EQ(bench.page->Deactivate(), S_OK);
        EXPECT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
      }
      const std::string heard = bench.recorder.Take();
      EXPECT_EQ(std::ranges::count(heard, '['), std::ranges::count(heard, ']')) << heard;
      Pump();
    }
    stop = true;
    audio.join();
    if (direct) {
      EXPECT_EQ(direct->FloatStop(), S_OK);
    }
  }
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

TEST(Page, PresetsAreOfferedInAMenu) {
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    PageBench bench(kind);
    bench.Open();
    const int count = kind.page.effect.presets.count();
    const HMENU menu = CreatePageMenu(bench.filter.Get());
    ASSERT_EQ(::GetMenuItemCount(menu), 3);
    const HMENU presets = ::GetSubMenu(menu, 0);
    EXPECT_EQ(::GetMenuItemCount(presets), count - 1);
    EXPECT_EQ(::GetMenuItemID(presets, 0), 40500u);
    EXPECT_EQ(::GetMenuItemID(menu, 2), 41000u);
    WCHAR text[128];
    ::GetMenuStringW(presets, count - 2, text, 128, MF_BYPOSITION);
    EXPECT_EQ(platform::ToUtf8(text), platform::ToUtf8(ModuleText(kind.page.effect.presets.NameId(count - 1))));
    ::DestroyMenu(menu);
    // By the menu's items: the first goes with row 1.
    bench.Command(40500 + count - 2);
    for (const PageControl& control : kind.page.controls) {
      if (control.row == kNoRow || control.own.indexedBy != kNoRow) continue;
      const void* block = kind.page.effect.presets.Block(count - 1);
      const ParamDescriptor& row = bench.Row(control.row);
      if (row.storage != Storage::kDouble) {
        EXPECT_EQ(bench.Get(control.row), LoadField(row, block)) << control.id;
      }
    }
  }
  PageSite stranger;
  const HMENU empty = CreatePresetMenu(&stranger);
  EXPECT_EQ(::GetMenuItemCount(empty), 0);
  ::DestroyMenu(empty);
  const struct {
    const WCHAR* name;
    const char* shown;
  } kNames[] = {{L"KORVA Chorus", "Chorus"},
                {L"Chorus KORVA Pro", "Chorus Pro"},
                {L"Chorus KORVA", "Chorus "},
                {L"Chorus korva", "Chorus "},
                {L"Chorus", "Chorus"},
                {L"korva", "korva"},
                {L"KORVA", ""},
                {L"", ""}};
  for (const auto& c : kNames) {
    WCHAR shown[32];
    CutMakerName(c.name, shown);
    EXPECT_EQ(platform::ToUtf8(shown), c.shown);
  }
}

// Menus, message boxes and the frame are modal, so what is done and looked at then is so from a timer.
struct Modal {
  static inline PageBench* bench = nullptr;
  static inline const PageCase* kind = nullptr;
  static inline long objects = 0;  // that stood while the host had let go of the page
  static inline bool found = false;

  static void CALLBACK LetGo(HWND, UINT, UINT_PTR timer, DWORD) {
    const HWND menu = ::FindWindowW(L"#32768", nullptr);
    if (menu == nullptr) return;
    ::KillTimer(nullptr, timer);
    bench->page->SetPageSite(nullptr);
    bench->page.Reset();
    objects = CBaseObject::ObjectsActive();
    ::PostMessageW(menu, WM_KEYDOWN, VK_ESCAPE, 1);
  }
  static void CALLBACK PickSecond(HWND, UINT, UINT_PTR timer, DWORD) {
    const HWND menu = ::FindWindowW(L"#32768", nullptr);
    if (menu == nullptr) return;
    ::KillTimer(nullptr, timer);
    for (const WPARAM key : {VK_DOWN, VK_DOWN, VK_RETURN}) {
      ::PostMessageW(menu, WM_KEYDOWN, key, 1);
      ::PostMessageW(menu, WM_KEYUP, key, 1);
    }
  }
  static BOOL CALLBACK CloseBox(HWND window, LPARAM) {
    WCHAR type[16] = {};
    ::GetClassNameW(window, type, 16);
    if (::lstrcmpW(type, L"#32770") != 0) return TRUE;
    found = true;
    ::PostMessageW(window, WM_COMMAND, IDOK, 0);
    return FALSE;
  }
  static void CALLBACK Dismiss(HWND, UINT, UINT_PTR timer, DWORD) {
    ::EnumThreadWindows(::GetCurrentThreadId(), CloseBox, 0);
    if (found) ::KillTimer(nullptr, timer);
  }
  static BOOL CALLBACK FindPage(HWND window, LPARAM out) {
    if (::GetDlgItem(window, kind->page.controls.back().id) == nullptr) return TRUE;
    *reinterpret_cast<HWND*>(out) = window;
    return FALSE;
  }
  static BOOL CALLBACK FindFrame(HWND window, LPARAM out) {
    ::EnumChildWindows(window, FindPage, out);
    return *reinterpret_cast<HWND*>(out) == nullptr;
  }
  static void CALLBACK Look(HWND, UINT, UINT_PTR timer, DWORD) {
    HWND page = nullptr;
    ::EnumThreadWindows(::GetCurrentThreadId(), FindFrame, reinterpret_cast<LPARAM>(&page));
    if (page == nullptr) return;
    ::KillTimer(nullptr, timer);
    found = true;
    ::PostMessageW(::GetAncestor(page, GA_ROOT), WM_COMMAND, IDCANCEL, 0);
  }
};

TEST(Page, TheNameOpensThePresetsAndThePageOutlivesItsMenu) {
  const auto& kind = Pages().back();  // whose faders hold whole numbers
  const auto before = CBaseObject::ObjectsActive();
  {
    PageBench bench(kind);
    bench.Open();
    ::SetTimer(nullptr, 0, 50, Modal::PickSecond);
    ::SendMessageW(bench[kLogoName], BM_CLICK, 0, 0);
    Pump();
    const PageControl& fader = *std::ranges::find(kind.page.controls, ControlKind::kFader, &PageControl::kind);
    EXPECT_EQ(bench.Get(fader.row), LoadField(bench.Row(fader.row), kind.page.effect.presets.Block(2)));
    Modal::bench = &bench;
    ::SetTimer(nullptr, 0, 50, Modal::LetGo);
    ::SendMessageW(bench.dialog(), WM_CONTEXTMENU, 0, -1);
    EXPECT_GT(Modal::objects, before + 1) << "the module can go with the filter alone";
  }
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

TEST(Page, SaysWhereItsHelpBelongs) {
  const std::basic_string<WCHAR> path = ModuleHelpPath();
  PageBench bench(Pages().front());
  bench.Open();
  SetModuleHelpPath(L"C:\\nowhere\\help\\index.html");
  Modal::found = false;
  ::SetTimer(nullptr, 0, 50, Modal::Dismiss);
  bench.Command(kHelpItem);
  EXPECT_TRUE(Modal::found);
  SetModuleHelpPath(path.c_str());
}

TEST(Page, OpensInTheSystemsFrame) {
  const auto before = CBaseObject::ObjectsActive();
  for (const PageCase& kind : Pages()) {
    SCOPED_TRACE(kind.name());
    const PageFactory factory(kind);
    Modal::kind = &kind;
    Modal::found = false;
    ::SetTimer(nullptr, 0, 50, Modal::Look);
    EXPECT_EQ(OpenFrame(kind.Filter().Get(), L"KORVA"), S_OK);
    EXPECT_TRUE(Modal::found);
  }
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

}  // namespace
}  // namespace korva::test
