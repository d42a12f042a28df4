#include <algorithm>
#include <cmath>

#include "pitchtime/page_times.h"
#include "pitchtime/time_page.h"
#include "pitchtime/time_params.h"
#include "qvkit/help.h"

namespace korva {
namespace {

int FormatOf(const PageValues& values) {
  return static_cast<int>(values.Get(kTimeInputFormatKind));
}

// A percentage of 100 is the slider's zero.
double PercentToPosition(double percentTimes100) noexcept {
  return percentTimes100 - 10000;
}
double PositionToPercent(double position) noexcept {
  return position + 10000;
}

ShortText Hundredths(double value) {
  ShortText text;
  QvDoubleToText(value, 2, text.characters);
  return text;
}

ShortText TimeOf(const PageValues& values, double frames) {
  return ShowFrames(values, std::trunc(frames), PartMillisecond::kRounded, kStringTimeZeroTime);
}

ShortText FinalValue(const PageValues& values) {
  const double percentTimes100 = values.Get(kTimePercent);
  switch (FormatOf(values)) {
    case kAsTempo:
      return Hundredths(values.Get(kTimeTempo) / percentTimes100 * 100.0);
    case kAsTime:
      return TimeOf(values, percentTimes100 / 10000.0 * values.Get(kTimeInitialSamples));
    default:
      return Hundredths(percentTimes100 / 100.0);
  }
}

ShortText InitialValue(const PageValues& values) {
  switch (FormatOf(values)) {
    case kAsTempo:
      return Hundredths(values.Get(kTimeTempo) / 100.0);
    case kAsTime:
      return TimeOf(values, values.Get(kTimeInitialSamples));
    default:
      return {{'0'}};
  }
}

void ShowFinal(const PageValues& values, double /*value*/, std::span<WCHAR> text) {
  std::ranges::copy(FinalValue(values).characters, text.begin());
}

void ShowInitial(const PageValues& values, double /*value*/, std::span<WCHAR> text) {
  std::ranges::copy(InitialValue(values).characters, text.begin());
}

void ShowFinalCaption(const PageValues& values, double /*value*/, std::span<WCHAR> text) {
  const double tempoTimes100 = values.Get(kTimeTempo), frames = values.Get(kTimeInitialSamples);
  switch (FormatOf(values)) {
    case kAsTempo:  // the fast end first
      return ShowCaption(text, kStringFinalTempo, Hundredths(tempoTimes100 * 2 / 100.0),
                         Hundredths(std::trunc(tempoTimes100 * 0.2) / 100.0));
    case kAsTime:
      if (values.Get(kSampleRateRow) == 0) return ShowCaption(text, kStringTimeNeedInputPin);
      return ShowCaption(text, kStringFinalTime, TimeOf(values, frames * 0.5), TimeOf(values, frames * 5.0));
    default:
      return ShowCaption(text, kStringFinalPercentage, Hundredths(50.0), Hundredths(500.0));
  }
}

/// Stays as it is while there is no rate to tell a time by.
void ShowInitialCaption(const PageValues& values, double /*value*/, std::span<WCHAR> text) {
  switch (FormatOf(values)) {
    case kAsTempo:
      return ShowCaption(text, kStringInitialTempo);
    case kAsTime:
      if (values.Get(kSampleRateRow) != 0) ShowCaption(text, kStringInitialTime);
      return;
    default:
      return ShowCaption(text, kStringInitialUnavailable);
  }
}

void ReadFinal(PageValues& values, const WCHAR* text) {
  const double number = ReadNumber(kHundredthsForm, text);
  switch (FormatOf(values)) {
    case kAsTempo: {
      const auto tempoTimes100 = static_cast<std::uint32_t>(values.Get(kTimeTempo));
      return values.Set(kTimePercent, PercentTimes100ForTempo(tempoTimes100, number / 100.0));
    }
    case kAsTime: {
      const double frames = TypedFrames(values, ParseTimeText(text), 1.0);
      return values.Set(kTimePercent, PercentTimes100ForFrames(values.Get(kTimeInitialSamples), frames));
    }
    default:
      return values.Set(kTimePercent, number);
  }
}

void ReadInitial(PageValues& values, const WCHAR* text) {
  switch (FormatOf(values)) {
    case kAsTempo:
      return values.Set(kTimeTempo, ReadNumber(kHundredthsForm, text));
    case kAsTime:
      return values.Set(kTimeInitialSamples, TypedFrames(values, ParseTimeText(text), 0.0));
    default:
      return;
  }
}

constexpr NumberForm kPercentageForm{.decimals = 2, .unit = kStringPercent};
constexpr NumberForm kAnyForm{.limit = 40};
constexpr PageOwn kPercentage{
    .page = 100, .toPosition = PercentToPosition, .toValue = PositionToPercent, .markOrigin = true, .also = {1007}};
constexpr PageOwn kFormat{.also = {1002, 1007, 1016, 1008}};
constexpr PageOwn kFinal{.readBy = kTimeInputFormatKind, .also = {1003}, .show = ShowFinal, .read = ReadFinal};
constexpr PageOwn kInitial{
    .readBy = kTimeInputFormatKind, .also = {1002, 1007}, .show = ShowInitial, .read = ReadInitial};

using Property = IQvTimeProp;
// clang-format off
constexpr ParameterAccess kAccess[] = {
    KORVA_PAIR_ACCESS(Percent, kTimePercent, )
    KORVA_PAIR_ACCESS(Mode, kTimeMode, )
    KORVA_PAIR_ACCESS(Tempo, kTimeTempo, )
    KORVA_PAIR_ACCESS(InitialSamples, kTimeInitialSamples, )
    KORVA_PAIR_ACCESS(InputFormatKind, kTimeInputFormatKind, )
};
// clang-format on

constexpr PageControl kControls[] = {
    DropDown(1004, kTimeMode),
    DropDown(1015, kTimeInputFormatKind, kFormat),
    Computed(1002, ShowFinalCaption),
    EditBox(1007, kTimePercent, kAnyForm, kFinal),
    Trackbar(1003, kTimePercent, Value(1018), kPercentageForm, kPercentage),
    Computed(1016, ShowInitialCaption),
    EditBox(1008, kTimeInitialSamples, kAnyForm, kInitial),
};

constexpr EnableRule kRules[] = {
    {{1008, 1016}, {On(kTimeInputFormatKind)}},
};

}  // namespace

constexpr PageDescription kTimePage{1001,        kStringTimeTitle, kStringTimeLogo, kHelpTime,
                                    kTimeEffect, kAccess,          kControls,       kRules};

}  // namespace korva
