#include <algorithm>
#include <cstdlib>
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

/// That a control has room for a text as it draws it.
void ExpectFits(HWND control, const WCHAR* text, bool full = true) {
  const LONG_PTR style = ::GetWindowLongPtrW(control, GWL_STYLE);
  const bool button = IsClass(control, WC_BUTTONW), label = IsClass(control, WC_STATICW);
  const bool wraps = button ? (style & BS_MULTILINE) != 0 : label && (style & SS_CENTERIMAGE) == 0;
  const bool prefix = button || (label && (style & SS_NOPREFIX) == 0);
  RECT room = {};
  ::GetClientRect(control, &room);
  if (button && (style & BS_TYPEMASK) == BS_AUTOCHECKBOX) room.right -= ::GetSystemMetrics(SM_CXMENUCHECK) + 6;
  if (IsClass(control, WC_EDITW)) room.right -= 2 * ::GetSystemMetrics(SM_CXEDGE);
  if (IsClass(control, WC_COMBOBOXW)) {
    room.right -= ::GetSystemMetrics(SM_CXVSCROLL) + 4 * ::GetSystemMetrics(SM_CXEDGE);
  }
  const HDC context = ::GetDC(control);
  const HGDIOBJ old = ::SelectObject(context, reinterpret_cast<HFONT>(::SendMessageW(control, WM_GETFONT, 0, 0)));
  RECT needed = {0, 0, room.right, 0};
  const UINT flow = (wraps ? DT_WORDBREAK : DT_SINGLELINE) | (prefix ? 0u : UINT{DT_NOPREFIX});
  ::DrawTextW(context, text, -1, &needed, DT_CALCRECT | flow);
  ::SelectObject(context, old);
  ::ReleaseDC(control, context);
  EXPECT_LE(needed.right, room.right) << ::GetDlgCtrlID(control) << ": " << platform::ToUtf8(text);
  EXPECT_LE(full ? needed.bottom : 0, room.bottom) << ::GetDlgCtrlID(control) << ": " << platform::ToUtf8(text);
}

/// The texts that a readout has room for.
std::vector<std::wstring> LongestTexts(const PageBench& bench, int id) {
  std::vector<std::wstring> texts;
  for (const PageControl& control : bench.kind.page.controls) {
    if (control.readout.id != id || control.form == nullptr || control.own.show != nullptr) continue;
    const ParamDescriptor& row = bench.Row(control.row);
    for (const LONG value : {row.externalMin, row.externalMin + 1, row.externalMax - 1, row.externalMax}) {
      texts.emplace_back(ShowNumber(*control.form, value, row.externalMin, ModuleLanguage()).Text());
    }
  }
  return texts;
}

/// The letter that opens a control.
wchar_t Mnemonic(const std::wstring& text) {
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] != L'&') continue;
    if (text[++i] != L'&') return static_cast<wchar_t>(::towupper(text[i]));
  }
  return 0;
}

bool TakesTheKeyboard(HWND child) {
  return IsClass(child, WC_BUTTONW) || IsClass(child, WC_EDITW) || IsClass(child, WC_COMBOBOXW) ||
         IsClass(child, kFaderClass) || IsClass(child, kTrackbarClass);
}

class PageLayout : public PageTest {};
KORVA_FOR_EVERY_PAGE(PageLayout);

TEST_P(PageLayout, EveryTextFitsInEveryLanguageAndEveryControlHasAName) {
  for (const std::uint32_t locale : kLanguageLocales) {
    SCOPED_TRACE(locale);
    Environment::components->Speak(locale);
    opened.emplace(kind);
    bench.Open();
    std::map<wchar_t, int> mnemonics;
    for (HWND child = ::GetWindow(bench.dialog(), GW_CHILD); child != nullptr;
         child = ::GetWindow(child, GW_HWNDNEXT)) {
      WCHAR text[160] = {};
      ::GetWindowTextW(child, text, 160);
      const int id = ::GetDlgCtrlID(child);
      if (TakesTheKeyboard(child) && !IsClass(child, WC_BUTTONW)) {
        const HWND previous = ::GetWindow(child, GW_HWNDPREV);
        EXPECT_TRUE(IsClass(previous, WC_STATICW) && !TextOf(previous).empty()) << id << " has no spoken name";
      }
      if ((::GetWindowLongPtrW(child, GWL_STYLE) & WS_VISIBLE) == 0) continue;  // there to be spoken
      if (const wchar_t letter = id != kLogo ? Mnemonic(text) : 0; letter != 0) {
        EXPECT_EQ(std::exchange(mnemonics[letter], id), 0) << "and " << id;
      }
      if (id == kLogo) {
        ExpectFits(bench[kLogoName], text);
      } else if (IsClass(child, WC_COMBOBOXW)) {
        for (int item = 0; item < bench.Send(id, CB_GETCOUNT, 0, 0); ++item) {
          bench.Send(id, CB_GETLBTEXT, static_cast<WPARAM>(item), reinterpret_cast<LPARAM>(text));
          ExpectFits(child, text, false);
        }
      } else if (text[0] != 0) {
        ExpectFits(child, text);
      }
      for (const std::wstring& value : LongestTexts(bench, id)) ExpectFits(child, value.c_str());
    }
    EXPECT_GE(mnemonics.size(), 3u);
  }
  Environment::components->Speak(1033);
}

TEST_P(PageLayout, ControlsKeepApartAndTheTabKeyReachesAll) {
  bench.Open();
  PROPPAGEINFO info = {};
  ASSERT_EQ(bench.page->GetPageInfo(&info), S_OK);
  ::CoTaskMemFree(info.pszTitle);
  ::CoTaskMemFree(info.pszHelpFile);
  const RECT dialog = {0, 0, info.size.cx, info.size.cy};
  RECT client = {};
  ::GetClientRect(bench.dialog(), &client);
  ASSERT_GT(client.right, dialog.right);
  EXPECT_EQ(PlaceIn(bench.dialog(), bench[kLogo]).right, client.right) << "the bar goes all across the room there is";
  std::vector<HWND> children, stops = {bench[kLogoName], bench[kHelpItem]};
  if (bench[kBypassButton] != nullptr) stops.push_back(bench[kBypassButton]);
  for (HWND child = ::GetWindow(bench.dialog(), GW_CHILD); child != nullptr; child = ::GetWindow(child, GW_HWNDNEXT)) {
    RECT place = PlaceIn(bench.dialog(), child), both = {};
    if (child == bench[kLogo]) place.right = dialog.right;
    ::UnionRect(&both, &dialog, &place);
    EXPECT_TRUE(::EqualRect(&both, &dialog)) << ::GetDlgCtrlID(child);
    for (const HWND other : children) {
      if (IsClass(child, kSpinnerClass) && IsClass(other, WC_EDITW)) continue;  // a spinner shares its box's edge
      const RECT otherPlace = PlaceIn(bench.dialog(), other);
      EXPECT_FALSE(::IntersectRect(&both, &place, &otherPlace))
          << ::GetDlgCtrlID(child) << " lies on " << ::GetDlgCtrlID(other);
    }
    children.push_back(child);
    ::EnableWindow(child, TRUE);
    if (TakesTheKeyboard(child) && (::GetWindowLongPtrW(child, GWL_STYLE) & WS_TABSTOP) != 0) stops.push_back(child);
  }
  std::vector<HWND> reached;
  HWND at = ::GetNextDlgTabItem(bench.dialog(), nullptr, FALSE);
  for (; std::ranges::find(reached, at) == reached.end(); at = ::GetNextDlgTabItem(bench.dialog(), at, FALSE)) {
    reached.push_back(at);
  }
  std::ranges::sort(stops);
  std::ranges::sort(reached);
  EXPECT_EQ(reached, stops);
  for (const PageControl& control : kind.page.controls) {
    if (control.kind == ControlKind::kComputed || control.kind == ControlKind::kSpinner) continue;
    EXPECT_TRUE(std::ranges::binary_search(stops, bench[control.id])) << control.id;
  }
}

/// How far the numbers of windows and of drawing objects reach. Fresh ones fill the gaps first, so the highest of many
/// drawing objects tells how many there are; windows take the number freed last.
struct Handles {
  static Handles Now() {
    Handles now;
    const HWND window = ::CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    now.window = LOWORD(reinterpret_cast<ULONG_PTR>(window));
    ::DestroyWindow(window);
    std::vector<HBRUSH> fresh(1000);
    for (HBRUSH& brush : fresh) {
      brush = ::CreateSolidBrush(RGB(1, 2, 3));
      now.drawing = std::max<int>(now.drawing, LOWORD(reinterpret_cast<ULONG_PTR>(brush)));
    }
    for (const HBRUSH brush : fresh) ::DeleteObject(brush);
    return now;
  }
  int window = 0, drawing = 0;
};

TEST_P(PageLayout, ManyOpeningsLeaveNothing) {
  // KORVA_ROUNDS=1000 opens each page as often.
  const char* const asked = std::getenv("KORVA_ROUNDS");
  const int kWarmUp = 20, kRounds = asked != nullptr ? std::atoi(asked) : 300;
  ::ShowWindow(bench.host, SW_HIDE);
  Handles before;
  Usage used;
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
  EXPECT_LE(grown.handles, 4);
  EXPECT_LE(grown.bytes, 64 * 1024);
  EXPECT_LE(after.window, before.window + kRounds / 2);
  EXPECT_LE(after.drawing, before.drawing + kRounds / 2);
}

}  // namespace
}  // namespace korva::test
