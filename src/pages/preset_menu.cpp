#include "pages/preset_menu.h"

#include <algorithm>
#include <array>

#include "frame/interfaces.h"
#include "frame/module_text.h"
#include "qvkit/string_ids.h"
#include "qvkit/text.h"
#include "streaming/com_ptr.h"

namespace korva {

HMENU CreatePresetMenu(IUnknown* filter) noexcept {
  constexpr std::size_t kNameCapacity = 260;
  const HMENU menu = ::CreatePopupMenu();
  const auto presets = Query<IStaticFilterPreset>(filter);
  LONG count = 0;
  if (menu == nullptr || !presets || FAILED(presets->GetPresetCount(&count))) return menu;
  count = std::min<LONG>(count, PresetOfItem(kLastPresetItem) + 1);
  for (LONG row = 1; row < count; ++row) {
    std::array<WCHAR, kNameCapacity> name{}, item{};
    if (FAILED(presets->GetPresetName(row, name.data()))) continue;
    QvFixNameForMenu(name.data(), item.data(), item.size());
    ::AppendMenuW(menu, MF_STRING, static_cast<UINT_PTR>(kFirstPresetItem + row - 1), item.data());
  }
  return menu;
}

HMENU CreatePageMenu(IUnknown* filter) noexcept {
  const HMENU menu = ::CreatePopupMenu();
  const HMENU presets = menu != nullptr ? CreatePresetMenu(filter) : nullptr;
  if (presets == nullptr) return menu;
  if (!::AppendMenuW(menu, MF_POPUP, reinterpret_cast<UINT_PTR>(presets), ModuleText(kStringPresets))) {
    ::DestroyMenu(presets);
  }
  ::AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
  ::AppendMenuW(menu, MF_STRING, kHelpItem, ModuleText(kStringHelp));
  return menu;
}

}  // namespace korva
