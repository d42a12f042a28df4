#include "module/filter_setup.h"

namespace korva {
namespace {

constexpr DWORD kMerit = 0x200000;

constexpr MediaTypeSetup kAnyAudio[] = {{&MEDIATYPE_Audio, &GUID_NULL}};

constexpr PinSetup kPins[] = {
    {KORVA_WTEXT("Input"), false, false, false, false, &GUID_NULL, KORVA_WTEXT("Output"), kAnyAudio},
    {KORVA_WTEXT("Output"), false, true, false, false, &GUID_NULL, KORVA_WTEXT("Input"), kAnyAudio},
};

}  // namespace

FilterSetup SetupOf(const EffectDescription& effect) noexcept {
  return {effect.filterClass, effect.displayName, kMerit, kPins};
}

}  // namespace korva
