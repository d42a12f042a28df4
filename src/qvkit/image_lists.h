#pragma once

#include "platform/platform.h"

namespace korva {

using ImageList = void*;

// The image list functions of the system's common controls, looked up when they are first needed. Every one of them
// does nothing, and answers null, where the library lacks them.

/// The images of a bitmap resource, each `width` pixels wide, with their transparency.
ImageList LoadImageList(HMODULE module, int bitmap, int width) noexcept;
void DestroyImageList(ImageList list) noexcept;
/// One image as an icon, which the caller destroys.
HICON ImageListIcon(ImageList list, int index) noexcept;

/// A short text as an icon of its own size, which the caller destroys. Null on failure.
HICON TextIcon(const WCHAR* text, HFONT font, COLORREF color) noexcept;

}  // namespace korva
