#include <algorithm>
#include <array>
#include <new>
#include <span>
#include <utility>

#include "qvkit/activation_context.h"
#include "qvkit/controls.h"
#include "qvkit/image_lists.h"
#include "qvkit/superclass.h"
#include "qvkit/system_controls.h"
#include "qvkit/ui_color.h"

// The bar at the top of a page: the effect's name, which opens the preset menu, and a few buttons at the right. What
// can be pressed is a button of the system, so that the tab key and screen readers find it; only the ground and the
// name are drawn here.
namespace korva {
namespace {

constexpr int kMostButtons = 8;

enum class ImageKind { kOff, kOn, kDisabled };
constexpr std::size_t kImageKinds = 3;

struct BarButton {
  int id = 0;
  HWND window = nullptr;
  int image = -1;      // index into the lists; -1 for a text
  bool named = false;  // its own text is its spoken name, and an image stands on its face
  bool on = false;
  HICON icon = nullptr;
  std::array<WCHAR, 8> face{};  // of a text button
};

template <class Number>
HMENU AsMenu(Number id) noexcept {
  return reinterpret_cast<HMENU>(static_cast<INT_PTR>(id));
}

class LogoBar {
 public:
  explicit LogoBar(HWND window) noexcept : window_(window) {}
  ~LogoBar() {
    Restart();
    if (nameFont_ != nullptr) ::DeleteObject(nameFont_);
  }
  LogoBar(const LogoBar&) = delete;
  LogoBar& operator=(const LogoBar&) = delete;

  bool Create() noexcept {
    name_ = AddChild(L"", BS_OWNERDRAW, kLogoName);
    return name_ != nullptr;
  }

  LRESULT Handle(UINT message, WPARAM wparam, LPARAM lparam) noexcept {
    switch (message) {
      case kLogoRestart:
        Restart();
        return 0;
      case kLogoAddText:
        AddButton(static_cast<int>(wparam), reinterpret_cast<const WCHAR*>(lparam), false);
        return 0;
      case kLogoAddImage:
        AddButton(static_cast<int>(wparam), L"", true);
        return 0;
      case kLogoImages:
      case kLogoOnImages:
      case kLogoDisabledImages:
        images_[message - kLogoImages] = reinterpret_cast<ImageList>(wparam);
        ShowFaces();
        return 0;
      case kLogoShowOn: {
        BarButton* const button = FindButton(static_cast<int>(wparam));
        if (button == nullptr || button->on == (lparam != 0)) return 0;
        button->on = lparam != 0;
        ::SendMessageW(button->window, BM_SETCHECK, button->on ? BST_CHECKED : BST_UNCHECKED, 0);
        ShowFace(*button);
        return 0;
      }
      case kLogoSetTip:
        SetTip(static_cast<int>(wparam), reinterpret_cast<WCHAR*>(lparam));
        return 0;
      case WM_SETTEXT:
        ::SetWindowTextW(name_, reinterpret_cast<const WCHAR*>(lparam));
        break;
      case WM_SETFONT:
        SetFont(reinterpret_cast<HFONT>(wparam));
        return 0;
      case WM_GETFONT:
        return reinterpret_cast<LRESULT>(font_);
      case WM_SIZE:
        Arrange();
        return 0;
      case WM_ENABLE:
        for (const BarButton& button : Buttons()) ::EnableWindow(button.window, wparam != 0);
        ShowFaces();
        ::EnableWindow(name_, wparam != 0);
        return 0;
      case WM_COMMAND:
        return Command(LOWORD(wparam), HIWORD(wparam), lparam);
      case WM_DRAWITEM:
        DrawName(*reinterpret_cast<const DRAWITEMSTRUCT*>(lparam));
        return TRUE;
      case WM_ERASEBKGND:
        return Fill(reinterpret_cast<HDC>(wparam));
      case WM_CTLCOLORBTN:
      case WM_CTLCOLORSTATIC:
        ::SetDCBrushColor(reinterpret_cast<HDC>(wparam), QvGetUIColor(kColorBar));
        return reinterpret_cast<LRESULT>(::GetStockObject(DC_BRUSH));
      case WM_SYSCOLORCHANGE:
      case WM_SETTINGCHANGE:
        ShowFaces();
        ::InvalidateRect(window_, nullptr, TRUE);
        break;
      default:
        break;
    }
    return ::DefWindowProcW(window_, message, wparam, lparam);
  }

 private:
  std::span<BarButton> Buttons() noexcept { return {buttons_.data(), static_cast<std::size_t>(count_)}; }

  BarButton* FindButton(int id) noexcept {
    const auto all = Buttons();
    const auto found = std::ranges::find(all, id, &BarButton::id);
    return found != all.end() ? &*found : nullptr;
  }

  HMODULE Module() const noexcept { return reinterpret_cast<HMODULE>(::GetWindowLongPtrW(window_, GWLP_HINSTANCE)); }

  HWND AddChild(const WCHAR* text, LONG style, int id) noexcept {
    const auto full = static_cast<DWORD>(WS_CHILD | WS_VISIBLE | WS_TABSTOP | style);
    return ::CreateWindowExW(0, WC_BUTTONW, text, full, 0, 0, 0, 0, window_, AsMenu(id), Module(), nullptr);
  }

  void AddButton(int id, const WCHAR* text, bool isImage) noexcept {
    if (count_ == kMostButtons) return;
    // An image button is a check box in a button's clothes: its state is told, and not only shown.
    const LONG style = isImage ? BS_CHECKBOX | BS_PUSHLIKE : BS_PUSHBUTTON;
    const HWND button = AddChild(text, style, id);
    if (button == nullptr) return;
    ::SendMessageW(button, WM_SETFONT, reinterpret_cast<WPARAM>(font_), FALSE);
    BarButton& added = buttons_[static_cast<std::size_t>(count_++)];
    added = BarButton();
    added.id = id;
    added.window = button;
    if (isImage) added.image = imageCount_++;
    ::lstrcpynW(added.face.data(), text, static_cast<int>(added.face.size()));
    ShowFace(added);
    Arrange();
  }

  void Restart() noexcept {
    // First, while the buttons that it listens to are still there to be let go of.
    if (tips_ != nullptr) ::DestroyWindow(std::exchange(tips_, nullptr));
    for (BarButton& button : Buttons()) {
      ::DestroyWindow(button.window);
      if (button.icon != nullptr) ::DestroyIcon(button.icon);
    }
    count_ = 0;
    imageCount_ = 0;
    images_ = {};
  }

  void ShowFaces() noexcept {
    for (BarButton& button : Buttons()) ShowFace(button);
    Arrange();
  }

  /// The image of a button, where it has one. Where there is none to be had, the button's text shows.
  void ShowFace(BarButton& button) noexcept {
    const ImageKind kind = !::IsWindowEnabled(window_) ? ImageKind::kDisabled
                           : button.on                 ? ImageKind::kOn
                                                       : ImageKind::kOff;
    HICON icon = nullptr;
    if (button.image >= 0) {
      icon = ImageListIcon(images_[static_cast<std::size_t>(kind)], button.image);
    } else if (button.named) {
      icon = TextIcon(button.face.data(), font_, ::GetSysColor(COLOR_BTNTEXT));
    }
    // The button takes an image, or gives it back, only while its style says that it shows one.
    const LONG_PTR style = ::GetWindowLongPtrW(button.window, GWL_STYLE);
    ::SetWindowLongPtrW(button.window, GWL_STYLE, style | BS_ICON);
    ::SendMessageW(button.window, BM_SETIMAGE, IMAGE_ICON, reinterpret_cast<LPARAM>(icon));
    if (icon == nullptr) ::SetWindowLongPtrW(button.window, GWL_STYLE, style & ~LONG_PTR{BS_ICON});
    if (const HICON old = std::exchange(button.icon, icon); old != nullptr) ::DestroyIcon(old);
  }

  void SetTip(int id, WCHAR* text) noexcept {
    BarButton* const button = FindButton(id);
    const HWND target = button != nullptr ? button->window : id == kLogoName ? name_ : nullptr;
    if (target == nullptr) return;
    if (button != nullptr) {
      ::SetWindowTextW(target, text);
      button->named = true;
      ShowFace(*button);
      Arrange();
    }
    if (tips_ == nullptr) {
      tips_ = ::CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_NOPREFIX, 0, 0, 0, 0, window_,
                                nullptr, Module(), nullptr);
    }
    TTTOOLINFOW tip = {};
    tip.cbSize = TTTOOLINFOW_V1_SIZE;
    tip.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
    tip.hwnd = window_;
    tip.uId = reinterpret_cast<UINT_PTR>(target);
    tip.lpszText = text;
    ::SendMessageW(tips_, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tip));
  }

  void SetFont(HFONT font) noexcept {
    font_ = font;
    LOGFONTW bold = {};
    if (font == nullptr || ::GetObjectW(font, sizeof(bold), &bold) == 0) return;
    bold.lfWeight = FW_BOLD;
    bold.lfHeight = ::MulDiv(bold.lfHeight, 5, 4);
    if (const HFONT old = std::exchange(nameFont_, ::CreateFontIndirectW(&bold)); old != nullptr) ::DeleteObject(old);
    ::SendMessageW(name_, WM_SETFONT, reinterpret_cast<WPARAM>(nameFont_), FALSE);
    for (const BarButton& button : Buttons()) {
      ::SendMessageW(button.window, WM_SETFONT, reinterpret_cast<WPARAM>(font), FALSE);
    }
    ShowFaces();
  }

  /// The room that a button's text needs.
  int TextWidth(const BarButton& button) const noexcept {
    std::array<WCHAR, 64> text{};
    RECT needed = {};
    ::GetWindowTextW(button.window, text.data(), static_cast<int>(text.size()));
    const HDC context = ::GetDC(button.window);
    const HGDIOBJ old = ::SelectObject(context, font_ != nullptr ? font_ : ::GetStockObject(DEFAULT_GUI_FONT));
    ::DrawTextW(context, text.data(), -1, &needed, DT_CALCRECT | DT_SINGLELINE);
    ::SelectObject(context, old);
    ::ReleaseDC(button.window, context);
    return static_cast<int>(needed.right);
  }

  // Buttons from the right, square unless a text needs more; the name in what is left.
  void Arrange() noexcept {
    RECT bar = {};
    ::GetClientRect(window_, &bar);
    const int margin = std::max(1, static_cast<int>(bar.bottom) / 12);
    const int side = static_cast<int>(bar.bottom) - 2 * margin;
    int right = static_cast<int>(bar.right) - margin;
    for (int i = count_ - 1; i >= 0; --i) {
      const BarButton& button = buttons_[static_cast<std::size_t>(i)];
      const int width = button.icon != nullptr ? side : std::max(side, TextWidth(button) + side / 2);
      right -= width;
      ::MoveWindow(button.window, right, margin, width, side, TRUE);
      right -= margin;
    }
    ::MoveWindow(name_, 0, 0, std::max(0, right), bar.bottom, TRUE);
  }

  LRESULT Command(int id, WORD code, LPARAM sender) noexcept {
    if (code != BN_CLICKED) return 0;
    const HWND parent = ::GetParent(window_);
    if (id == kLogoName) {
      const auto own = static_cast<WORD>(::GetDlgCtrlID(window_));
      const HWND tips = tips_;
      ::SendMessageW(tips, TTM_ACTIVATE, FALSE, 0);  // it would lie on the menu
      ::SendMessageW(parent, WM_COMMAND, MAKEWPARAM(own, kLogoMenu), reinterpret_cast<LPARAM>(window_));
      return ::SendMessageW(tips, TTM_ACTIVATE, TRUE, 0);  // the bar itself may be gone by now
    }
    return ::SendMessageW(parent, WM_COMMAND, MAKEWPARAM(id, code), sender);
  }

  LRESULT Fill(HDC context) noexcept {
    RECT bar = {};
    ::GetClientRect(window_, &bar);
    ::SetDCBrushColor(context, QvGetUIColor(kColorBar));
    ::FillRect(context, &bar, static_cast<HBRUSH>(::GetStockObject(DC_BRUSH)));
    return TRUE;
  }

  void DrawName(const DRAWITEMSTRUCT& item) noexcept {
    RECT area = item.rcItem;
    ::SetDCBrushColor(item.hDC, QvGetUIColor((item.itemState & ODS_SELECTED) != 0 ? kColorBarHot : kColorBar));
    ::FillRect(item.hDC, &area, static_cast<HBRUSH>(::GetStockObject(DC_BRUSH)));
    WCHAR name[128];
    ::GetWindowTextW(item.hwndItem, name, static_cast<int>(std::size(name)));
    const HGDIOBJ font = nameFont_ != nullptr ? ::SelectObject(item.hDC, nameFont_) : nullptr;
    ::SetBkMode(item.hDC, TRANSPARENT);
    ::SetTextColor(item.hDC, QvGetUIColor(kColorBarText));
    const int indent = static_cast<int>(area.bottom) / 3;
    area.left += indent;
    ::DrawTextW(item.hDC, name, -1, &area, DT_SINGLELINE | DT_VCENTER | DT_NOPREFIX | DT_END_ELLIPSIS);
    RECT text = area;
    ::DrawTextW(item.hDC, name, -1, &text, DT_SINGLELINE | DT_NOPREFIX | DT_CALCRECT);
    DrawArrow(item.hDC, std::min(text.right, area.right) + indent, (area.top + area.bottom) / 2, indent / 2);
    if (font != nullptr) ::SelectObject(item.hDC, font);
    if ((item.itemState & ODS_FOCUS) != 0) {
      RECT frame = item.rcItem;
      ::InflateRect(&frame, -2, -2);
      ::SetBkColor(item.hDC, QvGetUIColor(kColorBar));
      ::DrawFocusRect(item.hDC, &frame);
    }
  }

  // Says that the name opens a menu.
  static void DrawArrow(HDC context, int left, int middle, int half) noexcept {
    const COLORREF color = QvGetUIColor(kColorBarText);
    const POINT corners[] = {
        {left, middle - half / 2}, {left + 2 * half, middle - half / 2}, {left + half, middle + half - half / 2}};
    ::SetDCBrushColor(context, color);
    ::SetDCPenColor(context, color);
    const HGDIOBJ brush = ::SelectObject(context, ::GetStockObject(DC_BRUSH));
    const HGDIOBJ pen = ::SelectObject(context, ::GetStockObject(DC_PEN));
    ::Polygon(context, corners, static_cast<int>(std::size(corners)));
    ::SelectObject(context, pen);
    ::SelectObject(context, brush);
  }

  HWND window_;
  HWND name_ = nullptr;
  HWND tips_ = nullptr;
  HFONT font_ = nullptr;      // the dialog's
  HFONT nameFont_ = nullptr;  // ours
  std::array<ImageList, kImageKinds> images_{};
  std::array<BarButton, kMostButtons> buttons_{};
  int count_ = 0;
  int imageCount_ = 0;
};

LRESULT CALLBACK LogoProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  auto* bar = reinterpret_cast<LogoBar*>(::GetWindowLongPtrW(window, 0));
  if (message == WM_CREATE) {
    bar = new (std::nothrow) LogoBar(window);
    ::SetWindowLongPtrW(window, 0, reinterpret_cast<LONG_PTR>(bar));
    if (bar == nullptr || !bar->Create()) return -1;
    // The tab key goes through the bar to its buttons.
    ::SetWindowLongPtrW(window, GWL_EXSTYLE, ::GetWindowLongPtrW(window, GWL_EXSTYLE) | WS_EX_CONTROLPARENT);
    return 0;
  }
  if (message == WM_DESTROY) {
    ::SetWindowLongPtrW(window, 0, 0);
    delete bar;
    bar = nullptr;
  }
  return bar != nullptr ? bar->Handle(message, wparam, lparam) : ::DefWindowProcW(window, message, wparam, lparam);
}

}  // namespace

bool LogoInitialize(const WCHAR* name, HMODULE module) noexcept {
  WNDCLASSEXW type = {};
  type.cbSize = sizeof(type);
  type.lpfnWndProc = LogoProc;
  type.cbWndExtra = static_cast<int>(sizeof(LONG_PTR));
  type.hInstance = module;
  type.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
  type.lpszClassName = name;
  const ModuleActivation activation;
  return ::RegisterClassExW(&type) != 0;
}

bool LogoTerminate(const WCHAR* name, HMODULE module) noexcept {
  return SuperClass::Unregister(name, module);
}

}  // namespace korva
