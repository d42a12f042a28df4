#include "delay/echomt/echomt_params.h"

#include <cstddef>

#include "audio/gain.h"
#include "frame/row_values.h"
#include "qvkit/string_ids.h"

namespace korva {
namespace {

// Nothing here is automated, so no row has texts. What the page and the command show are the ranges alone.
constexpr RowTexts kNoTexts;

constexpr std::size_t TapOffset(std::size_t field, int tap) {
  return field + sizeof(std::int32_t) * static_cast<std::size_t>(tap - 1);
}

constexpr ParamDescriptor TapDelay(const char* name, int tap) {
  return rows::Ramp({name, "ms", "delay of this tap"}, {1, 2500, 1250, 1, 2500}, kNoTexts, kChangeRebuild,
                    TapOffset(offsetof(EchomtParams, tapDelayMs), tap));
}

constexpr ParamDescriptor TapGain(const char* name, int tap) {
  return rows::Ramp({name, "%", "gain of this tap; below 0 it is inverted"}, {-100, 100, 0, -100, 100}, kNoTexts,
                    kChangeRebuild, TapOffset(offsetof(EchomtParams, tapGain), tap));
}

constexpr ParamDescriptor TapPan(const char* name, int tap) {
  return rows::Ramp({name, "%", "place of this tap, -100 left to 100 right; heard in stereo only"},
                    {-100, 100, 0, -100, 100}, kNoTexts, kChangeRebuild,
                    TapOffset(offsetof(EchomtParams, tapPan), tap));
}

constexpr ParamDescriptor kRows[] = {
    TapDelay("tap-delay-1", 1),
    TapDelay("tap-delay-2", 2),
    TapDelay("tap-delay-3", 3),
    TapDelay("tap-delay-4", 4),
    TapDelay("tap-delay-5", 5),
    TapDelay("tap-delay-6", 6),
    TapDelay("tap-delay-7", 7),
    TapDelay("tap-delay-8", 8),
    TapGain("tap-gain-1", 1),
    TapGain("tap-gain-2", 2),
    TapGain("tap-gain-3", 3),
    TapGain("tap-gain-4", 4),
    TapGain("tap-gain-5", 5),
    TapGain("tap-gain-6", 6),
    TapGain("tap-gain-7", 7),
    TapGain("tap-gain-8", 8),
    TapPan("tap-pan-1", 1),
    TapPan("tap-pan-2", 2),
    TapPan("tap-pan-3", 3),
    TapPan("tap-pan-4", 4),
    TapPan("tap-pan-5", 5),
    TapPan("tap-pan-6", 6),
    TapPan("tap-pan-7", 7),
    TapPan("tap-pan-8", 8),
    rows::Choice({"tap-count", "", "taps in use"}, 1, 8, 1, kNoTexts, kChangeRebuild, offsetof(EchomtParams, tapCount)),
    rows::Gain({"wet-out", "dB", "level of the taps; the lowest value is silence"}, kSilentTenths, -6, kNoTexts,
               kChangeRefresh, offsetof(EchomtParams, wetOut)),
    rows::Gain({"dry-out", "dB", "level of the untreated signal; the lowest value is silence"}, kSilentTenths, -6,
               kNoTexts, kChangeRefresh, offsetof(EchomtParams, dryOut)),
    rows::Ramp({"feedback", "%",
                "how much of all taps goes back into the line; from 100 on one tap at full gain never dies down, save "
                "in stereo, where each round is halved"},
               {0, 150, 75, 0, 150}, kNoTexts, kChangeRebuild, offsetof(EchomtParams, feedback)),
    rows::Gain({"input-gain", "dB", "level of the input; the lowest value is silence"}, kSilentTenths, 0, kNoTexts,
               kChangeRefresh, offsetof(EchomtParams, inputGain)),
    rows::Switch({"low-pass-enabled", "", "softens what goes into the line and what comes out of it"}, kNoTexts,
                 kChangeRefresh, offsetof(EchomtParams, lowPassEnabled)),
    rows::Ramp({"low-pass-hz", "Hz", "frequency from which the low-pass softens: -6 dB there, then 12 dB an octave"},
               {100, 10000, 1000, 100, 10000}, kNoTexts, kChangeRefresh, offsetof(EchomtParams, lowPassHz)),
    rows::Ramp({"mod-depth", "%", "how far the taps swing"}, {0, 100, 50, 0, 100}, kNoTexts, kChangeRebuild,
               offsetof(EchomtParams, modDepth)),
    rows::Ramp({"mod-rate", "Hz", "how fast the taps swing"}, {0.1F, 10, 5, 1, 100}, kNoTexts, kChangeRefresh,
               offsetof(EchomtParams, modRate)),
    rows::Choice({"current-tap", "", "tap that the page shows, counted from 0; not heard"}, 0, 7, 0, kNoTexts,
                 kChangeRefresh, offsetof(EchomtParams, currentTap)),
    rows::Choice({"graph-resolution", "", "span of the page's graph: 500, 1000, 3000 or 5000 ms; not heard"}, 0, 3, 0,
                 kNoTexts, kChangeRefresh, offsetof(EchomtParams, graphResolution)),
};

constexpr StringId kFirst = kStringEchomtFirstPreset;  // of the names that are this effect's own

// A row: delays and gains of the taps, their pans, then the rest in the order of the block.
// clang-format off
constexpr PresetRow<EchomtParams> kPresets[] = {
    {kStringPresetDefault, {{100, 1, 1, 1, 1, 1, 1, 1}, {100, 100, 100, 100, 100, 100, 100, 100},
            {0, 0, 0, 0, 0, 0, 0, 0},
            1, -60, -60, 0, 0, 0, 5000, 0, 1, 0, 0}},
    {kStringPresetDefaultAll, {{100, 1, 1, 1, 1, 1, 1, 1}, {100, 100, 100, 100, 100, 100, 100, 100},
            {0, 0, 0, 0, 0, 0, 0, 0},
            1, -60, -60, 0, 0, 0, 5000, 0, 1, 0, 0}},
    {kFirst, {{17, 40, 85, 197, 275, 309, 1, 1}, {-48, 16, -11, 5, -2, 1, -100, -100},
            {-24, 18, -14, -38, -6, -38, 0, 0},
            6, -25, -92, 30, 0, 0, 5000, 5, 15, 0, 0}},
    {kFirst + 1, {{34, 57, 113, 135, 174, 214, 281, 348}, {39, 21, -8, -17, -11, 12, 5, 3},
            {0, 15, 26, 69, 31, 64, 39, 50},
            8, -37, -14, 40, 0, 0, 5000, 10, 15, 0, 0}},
    {kFirst + 2, {{6, 13, 19, 33, 101, 163, 191, 207}, {-26, 25, -60, 57, -24, 10, -24, 28},
            {-24, 18, -14, -38, -6, -38, 0, -18},
            8, 0, -140, 0, 0, 0, 5000, 0, 1, 0, 0}},
    {kFirst + 3, {{1, 12, 20, 32, 40, 57, 85, 113}, {12, -17, 37, -42, 52, -49, 66, -85},
            {-24, 18, -14, 20, -22, 0, 56, -44},
            5, 0, -800, 0, 0, 0, 5000, 0, 1, 0, 0}},
    {kFirst + 4, {{14, 32, 59, 86, 113, 126, 144, 162}, {9, -11, 14, -24, 28, -35, 64, -85},
            {38, 59, 43, 60, 39, 50, 56, 33},
            5, -31, -260, 0, 0, 0, 5000, 0, 1, 0, 0}},
    {kFirst + 5, {{1, 12, 23, 29, 37, 44, 56, 65}, {5, -11, 14, -24, 28, -35, 64, -85},
            {-24, 18, -14, 20, -22, 0, 56, -44},
            5, -31, -800, 0, 0, 0, 5000, 0, 1, 0, 0}},
    {kFirst + 6, {{17, 187, 323, 361, 399, 427, 473, 500}, {35, -24, 10, -8, -5, -2, 1, -1},
            {-24, 18, -14, 20, -22, 0, 56, 0},
            8, 0, -44, 70, 0, 1, 500, 0, 1, 0, 0}},
    {kFirst + 7, {{3, 7, 13, 19, 27, 33, 41, 53}, {35, -31, 37, -40, 30, -35, 34, -51},
            {-24, 18, -14, 20, -22, 0, 56, -44},
            8, -60, -105, 3, 0, 0, 5000, 0, 1, 0, 0}},
    {kFirst + 8, {{366, 500, 500, 1, 1, 1, 1, 1}, {54, -10, 5, -100, -100, -100, -100, -100},
            {-24, 18, -14, 0, 0, 0, 0, 0},
            2, 0, -60, 40, 0, 1, 2000, 5, 15, 0, 0}},
    {kFirst + 9, {{71, 177, 315, 374, 424, 432, 453, 500}, {-58, -28, -12, 5, -5, 4, 11, -9},
            {-30, 31, -18, -12, 20, 28, -22, 0},
            5, -60, -92, 40, 0, 1, 4500, 10, 10, 0, 0}},
    {kFirst + 10, {{100, 130, 185, 269, 424, 437, 453, 500}, {-51, -41, -22, -32, -9, 4, 11, -9},
            {-30, 31, -18, -12, 20, 28, -22, 0},
            6, -91, -14, 40, 0, 1, 4500, 15, 20, 0, 0}},
    {kFirst + 11, {{90, 108, 212, 306, 361, 468, 482, 500}, {54, -14, 13, 5, -6, 5, -2, 5},
            {38, 59, 43, 65, 55, 0, 0, 0},
            8, -60, -92, 60, 0, 1, 4500, 10, 10, 0, 0}},
    {kFirst + 12, {{100, 177, 315, 403, 474, 432, 453, 500}, {-58, -28, -12, 11, -5, 4, 11, -9},
            {-30, 31, -18, -12, 20, 28, -22, 0},
            5, -60, -92, 50, 0, 1, 4500, 10, 10, 0, 0}},
    {kFirst + 13, {{63, 177, 315, 403, 474, 432, 453, 500}, {-58, -22, -5, 4, -5, 4, 11, -9},
            {-30, 31, -18, -12, 20, 28, -22, 0},
            5, -60, -92, 40, 0, 1, 3500, 10, 10, 0, 0}},
    {kFirst + 14, {{191, 227, 249, 267, 291, 1, 1, 1}, {30, -24, -15, -6, -2, -100, -100, -100},
            {-20, 18, -28, 0, 6, 0, 0, 0},
            5, -44, -44, 100, 0, 1, 4000, 5, 10, 0, 0}},
    {kFirst + 15, {{191, 269, 428, 500, 291, 1, 1, 1}, {-32, -24, -5, -6, -2, -100, -100, -100},
            {-24, 18, -28, 0, 6, 0, 0, 0},
            4, -20, -44, 100, 0, 1, 850, 10, 10, 0, 0}},
    {kFirst + 16, {{311, 369, 483, 500, 119, 1, 1, 1}, {-32, -24, -5, -6, 24, -100, -100, -100},
            {-24, 18, -28, 0, 6, 0, 0, 0},
            5, -37, -20, 70, 0, 1, 4000, 10, 10, 0, 0}},
    {kFirst + 17, {{119, 311, 369, 461, 500, 1, 1, 1}, {-32, -19, -9, -9, -6, -100, -100, -100},
            {-24, 18, -28, 0, 6, 0, 0, 0},
            5, -37, -20, 80, 0, 1, 4000, 10, 10, 0, 0}},
    {kFirst + 18, {{31, 110, 151, 206, 231, 336, 500, 500}, {-50, -12, -9, -9, -9, -5, -1, -9},
            {-30, 31, -18, -12, 20, 28, -22, 0},
            7, -44, 0, 50, 0, 1, 1000, 15, 10, 0, 0}},
    {kFirst + 19, {{27, 101, 193, 240, 302, 1, 1, 1}, {100, -21, 8, -5, 3, -100, -100, -100},
            {38, 59, 43, 65, 55, 0, 0, 0},
            5, -105, -92, 15, 0, 1, 2500, 0, 1, 0, 0}},
    {kFirst + 20, {{17, 47, 89, 164, 240, 332, 416, 500}, {-91, 16, 77, -58, 73, -68, 70, -64},
            {-24, 18, -14, -38, -6, -38, 0, 0},
            8, -80, 0, 0, 0, 1, 4500, 0, 20, 0, 0}},
    {kFirst + 21, {{17, 47, 89, 164, 240, 332, 416, 500}, {-91, 16, 77, -58, 73, -68, 70, -64},
            {-24, 18, -14, -38, -6, -38, 0, 0},
            8, -80, 0, 15, 0, 1, 4000, 0, 20, 0, 0}},
    {kFirst + 22, {{17, 72, 118, 181, 240, 332, 416, 500}, {-91, 60, 40, -35, 31, -19, 14, -9},
            {-100, 100, -100, 100, -100, 100, -100, 100},
            8, -80, 0, 15, 0, 1, 4000, 0, 20, 0, 0}},
    {kFirst + 23, {{1, 15, 212, 306, 361, 468, 482, 500}, {100, 100, 13, 5, -6, 5, -2, 5},
            {-100, 100, 43, 65, 55, 0, 0, 0},
            2, 0, -800, 0, 0, 0, 4500, 0, 10, 0, 0}},
};
// clang-format on

// There is one form, so nothing of this start is kept.
constexpr EchomtParams kRecordStart = {};
constexpr RecordForm kForms[] = {
    {160, {0x7298A3E3, 0x78EE, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}}, 140},
};

/// The switch of the low-pass filter is taken as it is.
bool HoldAllButLowPass(void* block) noexcept {
  bool within = true;
  for (const ParamDescriptor& row : kRows) {
    if (row.storage != Storage::kBool) within = HoldField(row, block) && within;
  }
  return within;
}

}  // namespace

constexpr EffectDescription kEchomtEffect = Checked({
    .name = "multi-tap-delay",
    .summary = "up to eight panned and modulated echoes with a common feedback",
    .className = KORVA_WTEXT("Multi-Tap Delay"),
    .displayName = KORVA_WTEXT("KORVA Multi-Tap Delay"),
    .filterClass = {0x7298A3E0, 0x78EE, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    .pageClass = {0x7298A3E1, 0x78EE, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    .blockSize = sizeof(EchomtParams),
    .rows = kRows,
    .presets = PresetTable(kPresets),
    .forms = kForms,
    .recordStart = &kRecordStart,
    .hold = &HoldAllButLowPass,
});

}  // namespace korva
