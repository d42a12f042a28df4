#include "pitchtime/pitchs_params.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "frame/row_values.h"
#include "pitchtime/stretch_modes.h"
#include "qvkit/string_ids.h"

namespace korva {
namespace {

constexpr std::int32_t kMostSemitones = 50;
constexpr std::int32_t kMostCentTenths = 1000;
constexpr std::int32_t kMostInitialSamples = 225306900;
// The greatest whole number of frames below that limit that a row's float ranges hold exactly.
constexpr std::int32_t kMostRowSamples = 225306896;

constexpr RowTexts kNoTexts{}, kModeNames{.firstChoice = kStringPitchsFirstMode};

constexpr ParamDescriptor kRows[] = {
    rows::Make(MPT_INT, kCurvesJump, Storage::kInteger,
               {"semitones", "", "whole semitones to shift the pitch by; sets the transposition too"},
               {-kMostSemitones, kMostSemitones, 0, -kMostSemitones, kMostSemitones}, kNoTexts, kChangeRefresh,
               offsetof(PitchsParams, semitones)),
    rows::Make(MPT_FLOAT, kCurvesJump, Storage::kInteger,
               {"cents", "", "cents on top of the semitones, to a tenth; sets the transposition too"},
               {-100, 100, 0, -kMostCentTenths, kMostCentTenths}, kNoTexts, kChangeRefresh,
               offsetof(PitchsParams, centTenths)),
    rows::Make(MPT_INT, kCurvesJump, Storage::kInteger,
               {"accuracy", "", "quality of the interpolation, from 1 (low) to 3 (high)"}, {1, 3, 2, 1, 3}, kNoTexts,
               kChangeRebuild, offsetof(PitchsParams, accuracy)),
    rows::Switch({"preserve-duration", "", "keeps the length; otherwise it changes with the pitch"}, kNoTexts,
                 kChangeRebuild, offsetof(PitchsParams, preserveDuration)),
    rows::Choice({"mode", "", "kind of material, for preserve-duration"}, 0, kStretchModes - 1, 0, kModeNames,
                 kChangeRebuild, offsetof(PitchsParams, mode)),
    rows::Make(MPT_FLOAT, kCurvesJump, Storage::kDouble,
               {"transposition", "", "frequency ratio of the shift; semitones and cents set it; 0 acts as 1"},
               {0, 20, 1, 0, 20}, kNoTexts, kChangeRefresh, offsetof(PitchsParams, transposition)),
    rows::Switch({"anti-alias", "", "filters the input before its pitch is raised"}, kNoTexts, kChangeRebuild,
                 offsetof(PitchsParams, antiAlias)),
    rows::Make(MPT_FLOAT, kCurvesJump, Storage::kDouble,
               {"initial-samples", "frames", "length of the material, for the display of the final time"},
               {0, kMostRowSamples, 2646000, 0, kMostRowSamples}, kNoTexts, kChangeRefresh,
               offsetof(PitchsParams, initialSamples)),
};

void FollowSemitones(std::size_t row, void* bytes) noexcept {
  if (row != kPitchsSemitones && row != kPitchsCents) return;
  auto block = LoadBlock<PitchsParams>(bytes);
  block.transposition = TranspositionOf(block.semitones, block.centTenths);
  std::memcpy(bytes, &block, sizeof block);
}

constexpr PitchsParams Shift(std::int32_t semitones, double transposition) noexcept {
  return {semitones, 0, 2, 0, 0, 0, transposition, 0, 0, 2646000.0};
}

constexpr StringId kFirst = kStringPitchsFirstPreset;  // of the names that are this effect's own

// The ratios are rounded by hand; how a preset sounds depends on these digits.
constexpr PresetRow<PitchsParams> kPresets[] = {
    {kStringPresetDefault, Shift(0, 1.0)},     // (Default)
    {kStringPresetDefaultAll, Shift(0, 1.0)},  // Default all parameters
    {kFirst, Shift(-7, 0.66742)},              // Fifth down
    {kFirst + 1, Shift(7, 1.4983)},            // Fifth up
    {kFirst + 2, Shift(-4, 0.7937)},           // Third down
    {kFirst + 3, Shift(4, 1.25992)},           // Third up
};

constexpr RecordForm kForms[] = {
    {68, {0xED1B4103, 0x93BE, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}}, 48},
};

constexpr PitchsParams kRecordStart = Shift(0, 1.0);

/// The other fields are taken as they are.
bool HoldShift(void* bytes) noexcept {
  auto& block = *static_cast<PitchsParams*>(bytes);
  const std::int32_t semitones = std::clamp(block.semitones, -kMostSemitones, kMostSemitones);
  const std::int32_t centTenths = std::clamp(block.centTenths, -kMostCentTenths, kMostCentTenths);
  const double initialSamples = HoldPitchsInitialSamples(block.initialSamples);
  const bool within =
      semitones == block.semitones && centTenths == block.centTenths && initialSamples == block.initialSamples;
  block.semitones = semitones;
  block.centTenths = centTenths;
  block.initialSamples = initialSamples;
  return within;
}

}  // namespace

double TranspositionOf(std::int32_t semitones, std::int32_t centTenths) noexcept {
  return std::pow(2.0, (centTenths / 1000.0 + semitones) / 12.0);
}

double HoldPitchsInitialSamples(double frames) noexcept {
  return Held(frames, 0.0, kMostInitialSamples);
}

constexpr EffectDescription kPitchsEffect = Checked({
    .name = "pitch-shift",
    .summary = "pitch up or down, with the length changed along with it or kept",
    .className = KORVA_WTEXT("Pitch Shift"),
    .displayName = KORVA_WTEXT("KORVA Pitch Shift"),
    .filterClass = {0xED1B4100, 0x93BE, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    .pageClass = {0xED1B4101, 0x93BE, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    .blockSize = sizeof(PitchsParams),
    .rows = kRows,
    .presets = PresetTable(kPresets),
    .forms = kForms,
    .recordStart = &kRecordStart,
    .hold = &HoldShift,
    .afterSet = &FollowSemitones,
});

}  // namespace korva
