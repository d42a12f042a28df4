#include "qvkit/text.h"

namespace korva {

// There is no user's locale to ask; these are the signs of the languages that there are texts for.
NumberSigns NumberSignsOf(std::uint32_t locale) noexcept {
  constexpr std::uint32_t kPrimaryMask = 0x3FF;
  constexpr WCHAR kNoBreakSpace = 0xA0;
  constexpr WCHAR kNarrowNoBreakSpace = 0x202F;
  switch (locale & kPrimaryMask) {
    case 0x07:  // German
    case 0x0A:  // Spanish
    case 0x16:  // Portuguese
      return {',', '.'};
    case 0x0C:  // French
      return {',', kNarrowNoBreakSpace};
    case 0x15:  // Polish
    case 0x19:  // Russian
      return {',', kNoBreakSpace};
    default:
      return {};
  }
}

}  // namespace korva
