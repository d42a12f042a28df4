
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

}  // namespace korva
