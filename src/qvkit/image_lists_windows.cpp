#include <cstring>

#include "qvkit/image_lists.h"
#include "qvkit/system_controls.h"

namespace korva {
namespace {

template <class Function>
Function Find(const char* name) noexcept {
  Function function = nullptr;
  if (const HMODULE library = ::GetModuleHandleW(L"Comctl32.dll"); library != nullptr) {
    const FARPROC found = ::GetProcAddress(library, name);
    static_assert(sizeof(function) == sizeof(found));
    std::memcpy(&function, &found, sizeof(function));
  }
  return function;
}

}  // namespace

ImageList LoadImageList(HMODULE module, int bitmap, int width) noexcept {
  const auto load = Find<decltype(&::ImageList_LoadImageW)>("ImageList_LoadImageW");
  if (load == nullptr) return nullptr;
  return load(module, MAKEINTRESOURCEW(bitmap), width, 0, CLR_NONE, IMAGE_BITMAP, LR_CREATEDIBSECTION);
}

void DestroyImageList(ImageList list) noexcept {
  const auto destroy = Find<decltype(&::ImageList_Destroy)>("ImageList_Destroy");
  if (destroy != nullptr && list != nullptr) destroy(static_cast<HIMAGELIST>(list));
}

HICON ImageListIcon(ImageList list, int index) noexcept {
  const auto icon = Find<decltype(&::ImageList_GetIcon)>("ImageList_GetIcon");
  return icon != nullptr && list != nullptr ? icon(static_cast<HIMAGELIST>(list), index, ILD_NORMAL) : nullptr;
}

HICON TextIcon(const WCHAR* text, HFONT font, COLORREF color) noexcept {
  const HDC context = ::CreateCompatibleDC(nullptr);
  if (context == nullptr) return nullptr;
  const HGDIOBJ oldFont = ::SelectObject(context, font != nullptr ? font : ::GetStockObject(DEFAULT_GUI_FONT));
  SIZE size = {};
  ::GetTextExtentPoint32W(context, text, ::lstrlenW(text), &size);
  BITMAPINFO info = {};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = size.cx;
  info.bmiHeader.biHeight = size.cy;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  void* bits = nullptr;
  const HBITMAP picture = ::CreateDIBSection(context, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  const HBITMAP mask = ::CreateBitmap(size.cx, size.cy, 1, 1, nullptr);
  HICON icon = nullptr;
  if (picture != nullptr && mask != nullptr) {
    const HGDIOBJ oldPicture = ::SelectObject(context, picture);
    ::SetBkMode(context, TRANSPARENT);
    ::SetTextColor(context, RGB(255, 255, 255));
    ::TextOutW(context, 0, 0, text, ::lstrlenW(text));
    ::GdiFlush();
    ::SelectObject(context, oldPicture);
    // White on black is how much of the text covers a place.
    const DWORD ink = static_cast<DWORD>(GetRValue(color)) << 16 | static_cast<DWORD>(GetGValue(color)) << 8 |
                      static_cast<DWORD>(GetBValue(color));
    auto* const pixels = static_cast<DWORD*>(bits);
    for (LONG i = 0; i < size.cx * size.cy; ++i) pixels[i] = (pixels[i] & 0xFF00) << 16 | ink;
    ICONINFO made = {TRUE, 0, 0, mask, picture};
    icon = ::CreateIconIndirect(&made);
  }
  if (picture != nullptr) ::DeleteObject(picture);
  if (mask != nullptr) ::DeleteObject(mask);
  ::SelectObject(context, oldFont);
  ::DeleteDC(context);
  return icon;
}

}  // namespace korva
