#include <algorithm>
#include <cmath>
#include <limits>

#include "frame/module_text.h"
#include "pitchtime/musical_interval.h"
#include "pitchtime/page_times.h"
#include "pitchtime/pitchs_page.h"
#include "pitchtime/pitchs_params.h"
#include "qvkit/help.h"

namespace korva {
namespace {

constexpr double kMostKeepingDuration = 12;  // semitones
constexpr double kAboveOne = 1.0 + std::numeric_limits<double>::epsilon();

/// What is heard follows from semitones and cents, and the duration can be kept over a smaller range only.
void Transpose(PageValues& values) {
  const bool keeps = values.Get(kPitchsPreserveDuration) != 0;
  const double semitones = values.Get(kPitchsSemitones);
  const double held = keeps ? std::clamp(semitones, -kMostKeepingDuration, kMostKeepingDuration) : semitones;
  if (held != semitones) values.Set(kPitchsSemitones, held);
  const auto cents = static_cast<std::int32_t>(values.Get(kPitchsCents));
  values.Set(kPitchsTransposition, TranspositionOf(static_cast<std::int32_t>(held), cents));
}

void NarrowSemitones(const PageValues& values, ControlRange& range) {
  if (values.Get(kPitchsPreserveDuration) == 0) return;
  range.minimum = -kMostKeepingDuration;
  range.maximum = kMostKeepingDuration;
  range.page = 2;
}

void ShowSemitoneCaption(const PageValues& values, double /*value*/, std::span<WCHAR> text) {
  ShowCaption(text, values.Get(kPitchsPreserveDuration) != 0 ? kStringSemitonesNarrow : kStringSemitonesWide);
}

void ShowRatio(const PageValues& values, double /*value*/, std::span<WCHAR> text) {
  QvDoubleToText(values.Get(kPitchsTransposition), 5, text);
}

void ShowInterval(const PageValues& values, double /*value*/, std::span<WCHAR> text) {
  const auto interval =
      MusicalIntervalOf(static_cast<std::int32_t>(values.Get(kPitchsSemitones)),
                        static_cast<std::int32_t>(values.Get(kPitchsCents)), values.Get(kPitchsTransposition));
  text[0] = 0;
  if (!interval) return;
  const StringId name = interval->step == 0 ? kStringOctave : kStringFirstInterval + interval->step - 1;
  QvPrintF(text, KORVA_WTEXT("%s %s %c"),
           {ModuleText(interval->up ? kStringUp : kStringDown), ModuleText(name), interval->sign});
}

ShortText TimeOf(const PageValues& values, double frames) {
  return ShowFrames(values, std::trunc(frames), PartMillisecond::kCut, kStringPitchsZeroTime);
}

/// Stays as it is while the duration is kept.
void ShowFinalTime(const PageValues& values, double /*value*/, std::span<WCHAR> text) {
  if (values.Get(kPitchsPreserveDuration) != 0) return;
  const double frames = 1 / values.Get(kPitchsTransposition) * values.Get(kPitchsInitialSamples);
  std::ranges::copy(TimeOf(values, frames + 0.5).characters, text.begin());
}

void ShowFinalLimits(const PageValues& values, double /*value*/, std::span<WCHAR> text) {
  // Rounded by hand, so that one is not quite the other's reciprocal.
  constexpr double kShortest = 0.052467637559037675, kLongest = 19.05900351317871;
  const double frames = values.Get(kPitchsInitialSamples);
  if (values.Get(kSampleRateRow) == 0) return ShowCaption(text, kStringPitchsNeedInputPin);
  ShowCaption(text, kStringPitchsFinalTime, TimeOf(values, frames * kShortest), TimeOf(values, frames * kLongest));
}

void ShowInitialTime(const PageValues& values, double frames, std::span<WCHAR> text) {
  std::ranges::copy(TimeOf(values, frames).characters, text.begin());
}

void ReadInitialTime(PageValues& values, const WCHAR* text) {
  values.Set(kPitchsInitialSamples, TypedFrames(values, ParseFreeTimeText(text), 1.0));
}

constexpr NumberForm kTimeForm{.limit = 40};
constexpr PageOwn kSemitones{
    .markOrigin = true, .also = {2016, 2028, 2032}, .before = Transpose, .range = NarrowSemitones};
constexpr PageOwn kCents{.markOrigin = true, .also = {2016, 2028, 2032}, .before = Transpose};
constexpr PageOwn kDuration{.also = {2021, 2121, 2022, 2016, 2028, 2032}};
constexpr PageOwn kInitialTime{
    .also = {2029, 2022, 2016, 2028, 2032}, .show = ShowInitialTime, .read = ReadInitialTime};

using Property = IQvPitchsProp;
// clang-format off
constexpr ParameterAccess kAccess[] = {
    KORVA_PAIR_ACCESS(Semitones, kPitchsSemitones, )
    KORVA_PAIR_ACCESS(CentTenths, kPitchsCents, )
    KORVA_PAIR_ACCESS(Accuracy, kPitchsAccuracy, )
    KORVA_PAIR_ACCESS(PreserveDuration, kPitchsPreserveDuration, )
    KORVA_PAIR_ACCESS(Mode, kPitchsMode, )
    KORVA_PAIR_ACCESS(Transposition, kPitchsTransposition, )
    KORVA_PAIR_ACCESS(AntiAlias, kPitchsAntiAlias, )
    KORVA_PAIR_ACCESS(InitialSamples, kPitchsInitialSamples, )
};
// clang-format on

constexpr PageControl kControls[] = {
    Check(2004, kPitchsPreserveDuration, kDuration),
    Computed(2021, ShowSemitoneCaption),
    Computed(2121, ShowSemitoneCaption),
    Trackbar(2022, kPitchsSemitones, Box(2011), kWholeForm, kSemitones),
    Trackbar(2023, kPitchsCents, Box(2012), kTenthsForm, kCents),
    Trackbar(2024, kPitchsAccuracy, Value(2025), kWholeForm),
    Check(2005, kPitchsAntiAlias),
    DropDown(2010, kPitchsMode),
    EditBox(2027, kPitchsInitialSamples, kTimeForm, kInitialTime),
    Computed(2029, ShowFinalLimits),
    Computed(2028, ShowFinalTime),
    Computed(2016, ShowRatio),
    Computed(2032, ShowInterval),
};

constexpr EnableRule kRules[] = {
    {{2002, 2010}, {On(kPitchsPreserveDuration)}},
    {{2026, 2027, 2028, 2029}, {Off(kPitchsPreserveDuration)}},
    {{2004}, {Between(kPitchsSemitones, -kMostKeepingDuration, kMostKeepingDuration)}},
    {{2005}, {AtLeast(kPitchsTransposition, kAboveOne)}},
};

}  // namespace

constexpr PageDescription kPitchsPage{
    2001, kStringPitchsTitle, kStringPitchsLogo, kHelpPitchs, kPitchsEffect, kAccess, kControls, kRules};

}  // namespace korva
