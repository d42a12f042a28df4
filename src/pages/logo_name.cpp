#include "pages/logo_name.h"

#include <algorithm>
#include <string_view>

namespace korva {
namespace {

using WideView = std::basic_string_view<WCHAR>;

constexpr WideView kMaker = KORVA_WTEXT("KORVA");

bool SameLetters(WideView left, WideView right) noexcept {
  const auto upper = [](WCHAR letter) { return letter >= 'a' && letter <= 'z' ? letter - 'a' + 'A' : letter; };
  return std::ranges::equal(left, right, {}, upper, upper);
}

WideView From(WideView text, std::size_t at) noexcept {
  return at < text.size() ? text.substr(at) : WideView();
}

}  // namespace

void CutMakerName(const WCHAR* name, std::span<WCHAR> shown) noexcept {
  const WideView whole(name);
  WideView before = whole, after;
  if (const std::size_t at = whole.find(kMaker); at != WideView::npos) {
    before = whole.substr(0, at);
    after = From(whole, at + kMaker.size() + 1);  // with the blank that parted them
  } else if (whole.size() > kMaker.size() && SameLetters(whole.substr(whole.size() - kMaker.size()), kMaker)) {
    before = whole.substr(0, whole.size() - kMaker.size());
  }
  std::size_t length = 0;
  for (const WideView part : {before, after}) {
    for (const WCHAR letter : part) {
      if (length + 1 < shown.size()) shown[length++] = letter;
    }
  }
  if (!shown.empty()) shown[length] = 0;
}

}  // namespace korva
