#include "delay/echos/echos_page.h"
#include "delay/echos/echos_params.h"
#include "qvkit/help.h"

namespace korva {
namespace {

using Property = IQvEchosProp2;
constexpr ParameterAccess kAccess[] = {KORVA_ECHOS_GROUPS(KORVA_GROUP_ACCESS)};

constexpr PageControl kControls[] = {
    Bypass(kEchosBypass),
    Fader(3009, kEchosDryOut, Value(3008), kDecibelForm),
    Fader(3011, kEchosDelayOut, Value(3010), kDecibelForm),
    Trackbar(3016, kEchosDelayTime, Box(3014), kThousandthsForm, {.page = 100}),
    Trackbar(3017, kEchosDecayTime, Box(3015), kTenthsForm),
    Check(3012, kEchosMultipleDelays),
    Check(8007, kEchosTempoSyncDelay),
    DropDown(8009, kEchosDelayNote, {.names = kStringFirstNote}),
    Spinner(8008, kEchosDelayMultiplier, Box(3023), kThousandthsForm, {.page = 1000}),
    Check(8010, kEchosTempoSyncDecay),
    DropDown(8012, kEchosDecayNote, {.names = kStringFirstNote}),
    Spinner(8011, kEchosDecayMultiplier, Box(3025), kThousandthsForm, {.page = 1000}),
};

constexpr EnableRule kRules[] = {
    {{8007}, {On(kTempoRow)}},
    {{3016, 3014, 3021}, {Off(kEchosTempoSyncDelay)}},
    {{3023, 8008, 8009}, {On(kEchosTempoSyncDelay)}},
    {{8010}, {On(kEchosMultipleDelays), On(kTempoRow)}},
    {{3017, 3015, 3018}, {On(kEchosMultipleDelays), Off(kEchosTempoSyncDecay)}},
    {{3025, 8011, 8012}, {On(kEchosMultipleDelays), On(kEchosTempoSyncDecay)}},
};

}  // namespace

constexpr PageDescription kEchosPage{3001,         kStringEchosTitle, kStringEchosLogo, kHelpEchos,
                                     kEchosEffect, kAccess,           kControls,        kRules};

}  // namespace korva
