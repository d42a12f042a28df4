#include "frame/module_text.h"
#include "qvkit/help.h"
#include "reverb/reverb_page.h"

namespace korva {
namespace {

void ShowPreDelay(const PageValues&, double value, std::span<WCHAR> text) {
  const auto milliseconds = static_cast<LONG>(value);
  QvPrintF(text, ModuleText(milliseconds == 0 ? kStringPreDelayOff : kStringPreDelayReadout), {milliseconds});
}

using Property = IQvReverbProp2;
constexpr ParameterAccess kAccess[] = {KORVA_REVERB_GROUPS(KORVA_GROUP_ACCESS)};

constexpr PageControl kControls[] = {
    Bypass(kReverbBypass),
    Fader(5013, kReverbDryOut, Value(5016), kDecibelForm),
    Fader(5014, kReverbReverbOut, Value(5017), kDecibelForm),
    Fader(5015, kReverbEarlyOut, Value(5018), kDecibelForm),
    Trackbar(5032, kReverbDecayTime, Value(5019), kTenthsForm),
    Trackbar(5033, kReverbPreDelay, Value(5023), kWholeForm, {.show = ShowPreDelay}),
    Trackbar(5039, kReverbHighFreq, Box(5037), kGroupedForm, {.page = 100}),
    Check(5035, kReverbHighOn),
    Trackbar(5038, kReverbBassFreq, Box(5036), kGroupedForm, {.page = 100}),
    Check(5034, kReverbBassOn),
    DropDown(5031, kReverbEarlyStyle, {.names = kStringFirstEarlyStyle}),
    DropDown(5030, kReverbMode, {.names = kStringFirstReverbMode}),
};

constexpr EnableRule kRules[] = {
    {{5038}, {On(kReverbBassOn)}},
    {{5036}, {On(kReverbBassOn)}, true},
    {{5039}, {On(kReverbHighOn)}},
    {{5037}, {On(kReverbHighOn)}, true},
};

}  // namespace

constexpr PageDescription kReverbPage{
    5001, kStringReverbTitle, kStringReverbLogo, kHelpReverb, kReverbEffect, kAccess, kControls, kRules};

}  // namespace korva
