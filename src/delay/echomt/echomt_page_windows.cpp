#include "delay/echomt/echo_response.h"
#include "delay/echomt/echomt_page.h"
#include "delay/echomt/echomt_params.h"
#include "delay/echomt/tap_graph.h"
#include "qvkit/help.h"

namespace korva {
namespace {

constexpr int kGraph = 4042;

/// The tap that is shown is one in use.
void HoldCurrentTap(PageValues& values) {
  const double last = values.Get(kEchomtTapCount) - 1;
  if (values.Get(kEchomtCurrentTap) > last) values.Set(kEchomtCurrentTap, last);
}

constexpr NumberForm kModRateForm{.decimals = 1, .unit = kStringHertz};
constexpr PageOwn kOfTap{.indexedBy = kEchomtCurrentTap};
constexpr PageOwn kGainOfTap{.indexedBy = kEchomtCurrentTap, .invalidates = kGraph};
constexpr PageOwn kDelayOfTap{.page = 100, .indexedBy = kEchomtCurrentTap, .invalidates = kGraph};
constexpr PageOwn kPanOfTap{.markOrigin = true, .indexedBy = kEchomtCurrentTap};
constexpr PageOwn kCount{.also = {4018, 4026, 4029, 4031}, .invalidates = kGraph, .before = HoldCurrentTap};
constexpr PageOwn kCurrent{.also = {4026, 4029, 4031}, .invalidates = kGraph};

using Property = IQvEchomtProp;
constexpr ParameterAccess kAccess[] = {KORVA_ECHOMT_PAIRS(KORVA_PAIR_ACCESS)};

constexpr PageControl kControls[] = {
    Fader(4003, kEchomtInputGain, Value(4002), kDecibelForm),
    Fader(4005, kEchomtDryOut, Value(4004), kDecibelForm),
    Fader(4008, kEchomtWetOut, Value(4009), kDecibelForm),
    Trackbar(4011, kEchomtModRate, Value(4035), kModRateForm),
    Trackbar(4012, kEchomtModDepth, Value(4032), kPercentForm),
    Trackbar(4013, kEchomtFeedback, Value(4033), kPercentForm, {.invalidates = kGraph}),
    Check(4115, kEchomtLowPassEnabled),
    Trackbar(4116, kEchomtLowPassHz, Box(4117), kGroupedForm, {.page = 100}),
    Trackbar(4014, kEchomtTapCount, Value(4034), kWholeForm, kCount),
    Radios(4018, kEchomtCurrentTap, kCurrent),
    Fader(4026, kEchomtTapGain, Value(4027), kPercentForm, kGainOfTap),
    Trackbar(4029, kEchomtTapDelay, Box(4118), kGroupedForm, kDelayOfTap),
    Trackbar(4031, kEchomtTapPan, Value(4038), kPercentForm, kPanOfTap),
    DropDown(4043, kEchomtGraphResolution, {.numbers = kGraphSpans, .invalidates = kGraph}),
};

constexpr EnableRule kRules[] = {
    {{4116, 4117}, {On(kEchomtLowPassEnabled)}},
    {{4019}, {AtLeast(kEchomtTapCount, 2)}},
    {{4020}, {AtLeast(kEchomtTapCount, 3)}},
    {{4021}, {AtLeast(kEchomtTapCount, 4)}},
    {{4022}, {AtLeast(kEchomtTapCount, 5)}},
    {{4023}, {AtLeast(kEchomtTapCount, 6)}},
    {{4024}, {AtLeast(kEchomtTapCount, 7)}},
    {{4025}, {AtLeast(kEchomtTapCount, 8)}},
    {{4031, 4038, 4039, 4040, 4041}, {Between(kChannelsRow, 2, 2)}},
};

}  // namespace

constexpr PageDescription kEchomtPage{
    4001, kStringEchomtTitle, kStringEchomtLogo, kHelpEchomt, kEchomtEffect, kAccess, kControls, kRules};

void CQvEchomtPropPage::FilterShown(void* filter) {
  TapGraph::Show(::GetDlgItem(window(), kGraph), static_cast<IQvEchomtProp*>(filter));
}

}  // namespace korva
