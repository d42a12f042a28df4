#include <cmath>

#include "chorus/chorus_page.h"
#include "qvkit/help.h"

namespace korva {
namespace {

// One trackbar covers 0.001 to 20 Hz: up to 10 Hz its positions are thousandths, above that hundredths.
constexpr double kFineRates = 10000, kCoarseStep = 10;
constexpr double kCoarseOffset = kFineRates - kFineRates / kCoarseStep;

double RateToPosition(double rate) noexcept {
  return rate < kFineRates ? rate : std::floor(rate / kCoarseStep) + kCoarseOffset;
}
double PositionToRate(double position) noexcept {
  return position < kFineRates ? position : (position - kCoarseOffset) * kCoarseStep;
}
ShortText ShowRate(double rate, QvLanguage* language) noexcept {
  return rate < kFineRates ? ShowNumber(kThousandthsForm, rate, 0, language)
                           : ShowNumber(kHundredthsForm, std::floor(rate / kCoarseStep), 0, language);
}

constexpr NumberForm kRateForm{.decimals = 3, .show = ShowRate};
constexpr NumberForm kHertzForm{.grouped = true};
constexpr PageOwn kRate{.toPosition = RateToPosition, .toValue = PositionToRate};

using Property = IQvChorusProp2;
constexpr ParameterAccess kAccess[] = {KORVA_CHORUS_GROUPS(KORVA_GROUP_ACCESS)};

constexpr PageControl kControls[] = {
    Bypass(kChorusBypass),
    Fader(6016, kChorusInputGain, Value(6022), kDecibelForm),
    Fader(6020, kChorusDryOut, Value(6023), kDecibelForm),
    Fader(6021, kChorusOut, Value(6024), kDecibelForm),
    Trackbar(6025, kChorusSize, Value(6026), kWholeForm),
    Trackbar(6027, kChorusFeedback, Value(6028), kPercentForm),
    Check(6029, kChorusInvertChorus),
    Trackbar(6031, kChorusDelay, Box(6039), kTenthsForm),
    Trackbar(6032, kChorusModRate, Box(6033), kRateForm, kRate),
    Trackbar(6034, kChorusModDepth, Value(6035), kPercentForm),
    Check(6036, kChorusAttenuateHigh),
    Trackbar(6037, kChorusAttenuationHz, Box(6038), kHertzForm, {.page = 100}),
    Check(6030, kChorusInvertFeedback),
    Check(8005, kChorusTempoSync),
    DropDown(8033, kChorusModPeriodNote, {.names = kStringFirstNote}),
    Spinner(8032, kChorusModPeriodMultiplier, Box(8031), kThousandthsForm, {.page = 1000, .reset = 1000}),
};

constexpr EnableRule kRules[] = {
    {{8005}, {On(kTempoRow)}},
    {{6032, 6033, 6047}, {Off(kChorusTempoSync)}},
    {{8031, 8032, 8033, 6049}, {On(kChorusTempoSync)}},
    {{6037}, {On(kChorusAttenuateHigh)}},
    {{6038}, {On(kChorusAttenuateHigh)}, true},
};

}  // namespace

constexpr PageDescription kChorusPage{
    6001, kStringChorusTitle, kStringChorusLogo, kHelpChorus, kChorusEffect, kAccess, kControls, kRules};

}  // namespace korva
