#include <algorithm>
#include <map>

#include "page_bench.h"
#include "qvkit/language_locales.h"
#include "windows/usage.h"

namespace korva::test {
namespace {

RECT PlaceIn(HWND dialog, HWND control) {
  RECT place = {};
  ::GetWindowRect(control, &place);
  ::MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&place), 2);
  return place;
}

bool IsClass(HWND window, const WCHAR* name) {
  WCHAR type[64] = {};
  ::GetClassNameW(window, type, 64);
  return ::lstrcmpiW(type, name) == 0;
}

/// How a control draws a text, and the room that it has for it.
struct Room {
  explicit Room(HWND control) {
    const LONG_PTR style = ::GetWindowLongPtrW(control, GWL_STYLE);
    RECT client = {};
    ::GetClientRect(control, &client);
    width = client.right;
    height = client.bottom;
    if (IsClass(control, WC_BUTTONW)) {
      if ((style & BS_TYPEMASK) == BS_AUTOCHECKBOX) width -= ::GetSystemMetrics(SM_CXMENUCHECK) + 6;
      wraps = (style & BS_MULTILINE) != 0;
    } else if (IsClass(control, WC_EDITW)) {
      width -= 2 * ::GetSystemMetrics(SM_CXEDGE);
      prefix = false;
    } else if (IsClass(control, WC_COMBOBOXW)) {
      width -= ::GetSystemMetrics(SM_CXVSCROLL) + 4 * ::GetSystemMetrics(SM_CXEDGE);
      prefix = false;
    } else {
      wraps = (style & SS_CENTERIMAGE) == 0;
      prefix = (style & SS_NOPREFIX) == 0;
    }
  }
  bool wraps = false, prefix = true;
  LONG width = 0, height = 0;
};

void ExpectFits(HWND control, const WCHAR* text, bool full = true) {
  const Room room(control);
  const HDC context = ::GetDC(control);
  const HGDIOBJ old = ::SelectObject(context, reinterpret_cast<HFONT>(::SendMessageW(control, WM_GETFONT, 0, 0)));
  RECT needed = {0, 0, room.width, 0};
  const UINT flow = room.wraps ? DT_WORDBREAK : DT_SINGLELINE;
  ::DrawTextW(context, text, -1, &needed, DT_CALCRECT | flow | (room.prefix ? 0u : UINT{DT_NOPREFIX}));
  ::SelectObject(context, old);
  ::ReleaseDC(control, context);
  EXPECT_LE(needed.right, room.width) << ::GetDlgCtrlID(control) << ": " << platform::ToUtf8(text);
  EXPECT_LE(full ? needed.bottom : 0, room.height) << ::GetDlgCtrlID(control) << ": " << platform::ToUtf8(text);
}

TEST(PageLayout, EveryTextFitsInEveryLanguage) {
  // What values read at their longest.
  const std::map<int, std::vector<const WCHAR*>> values = {{6022, {L"-59.9 dB", L"-Inf."}},
                                                           {6023, {L"-59.9 dB"}},
                                                           {6024, {L"-59.9 dB"}},
                                                           {6026, {L"3"}},
                                                           {6028, {L"100 %"}},
                                                           {6035, {L"100 %"}},
                                                           {6033, {L"20.00"}},
                                                           {6039, {L"100.0"}},
                                                           {6038, {L"10,000"}},
                                                           {8031, {L"32.000"}}};
  for (const std::uint32_t locale : kLanguageLocales) {
    SCOPED_TRACE(locale);
    Environment::components->Speak(locale);
    PageBench bench;
    bench.Open();
    int texts = 0;
    for (HWND child = ::GetWindow(bench.dialog(), GW_CHILD); child != nullptr;
         child = ::GetWindow(child, GW_HWNDNEXT)) {
      if ((::GetWindowLongPtrW(child, GWL_STYLE) & WS_VISIBLE) == 0) continue;  // there to be spoken
      WCHAR text[128] = {};
      ::GetWindowTextW(child, text, 128);
      const int id = ::GetDlgCtrlID(child);
      if (id == 2) {
        ExpectFits(::GetDlgItem(child, kLogoName), text);
      } else if (IsClass(child, WC_COMBOBOXW)) {
        for (int item = 0; item < bench.Send(id, CB_GETCOUNT, 0, 0); ++item) {
          bench.Send(id, CB_GETLBTEXT, static_cast<WPARAM>(item), reinterpret_cast<LPARAM>(text));
          ExpectFits(child, text, false);
        }
      } else if (values.contains(id)) {
        for (const WCHAR* value : values.at(id)) ExpectFits(child, value);
      } else if (text[0] != 0) {
        ExpectFits(child, text);
        ++texts;
      }
    }
    EXPECT_EQ(texts, 13);
  }
  Environment::components->Speak(1033);
}

TEST(PageLayout, ControlsKeepApartAndInside) {
  PageBench bench;
  bench.Open();
  RECT dialog = {0, 0, 272, 224};
  ::MapDialogRect(bench.dialog(), &dialog);
  RECT client = {};
  ::GetClientRect(bench.dialog(), &client);
  EXPECT_EQ(PlaceIn(bench.dialog(), bench[2]).right, client.right) << "the bar goes all across the room there is";
  std::vector<HWND> children;
  for (HWND child = ::GetWindow(bench.dialog(), GW_CHILD); child != nullptr; child = ::GetWindow(child, GW_HWNDNEXT)) {
    RECT place = PlaceIn(bench.dialog(), child);
    if (child == bench[2]) place.right = dialog.right;
    RECT both = {};
    ::UnionRect(&both, &dialog, &place);
    EXPECT_TRUE(::EqualRect(&both, &dialog)) << ::GetDlgCtrlID(child);
    for (const HWND other : children) {
      if (child == bench[8032] && other == bench[8031]) continue;  // a spinner shares its box's edge
      const RECT otherPlace = PlaceIn(bench.dialog(), other);
      EXPECT_FALSE(::IntersectRect(&both, &place, &otherPlace))
          << ::GetDlgCtrlID(child) << " lies on " << ::GetDlgCtrlID(other);
    }
    children.push_back(child);
  }
}

/// Handles of the two kinds that pages hold. Systems that do not count them still number them, and take a number that
/// was used before where there is one: one lost at every opening would drive the numbers up.
struct Handles {
  static Handles Now() {
    const HANDLE process = ::GetCurrentProcess();
    const HWND window = ::CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    const HBRUSH brush = ::CreateSolidBrush(RGB(1, 2, 3));
    const Handles now = {::GetGuiResources(process, GR_USEROBJECTS), ::GetGuiResources(process, GR_GDIOBJECTS),
                         LOWORD(reinterpret_cast<ULONG_PTR>(window)), LOWORD(reinterpret_cast<ULONG_PTR>(brush))};
    ::DeleteObject(brush);
    ::DestroyWindow(window);
    return now;
  }
  DWORD users, drawings;
  int lowestUser, lowestDrawing;
};

TEST(PageLayout, AThousandOpeningsLeaveNothing) {
  constexpr int kWarmUp = 20, kRounds = 1000;
  const auto objects = CBaseObject::ObjectsActive();
  Handles before = {};
  Usage used;
  {
    PageBench bench;
    ::ShowWindow(bench.host, SW_HIDE);
    for (int round = -kWarmUp; round < kRounds; ++round) {
      if (round == 0) {
        Pump();
        before = Handles::Now();
        used = Usage::Now();
      }
      bench.Connect();
      bench.Activate();
      if (round % 10 == 0) ::DestroyMenu(CreatePageMenu(bench.filter.Get()));
      ASSERT_EQ(bench.page->Deactivate(), S_OK);
      ASSERT_EQ(bench.page->SetObjects(0, nullptr), S_OK);
      Pump();
    }
    const Usage grown = Usage::Now() - used;
    const Handles after = Handles::Now();
    std::printf("after %d openings: %ld handles, %lld bytes, %ld user objects, %ld drawing objects, handles %+d %+d\n",
                kRounds, grown.handles, grown.bytes, static_cast<long>(after.users) - static_cast<long>(before.users),
                static_cast<long>(after.drawings) - static_cast<long>(before.drawings),
                after.lowestUser - before.lowestUser, after.lowestDrawing - before.lowestDrawing);
    EXPECT_LE(grown.handles, 4);
    EXPECT_LE(grown.bytes, 64 * 1024);
    EXPECT_LE(after.users, before.users + 2);
    EXPECT_LE(after.drawings, before.drawings + 2);
    EXPECT_LE(after.lowestUser, before.lowestUser + kRounds / 4);
    EXPECT_LE(after.lowestDrawing, before.lowestDrawing + kRounds / 4);
  }
  EXPECT_EQ(CBaseObject::ObjectsActive(), objects);
}

}  // namespace
}  // namespace korva::test
