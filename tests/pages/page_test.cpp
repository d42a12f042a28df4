#include <cmath>
#include <thread>

#include "page_bench.h"
#include "pages/logo_name.h"
#include "pages/preset_menu.h"
#include "qvkit/help.h"

namespace korva::test {
namespace {

const testing::Environment* const environment = testing::AddGlobalTestEnvironment(new Environment);

TEST(Page, CodesOfALifecycle) {
  const auto before = CBaseObject::ObjectsActive();
  {
    PageBench bench;
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
  PageBench bench;
  PROPPAGEINFO info = {};
  EXPECT_EQ(bench.page->GetPageInfo(nullptr), E_POINTER);
  ASSERT_EQ(bench.page->GetPageInfo(&info), S_OK);
  EXPECT_EQ(info.cb, 48u);
  EXPECT_EQ(platform::ToUtf8(info.pszTitle), "Chorus");
  EXPECT_EQ(info.pszDocString, nullptr);
  EXPECT_EQ(info.dwHelpContext, 121u);
  EXPECT_NE(platform::ToUtf8(info.pszHelpFile).find("\\help\\index.html"), std::string::npos);
  RECT units = {0, 0, 272, 224};
  bench.Open();
  ::MapDialogRect(bench.dialog(), &units);
  EXPECT_EQ(info.size.cx, units.right);
  EXPECT_EQ(info.size.cy, units.bottom);
  WCHAR page[MAX_PATH];
  ASSERT_NE(QvHelp_PagePath(info.dwHelpContext, info.pszHelpFile, page, MAX_PATH), 0);
  EXPECT_NE(platform::ToUtf8(page).find("\\help\\chorus.html"), std::string::npos);
  EXPECT_EQ(QvHelp_PagePath(info.dwHelpContext, info.pszHelpFile, page, 8), 0);
  ::CoTaskMemFree(info.pszTitle);
  ::CoTaskMemFree(info.pszHelpFile);
}

// What each control starts from, which key moves it, and what the parameter is then.
const struct Mover {
  int id;
  WPARAM key;
  DWORD row;
  std::int32_t ChorusParams::*field;
  LONG start, moved;
  const char* shown;
  int readout;
} kMovers[] = {
    {6016, VK_DOWN, kChorusInputGain, &ChorusParams::inputGain, 0, -1, "-0.1 dB", 6022},
    {6016, VK_END, kChorusInputGain, &ChorusParams::inputGain, 0, -600, "-Inf.", 6022},
    {6020, VK_NEXT, kChorusDryOut, &ChorusParams::dryOut, -60, -70, "-7.0 dB", 6023},
    {6020, VK_HOME, kChorusDryOut, &ChorusParams::dryOut, -60, 0, "0.0 dB", 6023},
    {6021, VK_UP, kChorusOut, &ChorusParams::chorusOut, -44, -43, "-4.3 dB", 6024},
    {6021, VK_DELETE, kChorusOut, &ChorusParams::chorusOut, -44, -60, "-6.0 dB", 6024},
    {6025, VK_LEFT, kChorusSize, &ChorusParams::chorusSize, 3, 2, "2", 6026},
    {6027, VK_UP, kChorusFeedback, &ChorusParams::feedback, 0, 1, "1 %", 6028},
    {6031, VK_RIGHT, kChorusDelay, &ChorusParams::delay, 400, 401, "40.1", 6039},
    {6032, VK_PRIOR, kChorusModRate, &ChorusParams::modRate, 800, 810, "0.810", 6033},
    {6032, VK_END, kChorusModRate, &ChorusParams::modRate, 800, 20000, "20.00", 6033},
    {6034, VK_HOME, kChorusModDepth, &ChorusParams::modDepth, 3, 1, "1 %", 6035},
    {6037, VK_NEXT, kChorusAttenuationHz, &ChorusParams::attenuationHz, 5000, 4900, "4,900", 6038},
};

TEST(Page, KeysMoveParametersInsideABracket) {
  for (const Mover& c : kMovers) {
    SCOPED_TRACE(std::to_string(c.id) + " key " + std::to_string(c.key));
    PageBench bench;
    bench.chorus->SetAttenuateHigh(1);
    bench.Open();
    Recorder recorder;
    Query<IMediaParamsSetUICallback>(bench.filter.Get())->SetUICallback(&recorder);
    EXPECT_EQ(bench.Params().*c.field, c.start);
    bench.Press(c.id, c.key);
    EXPECT_EQ(bench.Params().*c.field, c.moved);
    EXPECT_EQ(bench.Text(c.readout), c.shown);
    const std::string row = std::to_string(c.row);
    EXPECT_EQ(recorder.Take(),
              std::string("[").append(row).append(" ").append(row).append("=").append(row).append("]"));
    EXPECT_GT(bench.site.told, 0);
    EXPECT_EQ(bench.site.lastFlags, 1u);
    Query<IMediaParamsSetUICallback>(bench.filter.Get())->SetUICallback(nullptr);
  }
}

TEST(Page, MouseDragsTheThumbAndTheSiteIsToldAtTheEnd) {
  PageBench bench;
  bench.Open();
  Recorder recorder;
  Query<IMediaParamsSetUICallback>(bench.filter.Get())->SetUICallback(&recorder);
  for (const int id : {6020, 6031}) {
    RECT thumb = {};
    bench.Send(id, TBM_GETTHUMBRECT, 0, reinterpret_cast<LPARAM>(&thumb));
    const int x = (thumb.left + thumb.right) / 2, y = (thumb.top + thumb.bottom) / 2;
    const ChorusParams before = bench.Params();
    recorder.Take();
    bench.site.told = 0;
    BYTE keys[256] = {};
    keys[VK_LBUTTON] = 0x80;
    ::SetKeyboardState(keys);
    bench.Send(id, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(x, y));
    EXPECT_EQ(recorder.Take().substr(0, 1), "[");
    for (int step = 1; step <= 10; ++step) {
      bench.Send(id, WM_MOUSEMOVE, MK_LBUTTON, id == 6020 ? MAKELPARAM(x, y + step) : MAKELPARAM(x + step, y));
    }
    EXPECT_EQ(bench.site.told, 0);
    EXPECT_EQ(recorder.Take().find_first_of("[]"), std::string::npos);
    keys[VK_LBUTTON] = 0;
    ::SetKeyboardState(keys);
    bench.Send(id, WM_LBUTTONUP, 0, id == 6020 ? MAKELPARAM(x, y + 10) : MAKELPARAM(x + 10, y));
    EXPECT_GT(bench.site.told, 0);
    EXPECT_EQ(recorder.Take().back(), ']');
    if (id == 6020) {
      EXPECT_LT(bench.Params().dryOut, before.dryOut);
    } else {
      EXPECT_GT(bench.Params().delay, before.delay);
    }
    bench.Send(id, WM_LBUTTONDBLCLK, MK_LBUTTON, MAKELPARAM(x, y));
    EXPECT_EQ(id == 6020 ? bench.Params().dryOut : bench.Params().delay, id == 6020 ? -60 : 500);
  }
  Query<IMediaParamsSetUICallback>(bench.filter.Get())->SetUICallback(nullptr);
}

TEST(Page, ARateHasTwoSlopes) {
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
  PageBench bench;
  bench.Open();
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.rate);
    bench.chorus->SetModRate(c.rate);
    bench.Command(32700, 100);
    EXPECT_EQ(bench.Position(6032), c.position);
    EXPECT_EQ(bench.Text(6033), c.shown);
    bench.Type(6033, L"");
    bench.chorus->SetModRate(c.rate);
    bench.Command(32700, 100);
    bench.Command(6033, EN_KILLFOCUS);
    EXPECT_EQ(bench.Params().modRate, c.rate) << "a look at the box changed it";
    const auto bar = reinterpret_cast<LPARAM>(bench[6032]);
    ::SendMessageW(bench.dialog(), WM_HSCROLL, MAKEWPARAM(SB_THUMBPOSITION, 0), bar);
    ::SendMessageW(bench.dialog(), WM_HSCROLL, MAKEWPARAM(SB_ENDSCROLL, 0), bar);
    EXPECT_EQ(bench.Params().modRate, c.back);
  }
}

TEST(Page, TypedTextsAreReadCutAndWrittenBack) {
  const struct {
    int id;
    const WCHAR* text;
    std::int32_t ChorusParams::*field;
    LONG value;
    const char* shown;
    LONG position;
  } kCases[] = {
      {6033, L"0.0004", &ChorusParams::modRate, 1, "0.001", 1},
      {6033, L"1,5", &ChorusParams::modRate, 1500, "1.500", 1500},
      {6033, L"1.001", &ChorusParams::modRate, 1001, "1.001", 1001},
      {6033, L"15 Hz", &ChorusParams::modRate, 15000, "15.00", 10500},
      {6033, L"-3", &ChorusParams::modRate, 1, "0.001", 1},
      {6033, L"9999999999", &ChorusParams::modRate, 20000, "20.00", 11000},
      {6039, L"12.34", &ChorusParams::delay, 123, "12.3", 123},
      {6039, L"nothing", &ChorusParams::delay, 1, "0.1", 1},
      {6038, L"1,234.9", &ChorusParams::attenuationHz, 1234, "1,234", 1234},
      {6038, L"", &ChorusParams::attenuationHz, 100, "100", 100},
      {8031, L"2.5", &ChorusParams::modPeriodMultiplier, 2500, "2.500", 2500},
      {8031, L"1234567890123", &ChorusParams::modPeriodMultiplier, 32000, "32.000", 32000},
  };
  PageBench bench;
  bench.chorus->SetAttenuateHigh(1);
  bench.Open();
  for (const auto& c : kCases) {
    SCOPED_TRACE(platform::ToUtf8(c.text));
    bench.chorus->SetTempoSync(c.id == 8031 ? 1 : 0);
    bench.Command(32700);
    bench.Tick();
    bench.site.told = 0;
    bench.Type(c.id, c.text);
    EXPECT_EQ(bench.Params().*c.field, c.value);
    EXPECT_EQ(bench.Text(c.id), c.shown);
    EXPECT_EQ(bench.Position(c.id == 6033 ? 6032 : c.id == 6039 ? 6031 : c.id == 6038 ? 6037 : 8032), c.position);
    EXPECT_EQ(bench.site.told, 1);
  }
  // A notice about something else leaves a text in the making alone; closing the page takes it as meant.
  ::SetFocus(bench[6039]);
  bench.Send(6039, EM_SETSEL, 0, -1);
  for (const WCHAR letter : {L'7', L'7'}) bench.Send(6039, WM_CHAR, static_cast<WPARAM>(letter), 1);
  bench.params->SetParam(kChorusFeedback, 12.0f);
  Pump();
  EXPECT_EQ(bench.Text(6039), "77");
  EXPECT_EQ(bench.Text(6028), "12 %");
  EXPECT_EQ(bench.page->Deactivate(), S_OK);
  EXPECT_EQ(bench.Params().delay, 770);
}

TEST(Page, ChecksListsAndSpinnerSetTheirParameters) {
  PageBench bench;
  bench.Open();
  Recorder recorder;
  Query<IMediaParamsSetUICallback>(bench.filter.Get())->SetUICallback(&recorder);
  const struct {
    int id;
    std::int32_t ChorusParams::*field;
  } kChecks[] = {{6029, &ChorusParams::invertChorus},
                 {6030, &ChorusParams::invertFeedback},
                 {6036, &ChorusParams::attenuateHigh},
                 {8005, &ChorusParams::tempoSync},
                 {41003, &ChorusParams::bypass}};
  for (const auto& c : kChecks) {
    SCOPED_TRACE(c.id);
    ::EnableWindow(bench[c.id], TRUE);
    for (const LONG expected : {1, 0, 1}) {
      bench.Click(c.id);
      EXPECT_EQ(bench.Params().*c.field, expected);
      EXPECT_EQ(bench.Checked(c.id), expected != 0);
    }
  }
  recorder.Take();
  ASSERT_EQ(bench.Send(8033, CB_GETCOUNT, 0, 0), 19);
  bench.Send(8033, CB_SHOWDROPDOWN, TRUE, 0);
  EXPECT_EQ(recorder.Take(), "[13");
  bench.Press(8033, VK_UP);
  EXPECT_EQ(bench.Params().modPeriodNote, 17);
  bench.Send(8033, CB_SHOWDROPDOWN, FALSE, 0);
  EXPECT_EQ(recorder.Take(), " 13=13]");
  const struct {
    WPARAM key;
    LONG value;
  } kSteps[] = {{VK_UP, 1001}, {VK_PRIOR, 2001}, {VK_DOWN, 2000}, {VK_NEXT, 1000}, {VK_NEXT, 1}};
  for (const auto& c : kSteps) {
    bench.Press(8031, c.key);
    EXPECT_EQ(bench.Params().modPeriodMultiplier, c.value);
    EXPECT_EQ(recorder.Take(), "[14 14=14]");
  }
  EXPECT_EQ(bench.Text(8031), "0.001");
  RECT arrows = {};
  ::GetClientRect(bench[8032], &arrows);
  bench.Send(8032, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(arrows.right / 2, 2));
  bench.Send(8032, WM_LBUTTONUP, 0, MAKELPARAM(arrows.right / 2, 2));
  EXPECT_EQ(bench.Params().modPeriodMultiplier, 2);
  EXPECT_EQ(recorder.Take(), "[14 14=14]");
  Query<IMediaParamsSetUICallback>(bench.filter.Get())->SetUICallback(nullptr);
}

TEST(Page, FollowsWhatOthersSet) {
  PageBench bench;
  bench.Open();
  const struct {
    DWORD row;
    float value;
    int control;  // whose position, check or selection is
    LONG position;
    int readout;
    const char* shown;
  } kCases[] = {
      {kChorusInputGain, -20.0f, 6016, -200, 6022, "-20.0 dB"},
      {kChorusDryOut, -60.0f, 6020, -600, 6023, "-Inf."},
      {kChorusOut, 0.0f, 6021, 0, 6024, "0.0 dB"},
      {kChorusSize, 1.0f, 6025, 1, 6026, "1"},
      {kChorusFeedback, 99.0f, 6027, 99, 6028, "99 %"},
      {kChorusDelay, 12.5f, 6031, 125, 6039, "12.5"},
      {kChorusModRate, 15.0f, 6032, 10500, 6033, "15.00"},
      {kChorusModDepth, 7.0f, 6034, 7, 6035, "7 %"},
      {kChorusAttenuationHz, 10000.0f, 6037, 10000, 6038, "10,000"},
      {kChorusModPeriodMultiplier, 0.5f, 8032, 500, 8031, "0.500"},
      {kChorusInvertChorus, 1.0f, 6029, 1, 0, ""},
      {kChorusInvertFeedback, 1.0f, 6030, 1, 0, ""},
      {kChorusAttenuateHigh, 1.0f, 6036, 1, 0, ""},
      {kChorusTempoSync, 1.0f, 8005, 1, 0, ""},
      {kChorusBypass, 1.0f, 41003, 1, 0, ""},
      {kChorusModPeriodNote, 3.0f, 8033, 3, 0, ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.control);
    bench.params->SetParam(c.row, c.value);
    Pump();
    const UINT ask = c.control == 8033 ? CB_GETCURSEL : c.readout != 0 ? kGetPosition : BM_GETCHECK;
    EXPECT_EQ(bench.Send(c.control, ask, 0, 0), c.position);
    EXPECT_EQ(bench.Text(c.readout), c.shown);
  }
  Query<IStaticFilterPreset>(bench.filter.Get())->SetPreset(3);
  Pump();
  EXPECT_EQ(bench.Text(6028), "70 %");
  EXPECT_EQ(bench.Position(6025), 1);
  EXPECT_FALSE(bench.Checked(41003));
  // By the menu's items: the first goes with row 1.
  bench.Command(40500 + 22);
  EXPECT_EQ(bench.Text(6028), "90 %");
  // An open list holds still, and catches up when it closes.
  bench.Send(8033, CB_SHOWDROPDOWN, TRUE, 0);
  bench.params->SetParam(kChorusModPeriodNote, 7.0f);
  Pump();
  EXPECT_EQ(bench.Send(8033, CB_GETCURSEL, 0, 0), 18);
  bench.Send(8033, CB_SHOWDROPDOWN, FALSE, 0);
  Pump();
  EXPECT_EQ(bench.Send(8033, CB_GETCURSEL, 0, 0), 7);
}

TEST(Page, FollowsEnvelopesWhileAStreamRuns) {
  PageBench bench;
  bench.Open();
  const auto direct = Query<IQvAudioTransformFloat>(bench.filter.Get());
  MP_ENVELOPE_SEGMENT rise = {0, 10'000'000, 1.0f, 100.0f, MP_CURVE_LINEAR, 0};
  MP_ENVELOPE_SEGMENT jump = {0, 10'000'000, 5.0f, 5.0f, MP_CURVE_JUMP, 0};
  ASSERT_EQ(bench.params->AddEnvelope(kChorusDelay, 1, &rise), S_OK);
  ASSERT_EQ(bench.params->AddEnvelope(kChorusModPeriodNote, 1, &jump), S_OK);
  bench.Tick();
  EXPECT_TRUE(bench.Enabled(6039)) << "nothing runs yet";
  ASSERT_EQ(direct->FloatStart(2, 44100), S_OK);
  ASSERT_EQ(direct->FloatReset(1), S_OK);
  std::vector<float> sound(2 * 22050);
  ASSERT_EQ(direct->FloatProcess(sound.data(), 22050, 0), S_OK);
  bench.Send(8033, CB_SHOWDROPDOWN, TRUE, 0);
  const LRESULT shown = bench.Send(8033, CB_GETCURSEL, 0, 0);
  bench.Tick();
  EXPECT_NEAR(bench.Position(6031), 500, 15);
  EXPECT_NEAR(std::stod(bench.Text(6039)), 50.0, 1.5);
  EXPECT_FALSE(bench.Enabled(6039)) << "automation owns it";
  EXPECT_EQ(bench.Send(8033, CB_GETCURSEL, 0, 0), shown) << "an open list is not pulled away";
  bench.Send(8033, CB_SHOWDROPDOWN, FALSE, 0);
  bench.Tick();
  EXPECT_EQ(bench.Send(8033, CB_GETCURSEL, 0, 0), 5);
  ASSERT_EQ(direct->FloatStop(), S_OK);
  bench.Tick();
  EXPECT_TRUE(bench.Enabled(6039));
}

/// A song for the tempo, as far as its presence goes.
class Song final : public IMfxTempoMap, public IMfxMeterMap {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    *out = iid == InterfaceId<IMfxTempoMap>()   ? static_cast<void*>(static_cast<IMfxTempoMap*>(this))
           : iid == InterfaceId<IMfxMeterMap>() ? static_cast<void*>(static_cast<IMfxMeterMap*>(this))
                                                : nullptr;
    return *out != nullptr ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  LONG STDMETHODCALLTYPE TicksToMsecs(LONG ticks) override { return ticks; }
  LONG STDMETHODCALLTYPE MsecsToTicks(LONG milliseconds) override { return milliseconds; }
  int STDMETHODCALLTYPE GetTicksPerQuarterNote() override { return 500; }
  int STDMETHODCALLTYPE GetTempoIndexForTime(LONG) override { return 0; }
  int STDMETHODCALLTYPE GetTempoCount() override { return 0; }
  HRESULT STDMETHODCALLTYPE GetTempoAt(int, LONG*, int*) override { return E_FAIL; }
  HRESULT STDMETHODCALLTYPE TicksToMBT(LONG, int*, int*, int*) override { return E_FAIL; }
  LONG STDMETHODCALLTYPE MBTToTicks(int, int, int) override { return 0; }
  int STDMETHODCALLTYPE GetMeterIndexForTime(LONG) override { return 0; }
  int STDMETHODCALLTYPE GetMeterCount() override { return 0; }
  HRESULT STDMETHODCALLTYPE GetMeterAt(int, int*, int*, int*) override { return E_FAIL; }
};

TEST(Page, TempoAndFilterGroupsTakeTurns) {
  PageBench bench;
  bench.Open();
  EXPECT_FALSE(bench.Enabled(8005)) << "no song";
  EXPECT_EQ(bench.page->Deactivate(), S_OK);
  Song song;
  Query<IMfxSoftSynth>(bench.filter.Get())->Connect(static_cast<IMfxTempoMap*>(&song));
  bench.Activate();
  EXPECT_TRUE(bench.Enabled(8005));
  for (const bool sync : {true, false}) {
    bench.Click(8005);
    bench.Tick();
    for (const int id : {6032, 6033, 6047}) EXPECT_EQ(bench.Enabled(id), !sync) << id;
    for (const int id : {8031, 8032, 8033, 6049}) EXPECT_EQ(bench.Enabled(id), sync) << id;
  }
  bench.Click(6036);
  EXPECT_TRUE(bench.Enabled(6037));
  bench.Click(6036);
  EXPECT_FALSE(bench.Enabled(6037));
  EXPECT_FALSE(bench.Enabled(6038)) << "the box had not followed yet";
  bench.Click(6036);
  bench.Tick();
  EXPECT_TRUE(bench.Enabled(6038));
}

TEST(Page, TwoPagesOnAFilterAndAThirdThatWaits) {
  PageBench first;
  PageBench second(first.filter), third(first.filter);
  first.Open();
  second.Open();
  third.Open();
  first.params->SetParam(kChorusFeedback, 33.0f);
  Pump();
  EXPECT_EQ(first.Text(6028), "33 %");
  EXPECT_EQ(second.Text(6028), "33 %");
  EXPECT_EQ(third.Text(6028), "0 %") << "the filter tells two windows";
  EXPECT_EQ(first.page->Deactivate(), S_OK);
  third.Tick();
  EXPECT_EQ(third.Text(6028), "33 %");
  first.params->SetParam(kChorusFeedback, 44.0f);
  Pump();
  EXPECT_EQ(second.Text(6028), "44 %");
  EXPECT_EQ(third.Text(6028), "44 %");
}

TEST(Page, ConnectsAndOpensInEitherOrder) {
  PageBench bench;
  bench.Activate();
  EXPECT_EQ(bench.Text(6022), "");
  bench.Command(6029);
  bench.Tick();
  bench.Press(6016, VK_DOWN);
  bench.Connect();
  EXPECT_EQ(bench.Text(6022), "0.0 dB");
  bench.params->SetParam(kChorusFeedback, 33.0f);
  Pump();
  EXPECT_EQ(bench.Text(6028), "33 %");
  EXPECT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
  bench.params->SetParam(kChorusFeedback, 44.0f);
  Pump();
  EXPECT_EQ(bench.Text(6028), "33 %") << "let go of";
  const auto other = Make<CQvChorus>();
  IUnknown* object = other.Get();
  EXPECT_EQ(bench.page->SetObjects(1, &object), S_OK);
  EXPECT_EQ(bench.Text(6028), "0 %");
}

TEST(Page, ClosesInTheMiddleOfThings) {
  const auto before = CBaseObject::ObjectsActive();
  {
    PageBench bench;
    const auto direct = Query<IQvAudioTransformFloat>(bench.filter.Get());
    ASSERT_EQ(direct->FloatStart(2, 44100), S_OK);
    std::atomic<bool> stop = false;
    std::thread audio([&] {
      std::vector<float> sound(2 * 256);
      while (!stop) direct->FloatProcess(sound.data(), 256, 0);
    });
    for (int round = 0; round < 5; ++round) {
      bench.Open();
      Recorder recorder;
      Query<IMediaParamsSetUICallback>(bench.filter.Get())->SetUICallback(&recorder);
      bench.Send(6020, WM_KEYDOWN, VK_DOWN, 1);
      bench.Send(8033, CB_SHOWDROPDOWN, TRUE, 0);
      bench.params->SetParam(kChorusFeedback, static_cast<float>(round));
      EXPECT_EQ(bench.page->Deactivate(), S_OK);
      EXPECT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
      const std::string heard = recorder.Take();
      EXPECT_EQ(std::ranges::count(heard, '['), std::ranges::count(heard, ']')) << heard;
      Pump();
      Query<IMediaParamsSetUICallback>(bench.filter.Get())->SetUICallback(nullptr);
    }
    stop = true;
    audio.join();
    EXPECT_EQ(direct->FloatStop(), S_OK);
  }
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

TEST(Page, NamesAndMenus) {
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
  PageBench bench;
  bench.Open();
  EXPECT_EQ(bench.Text(2), "Chorus");
  EXPECT_EQ(TextOf(::GetDlgItem(bench[2], kLogoName)), "Chorus");
  EXPECT_EQ(bench.Text(41003), "Bypass");
  // The tab key reaches the bar's buttons after the last control of the page.
  HWND next = bench[6038];
  for (const int id : {kLogoName, kBypassButton, kHelpItem}) {
    ::EnableWindow(next, TRUE);
    next = ::GetNextDlgTabItem(bench.dialog(), next, FALSE);
    EXPECT_EQ(::GetDlgCtrlID(next), id);
  }
  const HMENU menu = CreatePageMenu(bench.filter.Get());
  ASSERT_EQ(::GetMenuItemCount(menu), 3);
  const HMENU presets = ::GetSubMenu(menu, 0);
  EXPECT_EQ(::GetMenuItemCount(presets), 23);
  EXPECT_EQ(::GetMenuItemID(presets, 0), 40500u);
  EXPECT_EQ(::GetMenuItemID(menu, 2), 41000u);
  WCHAR text[64];
  ::GetMenuStringW(presets, 22, text, 64, MF_BYPOSITION);
  EXPECT_EQ(platform::ToUtf8(text), "Hard flange");
  ::DestroyMenu(menu);
  const HMENU empty = CreatePresetMenu(&bench.site);
  EXPECT_EQ(::GetMenuItemCount(empty), 0);
  ::DestroyMenu(empty);
}

void CALLBACK PickFirst(HWND, UINT, UINT_PTR timer, DWORD) {
  const HWND menu = ::FindWindowW(L"#32768", nullptr);
  if (menu == nullptr) return;
  ::KillTimer(nullptr, timer);
  for (const WPARAM key : {VK_DOWN, VK_DOWN, VK_RETURN}) {
    ::PostMessageW(menu, WM_KEYDOWN, key, 1);
    ::PostMessageW(menu, WM_KEYUP, key, 1);
  }
}

TEST(Page, TheNameOpensThePresets) {
  PageBench bench;
  bench.Open();
  ::SetTimer(nullptr, 0, 50, PickFirst);
  ::SendMessageW(::GetDlgItem(bench[2], kLogoName), BM_CLICK, 0, 0);
  Pump();
  EXPECT_EQ(bench.Text(6028), "32 %") << "the second preset, Fast flange 1";
}

// The frame is modal, so what is looked at is looked at from a timer.
struct FrameLook {
  static inline ComPtr<IQvChorusProp2> chorus;
  static inline bool found = false;

  static BOOL CALLBACK FindPage(HWND window, LPARAM out) {
    if (::GetDlgItem(window, 6016) == nullptr) return TRUE;
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
    ::SendDlgItemMessageW(page, 6020, WM_KEYDOWN, VK_HOME, 1);
    ::SendDlgItemMessageW(page, 6020, WM_KEYUP, VK_HOME, 1);
    ChorusParams block{};
    chorus->GetParams(&block);
    EXPECT_EQ(block.dryOut, 0);
    ::PostMessageW(::GetAncestor(page, GA_ROOT), WM_COMMAND, IDCANCEL, 0);
  }
};

TEST(Page, OpensInTheSystemsFrame) {
  const auto before = CBaseObject::ObjectsActive();
  {
    const PageFactory factory;
    const auto filter = Make<CQvChorus>();
    FrameLook::chorus = Query<IQvChorusProp2>(filter.Get());
    ::SetTimer(nullptr, 0, 50, FrameLook::Look);
    EXPECT_EQ(OpenFrame(filter.Get(), L"KORVA"), S_OK);
    EXPECT_TRUE(FrameLook::found);
    FrameLook::chorus.Reset();
  }
  EXPECT_EQ(CBaseObject::ObjectsActive(), before);
}

}  // namespace
}  // namespace korva::test
