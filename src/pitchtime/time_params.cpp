#include "pitchtime/time_params.h"

#include <algorithm>
#include <cstddef>

#include "frame/row_values.h"
#include "pitchtime/stretch_modes.h"
#include "qvkit/string_ids.h"

namespace korva {
namespace {

constexpr std::int32_t kLeastPercentTimes100 = 5000, kMostPercentTimes100 = 50000;
constexpr std::int32_t kMostTempoTimes100 = 50000;
constexpr std::int32_t kMostInitialSamples = 793800000;  // five hours at 44.1 kHz

constexpr RowTexts kNoTexts{}, kModeNames{.firstChoice = kStringTimeFirstMode},
    kFormatNames{.firstChoice = kStringTimeFirstInputFormat};

constexpr ParamDescriptor kRows[] = {
    rows::Make(MPT_FLOAT, kCurvesJump, Storage::kDouble,
               {"percent", "%", "final length in percent of the original, in a host about that; 100 is no bypass"},
               {50, 500, 100, kLeastPercentTimes100, kMostPercentTimes100}, kNoTexts, kChangeRefresh,
               offsetof(TimeParams, percentTimes100)),
    rows::Choice({"mode", "", "kind of material"}, 0, kStretchModes - 1, 0, kModeNames, kChangeRebuild,
                 offsetof(TimeParams, mode)),
    rows::Make(MPT_FLOAT, kCurvesJump, Storage::kInteger,
               {"tempo", "bpm", "initial tempo, from which a final tempo is reckoned"},
               {0, 500, 120, 0, kMostTempoTimes100}, kNoTexts, kChangeRefresh, offsetof(TimeParams, tempoTimes100)),
    rows::Make(MPT_FLOAT, kCurvesJump, Storage::kDouble,
               {"initial-samples", "frames", "initial length, from which a final time is reckoned"},
               {0, kMostInitialSamples, 2646000, 0, kMostInitialSamples}, kNoTexts, kChangeRefresh,
               offsetof(TimeParams, initialSamples)),
    rows::Choice({"input-format-kind", "", "how the page takes the length; not heard"}, 0, 2, 0, kFormatNames,
                 kChangeRefresh, offsetof(TimeParams, inputFormatKind)),
};

constexpr TimeParams Length(double percentTimes100) noexcept {
  return {percentTimes100, 0, 12000, 2646000.0, 0, 0};
}

constexpr StringId kFirst = kStringTimeFirstPreset;  // of the names that are this effect's own

constexpr PresetRow<TimeParams> kPresets[] = {
    {kStringPresetDefault, Length(10000.0)},     // (Default)
    {kStringPresetDefaultAll, Length(10000.0)},  // Default all parameters
    {kFirst, Length(11000.0)},                   // Time expand 110 % of original
    {kFirst + 1, Length(8500.0)},                // Time compress 85 % of original
};

/// The older form held tenths of a percent and of a beat per minute.
void FromTenths(void* block) noexcept {
  auto& params = *static_cast<TimeParams*>(block);
  params.percentTimes100 *= 10.0;
  // Held before it could run over; far above the range it is held to afterwards.
  params.tempoTimes100 = std::min(params.tempoTimes100, std::uint32_t{kMostTempoTimes100}) * 10;
}

constexpr RecordForm kForms[] = {
    {52, {0x5FF5B4A4, 0x858F, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}}, 32},
    {52, {0x5FF5B4A3, 0x858F, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}}, 32, &FromTenths},
};

constexpr TimeParams kRecordStart = Length(10000.0);

/// The other fields are taken as they are.
bool HoldLength(void* bytes) noexcept {
  auto& block = *static_cast<TimeParams*>(bytes);
  const double percentTimes100 = HoldPercentTimes100(block.percentTimes100);
  const std::uint32_t tempoTimes100 = std::min(block.tempoTimes100, std::uint32_t{kMostTempoTimes100});
  const double initialSamples = HoldTimeInitialSamples(block.initialSamples);
  const bool within = percentTimes100 == block.percentTimes100 && tempoTimes100 == block.tempoTimes100 &&
                      initialSamples == block.initialSamples;
  block.percentTimes100 = percentTimes100;
  block.tempoTimes100 = tempoTimes100;
  block.initialSamples = initialSamples;
  return within;
}

}  // namespace

double HoldPercentTimes100(double percentTimes100) noexcept {
  return Held(percentTimes100, kLeastPercentTimes100, kMostPercentTimes100);
}

double HoldTimeInitialSamples(double frames) noexcept {
  return Held(frames, 0.0, kMostInitialSamples);
}

double PercentTimes100ForTempo(std::uint32_t tempoTimes100, double finalBpm) noexcept {
  return tempoTimes100 / (finalBpm * 0.01 + 0.0);  // a negative zero is none
}

double PercentTimes100ForFrames(double initialFrames, double finalFrames) noexcept {
  return finalFrames / initialFrames * 10000.0;
}

constexpr EffectDescription kTimeEffect = Checked({
    .name = "time-stretch",
    .summary = "longer or shorter, at the same pitch",
    .className = KORVA_WTEXT("Time Stretch"),
    .displayName = KORVA_WTEXT("KORVA Time Stretch"),
    .filterClass = {0xB97C0F22, 0x196D, 0x11D1, {0xB9, 0x9B, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    .pageClass = {0x5FF5B4A1, 0x858F, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    .blockSize = sizeof(TimeParams),
    .rows = kRows,
    .presets = PresetTable(kPresets),
    .forms = kForms,
    .recordStart = &kRecordStart,
    .hold = &HoldLength,
});

}  // namespace korva
