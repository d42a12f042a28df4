#include <functional>
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
  const std::int32_t third = (row.externalMax - row.externalMin + 2) / 3;
  return row.externalMin + third;
}

bool Slides(const PageControl& control) {
  return control.kind == ControlKind::kFader || control.kind == ControlKind::kTrackbar;
}

/// Whether a box is read and ranged by the row alone.
bool IsPlainBox(const PageControl& control) {
  return control.readout.box && control.own.read == nullptr && control.own.range == nullptr;
}

class Page : public PageTest {
 protected:
  /// What the page writes of a value.
  ShortText Number(const PageControl& control, double value) const {
    return ShowNumber(*control.form, value, bench.Row(control.row).externalMin, ModuleLanguage());
  }
  std::string Shown(const PageControl& control, double value) const {
    return platform::ToUtf8(Number(control, value).Text());
  }
  /// What a control shows of its parameter.
  LONG Held(const PageControl& control) const {
    if (control.kind == ControlKind::kList) return static_cast<LONG>(bench.Selected(control.id));
    const bool pressed = control.kind == ControlKind::kCheck || control.kind == ControlKind::kBypass;
    return pressed ? LONG{bench.Checked(control.id)} : bench.Position(control.id);
  }
  /// What a host hears of one edit of a row.
  std::string Edit(int row) const {
    const std::string name = std::to_string(row);
    return bench.Automated(row) ? std::string("[").append(name).append(" ").append(name).append("=").append(name) + "]"
                                : std::string();
  }
  /// Switches on what others wait for: tempo, filters.
  void AllOn() {
    for (const PageControl& control : kind.page.controls) {
      if (control.kind == ControlKind::kCheck) bench.Set(control.row, 1);
    }
    bench.Notice();
  }
};

KORVA_FOR_EVERY_PAGE(Page);

TEST_P(Page, CodesOfALifecycle) {
  IPropertyPage& page = *bench.page.Get();
  IUnknown* nothing = nullptr;
  IUnknown* object = bench.filter.Get();
  IUnknown* stranger = &bench.site;
  const RECT place = {0, 0, 10, 10};
  EXPECT_EQ(page.SetPageSite(&bench.site), E_UNEXPECTED);
  for (const HRESULT result : {S_OK, E_UNEXPECTED}) EXPECT_EQ(page.SetPageSite(nullptr), result);
  EXPECT_EQ(page.Apply(), E_UNEXPECTED);
  EXPECT_EQ(page.SetPageSite(&bench.site), S_OK);
  EXPECT_EQ(page.Apply(), E_UNEXPECTED);
  const struct {
    ULONG count;
    IUnknown** objects;
    HRESULT result;
  } kObjects[] = {{0, nullptr, E_UNEXPECTED}, {2, &object, E_UNEXPECTED},    {1, nullptr, E_POINTER},
                  {1, &nothing, E_POINTER},   {1, &stranger, E_NOINTERFACE}, {1, &object, S_OK},
                  {1, &object, S_OK}};
  for (const auto& c : kObjects) EXPECT_EQ(page.SetObjects(c.count, c.objects), c.result);
  EXPECT_EQ(page.Apply(), S_OK);
  EXPECT_EQ(page.IsPageDirty(), S_FALSE);
  for (const HRESULT result : {page.Deactivate(), page.Show(SW_SHOW), page.Move(&place)}) {
    EXPECT_EQ(result, E_UNEXPECTED);
  }
  EXPECT_EQ(page.Activate(bench.host, nullptr, FALSE), E_POINTER);
  for (const HRESULT result : {S_OK, E_UNEXPECTED}) EXPECT_EQ(page.Activate(bench.host, &place, FALSE), result);
  EXPECT_NE(::GetWindowLongPtrW(bench.dialog(), GWL_EXSTYLE) & WS_EX_CONTROLPARENT, 0);
  for (const UINT command : {UINT{SW_HIDE}, UINT{SW_SHOWNORMAL}, UINT{SW_SHOW}}) EXPECT_EQ(page.Show(command), S_OK);
  EXPECT_EQ(page.Show(SW_MAXIMIZE), E_INVALIDARG);
  EXPECT_EQ(page.Deactivate(), S_OK);
  EXPECT_EQ(bench.dialog(), nullptr);
  EXPECT_EQ(page.Activate(bench.host, &place, FALSE), S_OK);
  // Left open: the last reference closes everything.
}

TEST_P(Page, TellsWhatItIs) {
  PROPPAGEINFO info = {};
  EXPECT_EQ(bench.page->GetPageInfo(nullptr), E_POINTER);
  ASSERT_EQ(bench.page->GetPageInfo(&info), S_OK);
  EXPECT_EQ(info.cb, 48u);
  EXPECT_EQ(platform::ToUtf8(info.pszTitle), platform::ToUtf8(kind.page.effect.className));
  EXPECT_GT(info.size.cx, 300);
  WCHAR small[8];
  EXPECT_EQ(QvHelp_PagePath(info.dwHelpContext, info.pszHelpFile, small, 8), 0);
  bench.Open();
  EXPECT_EQ(platform::ToUtf8(kind.page.effect.displayName), std::string("KORVA ").append(bench.Text(kLogoName)));
  ::CoTaskMemFree(info.pszTitle);
  ::CoTaskMemFree(info.pszHelpFile);
}

// The rows of the description say where a control ends and where it goes back to.
TEST_P(Page, KeysMoveParametersInsideABracket) {
  bench.Open();
  for (const PageControl& control : kind.page.controls) {
    if (!Slides(control) || control.own.range != nullptr) continue;
    const ParamDescriptor& row = bench.Row(control.row);
    const bool upright = control.kind == ControlKind::kFader;
    const double middle = Middle(row);
    const double neutral = control.own.reset.value_or(ToBlockUnits(row, row.info.mpdNeutralValue));
    const struct {
      WPARAM key;
      double value;
    } kKeys[] = {{WPARAM(upright ? VK_DOWN : VK_LEFT), middle - 1},
                 {WPARAM(upright ? VK_UP : VK_RIGHT), middle + 1},
                 {VK_NEXT, middle - control.own.page},
                 {WPARAM(upright ? VK_END : VK_HOME), double(row.externalMin)},
                 {WPARAM(upright ? VK_HOME : VK_END), double(row.externalMax)},
                 {VK_DELETE, neutral}};
    for (const auto& c : kKeys) {
      SCOPED_TRACE(std::to_string(control.id) + " by " + std::to_string(c.key));
      if (c.value == middle) continue;
      bench.Show(control.row, middle);
      bench.Press(control.id, c.key);
      const double value = std::clamp<double>(c.value, row.externalMin, row.externalMax);
      EXPECT_EQ(bench.Get(control.row), value);
      EXPECT_GT(bench.site.told, 0);
      EXPECT_EQ(bench.site.lastFlags, 1u);
      const std::string own = Edit(control.row);
      EXPECT_EQ(bench.recorder.heard.substr(0, own.find(' ')), own.substr(0, own.find(' ')));
      bench.ExpectBrackets(own.empty() ? 0 : 1);
      if (control.own.show == nullptr) {
        EXPECT_EQ(bench.Text(control.readout.id), Shown(control, value));
      }
    }
  }
}

TEST_P(Page, TypedTextsAreReadAndWrittenBack) {
  bench.Open();
  for (const PageControl& control : kind.page.controls) {
    if (!IsPlainBox(control)) continue;
    const ParamDescriptor& row = bench.Row(control.row);
    const ShortText number = Number(control, Middle(row));
    const auto type = [&](const WCHAR* text, double value, int told) {
      SCOPED_TRACE(std::to_string(control.id) + " " + platform::ToUtf8(text));
      bench.site.told = 0;
      bench.Type(control.readout.id, text);
      EXPECT_EQ(bench.Get(control.row), value);
      EXPECT_EQ(bench.Text(control.readout.id), Shown(control, value));
      EXPECT_EQ(bench.site.told, told);
    };
    type(L"9999999999", row.externalMax, 1);
    type(L"nothing", std::max(0.0, double(row.externalMin)), 1);
    type(number.Text(), Middle(row), 1);
    type(number.Text(), Middle(row), 0);  // what the page would show anyway says nothing to anybody
  }
}

TEST_P(Page, AnUnfinishedTextBelongsToItsFilter) {
  const auto control = std::ranges::find_if(kind.page.controls, IsPlainBox);
  if (control == kind.page.controls.end()) return;
  const int row = control->row, box = control->readout.id;
  const double value = Middle(bench.Row(row)), old = bench.Get(row);
  const ShortText text = Number(*control, value);
  ASSERT_NE(value, old);
  // Another object in its place, none in its place, and the page's end all leave it with the one it was typed for.
  enum { kOther, kNone, kEnd };
  for (const int way : {kOther, kNone, kEnd}) {
    SCOPED_TRACE(way);
    bench.Set(row, old);
    bench.Open();
    const PageBench other(kind);
    bench.Enter(box, text.Text());
    if (way == kOther) bench.Connect(other.filter);
    if (way == kNone) bench.page->SetObjects(0, nullptr);
    if (way == kEnd) bench.page->Deactivate();
    EXPECT_EQ(bench.Get(row), value);
    if (way != kEnd) bench.Leave();
    EXPECT_EQ(other.Get(row), old);
    if (way != kEnd) bench.page->Deactivate();
    if (way != kNone) bench.page->SetObjects(0, nullptr);
  }
  // A notice leaves it alone; a preset chosen over it wins, without its value ever reaching the filter.
  bench.Set(row, old);
  bench.Open();
  bench.Enter(box, text.Text());
  bench.Command(kNotice);
  EXPECT_EQ(bench.Text(box), Shown(*control, value));
  bench.recorder.Take();
  bench.Command(kFirstPresetItem);
  EXPECT_EQ(bench.Get(row), old);
  const std::string heard = bench.recorder.Take(), opening = std::string("[").append(std::to_string(row)).append(" ");
  EXPECT_EQ(heard.find(opening), heard.rfind(opening)) << "the preset's own change alone: " << heard;
  // Typed as the page shows it anyway, it is not in the way of what comes from outside.
  bench.Enter(box, Number(*control, old).Text());
  bench.Set(row, value);
  bench.Command(kNotice);
  EXPECT_EQ(bench.Text(box), Shown(*control, value));
}

TEST_P(Page, ChecksSpinnersAndRadiosSetTheirParameters) {
  bench.Open();
  AllOn();
  for (const PageControl& control : kind.page.controls) {
    if (control.row == kNoRow) continue;
    SCOPED_TRACE(control.id);
    const ParamDescriptor& row = bench.Row(control.row);
    if (control.kind == ControlKind::kCheck || control.kind == ControlKind::kBypass) {
      ::EnableWindow(bench[control.id], TRUE);
      const LONG start = bench.Whole(control.row);
      for (const LONG expected : {1 - start, start}) {
        bench.Click(control.id);
        EXPECT_EQ(bench.Whole(control.row), expected);
        EXPECT_EQ(bench.Checked(control.id), expected != 0);
      }
    } else if (control.kind == ControlKind::kSpinner) {
      const LONG step = control.own.page;
      const struct {
        WPARAM key;
        LONG value;
      } kSteps[] = {{VK_UP, step + 1}, {VK_PRIOR, 2 * step + 1}, {VK_DOWN, 2 * step}, {VK_NEXT, step}, {VK_NEXT, 1}};
      bench.Show(control.row, step);
      for (const auto& c : kSteps) {
        bench.Press(control.readout.id, c.key);
        EXPECT_EQ(bench.Whole(control.row), c.value);
        EXPECT_EQ(bench.recorder.Take(), Edit(control.row));
      }
      ::EnableWindow(bench[control.id], TRUE);
      bench.Click(control.id);
      EXPECT_EQ(bench.Whole(control.row), 2);
      EXPECT_EQ(bench.recorder.Take(), Edit(control.row));
    } else if (control.kind == ControlKind::kRadios) {
      // The system's radio buttons never come back from a click that meets a disabled one.
      for (const int id : {control.id, control.id + 1}) ::EnableWindow(bench[id], TRUE);
      bench.Click(control.id + 1);
      bench.Click(control.id);
      EXPECT_EQ(bench.Whole(control.row), row.externalMin);
    }
  }
}

TEST_P(Page, ListsSetTheirParametersAndHoldStillWhileOpen) {
  bench.Open();
  AllOn();
  for (const PageControl& control : kind.page.controls) {
    if (control.kind != ControlKind::kList || control.row == kNoRow) continue;
    SCOPED_TRACE(control.id);
    const LONG least = bench.Row(control.row).externalMin, most = bench.Row(control.row).externalMax;
    const std::string edit = Edit(control.row), begun = edit.substr(0, edit.find(' '));
    const auto expect = [&](LONG value) {
      EXPECT_EQ(bench.Whole(control.row), value);
      EXPECT_EQ(bench.Selected(control.id), value);
    };
    ASSERT_EQ(bench.Send(control.id, CB_GETCOUNT, 0, 0), most - least + 1);
    bench.Show(control.row, most);
    bench.Drop(control.id, true);
    EXPECT_EQ(bench.recorder.Take(), begun);
    bench.Press(control.id, VK_UP);
    expect(most - 1);
    bench.Drop(control.id, false);
    expect(most - 1);
    EXPECT_EQ(bench.recorder.Take(), edit.substr(begun.size()));
    // An open list holds still, and catches up when it closes.
    bench.Drop(control.id, true);
    bench.Set(control.row, least);
    bench.Command(kNotice, 100);
    EXPECT_EQ(bench.Selected(control.id), most - 1);
    bench.Drop(control.id, false);
    Pump();
    expect(least);
  }
}

TEST_P(Page, FollowsWhatOthersSet) {
  bench.Open();
  for (const PageControl& control : kind.page.controls) {
    const bool reads = control.row != kNoRow && control.kind != ControlKind::kRadios &&
                       control.kind != ControlKind::kEditBox && control.own.before == nullptr;
    if (!reads || control.own.range != nullptr) continue;
    SCOPED_TRACE(control.id);
    const ParamDescriptor& row = bench.Row(control.row);
    for (const double value : {double(row.externalMin), Middle(row), double(row.externalMax)}) {
      if (bench.params) {
        bench.params->SetParam(static_cast<DWORD>(control.row), ToTableUnits(row, static_cast<std::int32_t>(value)));
      } else {
        bench.Set(control.row, value);
        bench.Command(kNotice);
      }
      Pump();
      const double position = control.own.toPosition != nullptr ? control.own.toPosition(value) : value;
      EXPECT_EQ(Held(control), static_cast<LONG>(position));
      if (control.form != nullptr && control.own.show == nullptr) {
        EXPECT_EQ(bench.Text(control.readout.id), Shown(control, value));
      }
    }
  }
}

TEST_P(Page, FollowsEnvelopesWhileAStreamRuns) {
  if (!bench.params) return;
  bench.Open();
  const auto direct = Query<IQvAudioTransformFloat>(bench.filter.Get());
  for (const PageControl& control : kind.page.controls) {
    const ParamDescriptor& row = bench.Row(control.row);
    const float value = ToTableUnits(row, static_cast<std::int32_t>(Middle(row)));
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
      EXPECT_EQ(Held(control), static_cast<LONG>(Middle(bench.Row(control.row))));
      EXPECT_FALSE(control.readout.box && bench.Enabled(control.readout.id)) << "automation owns it";
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

TEST_P(Page, ConnectsAndOpensInEitherOrder) {
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
    EXPECT_EQ(bench.Get(control.row), fresh.Get(control.row)) << "what was done before it came is none of the filter's";
    if (Slides(control) && control.own.show == nullptr) {
      EXPECT_EQ(bench.Text(control.readout.id), Shown(control, bench.Get(control.row)));
    }
  }
  EXPECT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
  const auto& slider = *std::ranges::find_if(kind.page.controls, Slides);
  const LONG position = bench.Position(slider.id);
  bench.Set(slider.row, Middle(bench.Row(slider.row)));
  bench.Command(kNotice);
  EXPECT_EQ(bench.Position(slider.id), position) << "let go of";
}

TEST_P(Page, ClosesInTheMiddleOfThings) {
  const auto direct = Query<IQvAudioTransformFloat>(bench.filter.Get());
  if (direct) direct->FloatStart(2, 44100);
  std::atomic<bool> stop = false;
  std::thread audio([&] {
    std::vector<float> sound(2 * 256);
    while (!stop && direct) direct->FloatProcess(sound.data(), 256, 0);
  });
  for (const bool letGoFirst : {false, true, false}) {
    bench.Open();
    bench.recorder.Take();
    for (const PageControl& control : kind.page.controls) {
      if (Slides(control)) bench.Send(control.id, WM_KEYDOWN, VK_HOME, 1);
      if (control.kind == ControlKind::kList) bench.Drop(control.id, true);
    }
    if (letGoFirst) bench.page->SetObjects(0, nullptr);
    EXPECT_EQ(bench.page->Deactivate(), S_OK);
    if (!letGoFirst) bench.page->SetObjects(0, nullptr);
    bench.ExpectBrackets(std::ranges::count(bench.recorder.heard, '['));
    Pump();
  }
  stop = true;
  audio.join();
  if (direct) direct->FloatStop();
}

TEST_P(Page, PresetsAreOfferedInAMenu) {
  bench.Open();
  const int last = kind.page.effect.presets.count() - 1;
  const HMENU menu = CreatePageMenu(bench.filter.Get()), presets = ::GetSubMenu(menu, 0);
  ASSERT_EQ(::GetMenuItemCount(menu), 3);
  EXPECT_EQ(::GetMenuItemCount(presets), last);
  EXPECT_EQ(::GetMenuItemID(presets, 0), 40500u);
  EXPECT_EQ(::GetMenuItemID(menu, 2), 41000u);
  WCHAR text[128];
  ::GetMenuStringW(presets, static_cast<UINT>(last - 1), text, 128, MF_BYPOSITION);
  EXPECT_EQ(platform::ToUtf8(text), platform::ToUtf8(ModuleText(kind.page.effect.presets.NameId(last))));
  ::DestroyMenu(menu);
  // By the menu's items: the first goes with row 1.
  bench.Command(40500 + last - 1);
  for (const PageControl& control : kind.page.controls) {
    if (control.row == kNoRow || control.own.indexedBy != kNoRow) continue;
    const ParamDescriptor& row = bench.Row(control.row);
    if (row.storage == Storage::kDouble) continue;
    EXPECT_EQ(bench.Get(control.row), LoadField(row, kind.page.effect.presets.Block(last))) << control.id;
  }
}

TEST(PageParts, NamesAreCutAndStrangersHaveNoMenu) {
  PageSite stranger;
  const HMENU empty = CreatePresetMenu(&stranger);
  EXPECT_EQ(::GetMenuItemCount(empty), 0);
  ::DestroyMenu(empty);
  for (const auto& [name, expected] :
       {std::pair(L"KORVA Chorus", "Chorus"), std::pair(L"Chorus KORVA Pro", "Chorus Pro"),
        std::pair(L"Chorus korva", "Chorus "), std::pair(L"Chorus", "Chorus"), std::pair(L"KORVA", "")}) {
    WCHAR shown[32];
    CutMakerName(name, shown);
    EXPECT_EQ(platform::ToUtf8(shown), expected);
  }
}

/// Menus, message boxes and the frame are modal: what is done while one is open is done by a timer, again and again
/// until `act` has found what it waits for.
class Meanwhile {
 public:
  explicit Meanwhile(std::function<bool()> act) : timer_(::SetTimer(nullptr, 0, 50, &Try)) {
    act_ = std::move(act);
    found_ = false;
  }
  ~Meanwhile() { ::KillTimer(nullptr, timer_); }
  bool found() const { return found_; }

 private:
  static void CALLBACK Try(HWND, UINT, UINT_PTR, DWORD) {
    if (!found_ && act_()) found_ = true;
  }

  static inline std::function<bool()> act_;
  static inline bool found_ = false;
  const UINT_PTR timer_;
};

constexpr const WCHAR* kTopDialog = L"#32770";  // the system's class; a page is nobody's top window

bool PressInMenu(std::initializer_list<WPARAM> keys) {
  const HWND menu = ::FindWindowW(L"#32768", nullptr);
  for (const WPARAM key : keys) {
    if (menu == nullptr) return false;
    ::PostMessageW(menu, WM_KEYDOWN, key, 1);
    ::PostMessageW(menu, WM_KEYUP, key, 1);
  }
  return menu != nullptr;
}

class LastPage : public PageTest {};  // whose faders hold whole numbers
INSTANTIATE_TEST_SUITE_P(One, LastPage, testing::Values(Pages().size() - 1));

TEST_P(LastPage, TheNameOpensThePresetsAndThePageOutlivesItsMenu) {
  bench.Open();
  {
    const Meanwhile picked([] { return PressInMenu({VK_DOWN, VK_DOWN, VK_RETURN}); });
    ::SendMessageW(bench[kLogoName], BM_CLICK, 0, 0);
    Pump();
  }
  const PageControl& fader = *std::ranges::find(kind.page.controls, ControlKind::kFader, &PageControl::kind);
  EXPECT_EQ(bench.Get(fader.row), LoadField(bench.Row(fader.row), kind.page.effect.presets.Block(2)));
  long stood = 0;  // objects, while the host had let go of the page
  const Meanwhile left([&] {
    if (::FindWindowW(L"#32768", nullptr) == nullptr) return false;
    bench.page->SetPageSite(nullptr);
    bench.page.Reset();
    stood = CBaseObject::ObjectsActive();
    return PressInMenu({VK_ESCAPE});
  });
  ::SendMessageW(bench.dialog(), WM_CONTEXTMENU, 0, -1);
  EXPECT_GT(stood, objects + 1) << "the module can go with the filter alone";
}

TEST_P(LastPage, SaysWhereItsHelpBelongs) {
  const std::basic_string<WCHAR> path = ModuleHelpPath();
  bench.Open();
  SetModuleHelpPath(L"C:\\nowhere\\help\\index.html");
  const Meanwhile dismissed([] {
    const HWND box = ::FindWindowW(kTopDialog, nullptr);
    return box != nullptr && ::PostMessageW(box, WM_COMMAND, IDOK, 0) != FALSE;
  });
  bench.Command(kHelpItem);
  EXPECT_TRUE(dismissed.found());
  SetModuleHelpPath(path.c_str());
}

TEST_P(Page, OpensInTheSystemsFrame) {
  opened.reset();
  const Meanwhile looked([this] {
    const HWND frame = ::FindWindowW(kTopDialog, nullptr);
    std::pair wanted(kind.page.controls.back().id, false);
    const WNDENUMPROC look = [](HWND child, LPARAM at) -> BOOL {
      auto& [id, found] = *reinterpret_cast<decltype(wanted)*>(at);
      found = found || ::GetDlgCtrlID(child) == id;
      return TRUE;
    };
    ::EnumChildWindows(frame, look, reinterpret_cast<LPARAM>(&wanted));
    return wanted.second && ::PostMessageW(frame, WM_COMMAND, IDCANCEL, 0) != FALSE;
  });
  EXPECT_EQ(OpenFrame(kind, L"KORVA"), S_OK);
  EXPECT_TRUE(looked.found());
}

}  // namespace
}  // namespace korva::test
