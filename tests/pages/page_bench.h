// One page on one filter in a window of its own, with the eyes and hands of a user and of a host.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "frame/interfaces.h"
#include "frame/module_text.h"
#include "frame/row_values.h"
#include "page_host.h"
#include "pages/preset_menu.h"
#include "platform/wide_text.h"
#include "qvkit/controls.h"
#include "qvkit/system_controls.h"
#include "support/listening_host.h"

namespace korva::test {

inline constexpr int kLogo = 2;
inline constexpr int kNotice = 32700;

/// The components live as long as the program's tests run.
class Environment final : public testing::Environment {
 public:
  void SetUp() override { components = new Components; }
  void TearDown() override { delete std::exchange(components, nullptr); }
  static inline Components* components = nullptr;
};

inline void Pump() {
  MSG message;
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
}

inline std::string TextOf(HWND window) {
  WCHAR text[256] = {};
  ::GetWindowTextW(window, text, 256);
  return platform::ToUtf8(text);
}

/// Counts what a page tells its site.
class PageSite final : public IPropertyPageSite {
 public:
  KORVA_STACK_UNKNOWN(IPropertyPageSite);
  HRESULT STDMETHODCALLTYPE OnStatusChange(DWORD flags) override {
    ++told;
    lastFlags = flags;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetLocaleID(LCID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE TranslateAccelerator(MSG*) override { return S_FALSE; }

  int told = 0;
  DWORD lastFlags = 0;
};

/// The one window on the screen that all hosts are in: a system without a window manager takes seconds to let one go.
inline HWND Desk() {
  static const HWND desk = ::CreateWindowExW(0, L"STATIC", L"desk", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 1000, 800,
                                             nullptr, nullptr, nullptr, nullptr);
  return desk;
}

class PageBench {
 public:
  explicit PageBench(const PageCase& which, ComPtr<IUnknown> with = {})
      : kind(which),
        filter(with ? std::move(with) : which.Filter()),
        params(Query<IMediaParams>(filter.Get())),
        host(::CreateWindowExW(0, L"STATIC", L"host", WS_CHILD | WS_VISIBLE, 0, 0, 1000, 800, Desk(), nullptr, nullptr,
                               nullptr)),
        page(which.Page()) {
    page->SetPageSite(&site);
    filter->QueryInterface(which.property, &property_);
    static_cast<IUnknown*>(property_)->Release();  // the filter outlives it
    if (const auto calls = Query<IMediaParamsSetUICallback>(filter.Get()); calls) calls->SetUICallback(&recorder);
  }
  ~PageBench() {
    page.Reset();
    if (const auto calls = Query<IMediaParamsSetUICallback>(filter.Get()); calls) calls->SetUICallback(nullptr);
    ::DestroyWindow(host);
    Pump();
    EXPECT_EQ(site.references, 0u);
    EXPECT_EQ(recorder.references, 0u);
  }

  void Connect() { Connect(filter); }
  void Connect(const ComPtr<IUnknown>& other) {
    IUnknown* object = other.Get();
    ASSERT_EQ(page->SetObjects(1, &object), S_OK);
  }
  void Activate() {
    const RECT place = {0, 0, 1000, 800};
    ASSERT_EQ(page->Activate(host, &place, FALSE), S_OK);
  }
  PageBench& Open() {
    Connect();
    Activate();
    Pump();
    return *this;
  }

  HWND dialog() const { return ::GetWindow(host, GW_CHILD); }
  /// A control of the page, or a button of its logo bar.
  HWND operator[](int id) const {
    const HWND direct = ::GetDlgItem(dialog(), id);
    return direct != nullptr ? direct : ::GetDlgItem(::GetDlgItem(dialog(), kLogo), id);
  }
  std::string Text(int id) const { return TextOf((*this)[id]); }
  bool Enabled(int id) const { return ::IsWindowEnabled((*this)[id]) != 0; }
  bool Checked(int id) const { return Send(id, BM_GETCHECK, 0, 0) == BST_CHECKED; }
  LONG Position(int id) const { return static_cast<LONG>(Send(id, kGetPosition, 0, 0)); }
  LRESULT Selected(int id) const {
    return Send(id, CB_GETITEMDATA, static_cast<WPARAM>(Send(id, CB_GETCURSEL, 0, 0)), 0);
  }
  LRESULT Send(int id, UINT message, WPARAM wparam, LPARAM lparam) const {
    return ::SendMessageW((*this)[id], message, wparam, lparam);
  }
  LRESULT Command(int id, WORD code = 0) const {
    return ::SendMessageW(dialog(), WM_COMMAND, MAKEWPARAM(id, code), reinterpret_cast<LPARAM>((*this)[id]));
  }
  void Press(int id, WPARAM key) const {
    Send(id, WM_KEYDOWN, key, 1);
    Send(id, WM_KEYUP, key, 1);
  }
  void Click(int id) const {
    Send(id, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(4, 4));
    Send(id, WM_LBUTTONUP, 0, MAKELPARAM(4, 4));
  }
  /// The middle of a slider's thumb.
  POINT Thumb(int id) const {
    RECT thumb = {};
    Send(id, TBM_GETTHUMBRECT, 0, reinterpret_cast<LPARAM>(&thumb));
    return {(thumb.left + thumb.right) / 2, (thumb.top + thumb.bottom) / 2};
  }
  /// That the host has heard so many edits begin and end.
  void ExpectBrackets(std::ptrdiff_t count) {
    const std::string heard = recorder.Take();
    EXPECT_EQ(std::ranges::count(heard, '['), count) << heard;
    EXPECT_EQ(std::ranges::count(heard, ']'), count) << heard;
  }
  /// Goes to an edit box and puts other characters in the place of its text.
  void Enter(int id, const WCHAR* text) const {
    ::EnableWindow((*this)[id], TRUE);
    ::SetFocus((*this)[id]);
    Send(id, EM_SETSEL, 0, -1);
    Send(id, WM_CLEAR, 0, 0);
    for (; *text != 0; ++text) Send(id, WM_CHAR, *text, 1);
  }
  /// Tells the system that a key is down or up, beside the messages of it.
  static void Hold(int key, bool down) {
    BYTE keys[256] = {};
    keys[key] = down ? 0x80 : 0;
    ::SetKeyboardState(keys);
  }
  void Leave() const { ::SetFocus((*this)[kLogoName]); }
  void Type(int id, const WCHAR* text) const {
    Enter(id, text);
    Leave();
  }
  /// Takes an item of a list.
  void Choose(int id, LONG item) const {
    Send(id, CB_SETCURSEL, static_cast<WPARAM>(item), 0);
    Command(id, CBN_SELCHANGE);
  }
  void Drop(int id, bool open) const { Send(id, CB_SHOWDROPDOWN, open ? TRUE : FALSE, 0); }
  void Tick() const { ::SendMessageW(dialog(), WM_TIMER, 0, 0); }
  /// Tells the page that the filter holds something new, and lets it catch up.
  void Notice() const {
    Command(kNotice, 100);
    Tick();
  }

  const ParameterAccess& Access(int row) const {
    return *std::ranges::find(kind.page.access, row, &ParameterAccess::row);
  }
  double Get(int row) const { return Access(row).get(property_); }
  void Set(int row, double value) const { Access(row).set(property_, value); }
  /// Sets a value as somebody else does.
  void Show(int row, double value) {
    Set(row, value);
    Notice();
    recorder.Take();
    site.told = 0;
  }
  bool Automated(int row) const { return Access(row).beginEdit != nullptr; }
  LONG Whole(int row) const { return static_cast<LONG>(Get(row)); }
  const ParamDescriptor& Row(int row) const { return kind.page.effect.rows[static_cast<std::size_t>(row)]; }

  const PageCase& kind;
  ComPtr<IUnknown> filter;
  ComPtr<IMediaParams> params;
  PageSite site;
  ListeningHost recorder;
  HWND host;
  ComPtr<IPropertyPage> page;

 private:
  void* property_ = nullptr;
};

/// A test of one page; everything that it made must be gone at its end.
class PageTest : public testing::TestWithParam<std::size_t> {
 protected:
  void TearDown() override {
    opened.reset();
    EXPECT_EQ(CBaseObject::ObjectsActive(), objects);
  }

  const long objects = CBaseObject::ObjectsActive();
  const PageCase& kind = Pages()[GetParam()];
  std::optional<PageBench> opened{std::in_place, kind};
  PageBench& bench = *opened;
};

#define KORVA_FOR_EVERY_PAGE(suite)                                                                           \
  INSTANTIATE_TEST_SUITE_P(Every, suite, testing::Range(std::size_t{0}, Pages().size()), [](const auto& at) { \
    std::string name = Pages()[at.param].name();                                                              \
    std::ranges::replace(name, '-', '_');                                                                     \
    return name;                                                                                              \
  })

}  // namespace korva::test
