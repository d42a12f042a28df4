#include "chorus/chorus_params.h"

#include "qvkit/string_ids.h"

namespace korva {
namespace {

#define KORVA_FIELD(name) offsetof(ChorusParams, name)

constexpr ParamDescriptor kRows[] = {
    rows::Ramp({"mod-rate", "Hz", "how fast the voices' delays swing"}, {0.001F, 20, 5.5F, 1, 20000},
               {kStringModulationRate, kStringHertz}, kChangeRefresh, KORVA_FIELD(modRate)),
    rows::Ramp({"mod-depth", "%", "how far the delays swing, as a part of the delay"}, {1, 100, 50, 1, 100},
               {kStringModulationDepth, kStringPercent}, kChangeRefresh, KORVA_FIELD(modDepth)),
    rows::Ramp({"delay", "ms", "delay of the first voice at the centre of its swing"}, {0.1F, 100, 50, 1, 1000},
               {kStringDelay, kStringMilliseconds}, kChangeRebuild, KORVA_FIELD(delay)),
    rows::Ramp({"feedback", "%", "how much of each voice is fed back into it"}, {0, 100, 50, 0, 100},
               {kStringFeedback, kStringPercent}, kChangeRefresh, KORVA_FIELD(feedback)),
    rows::Choice({"chorus-size", "", "voices, one after the other"}, 1, 3, 2, {kStringChorusSize}, kChangeRebuild,
                 KORVA_FIELD(chorusSize)),
    rows::Switch({"invert-chorus", "", "turns the sign of the voices"}, {kStringInvertChorusPhase}, kChangeRefresh,
                 KORVA_FIELD(invertChorus)),
    rows::Switch({"invert-feedback", "", "turns the sign of the feedback"}, {kStringInvertFeedbackPhase},
                 kChangeRefresh, KORVA_FIELD(invertFeedback)),
    rows::Switch({"attenuate-high", "", "low-pass filter of 6 dB an octave on each voice"},
                 {kStringAttenuateHighFrequencies}, kChangeRefresh, KORVA_FIELD(attenuateHigh)),
    rows::Ramp({"attenuation-hz", "Hz", "corner of that filter"}, {100, 10000, 1000, 100, 10000},
               {kStringAttenuationFrequencies, kStringHertz}, kChangeRefresh, KORVA_FIELD(attenuationHz)),
    rows::Gain({"input-gain", "dB", "gain of what comes in; the lowest value is silence"}, kChorusSilentTenths, 0,
               {kStringInputGain, kStringDecibels}, kChangeRefresh, KORVA_FIELD(inputGain)),
    rows::Gain({"dry-out", "dB", "gain of the unchanged sound; the lowest value is silence"}, kChorusSilentTenths, -6,
               {kStringDryOut, kStringDecibels}, kChangeRefresh, KORVA_FIELD(dryOut)),
    rows::Gain({"chorus-out", "dB", "gain of the voices; the lowest value is silence"}, kChorusSilentTenths, -6,
               {kStringChorusOut, kStringDecibels}, kChangeRefresh, KORVA_FIELD(chorusOut)),
    rows::Switch({"bypass", "", "lets the sound through unchanged"}, {kStringBypass}, kChangeRefresh,
                 KORVA_FIELD(bypass)),
    rows::FollowsTempo(rows::Choice({"mod-period-note", "", "length of one swing as a note, when it follows tempo"}, 0,
                                    18, 18, {kStringModulationPeriod, -1, kStringNotesAndMeasures}, kChangeRefresh,
                                    KORVA_FIELD(modPeriodNote))),
    rows::FollowsTempo(rows::Ramp({"mod-period-multiplier", "", "that note times this"}, {0.001F, 32, 0.001F, 1, 32000},
                                  {kStringModulationPeriodMultiplier}, kChangeRefresh,
                                  KORVA_FIELD(modPeriodMultiplier))),
    rows::FollowsTempo(rows::Switch({"tempo-sync", "", "the swing follows the host's tempo"}, {kStringTempoSync},
                                    kChangeRefresh, KORVA_FIELD(tempoSync))),
};

#undef KORVA_FIELD

/// A preset row from what differs between presets.
constexpr PresetRow<ChorusParams> Preset(std::int32_t id, std::int32_t inputGain, std::int32_t dryOut,
                                         std::int32_t chorusOut, std::int32_t chorusSize, std::int32_t feedback,
                                         std::int32_t invertChorus, std::int32_t delay, std::int32_t modRate,
                                         std::int32_t modDepth) {
  ChorusParams block{};
  block.inputGain = inputGain;
  block.dryOut = dryOut;
  block.chorusOut = chorusOut;
  block.chorusSize = chorusSize;
  block.feedback = feedback;
  block.invertChorus = invertChorus;
  block.delay = delay;
  block.modRate = modRate;
  block.modDepth = modDepth;
  block.attenuationHz = 5000;
  block.modPeriodNote = 18;
  block.modPeriodMultiplier = 1000;
  return {id, block};
}

constexpr StringId kFirst = kStringChorusFirstPreset;  // of the names that are this effect's own

// In display order, which is not the order of the ids.
constexpr PresetRow<ChorusParams> kPresets[] = {
    Preset(kStringPresetDefault, 0, -60, -44, 3, 0, 0, 400, 800, 3),     // (Default)
    Preset(kStringPresetDefaultAll, 0, -60, -44, 3, 0, 0, 400, 800, 3),  // Default all parameters
    Preset(kFirst, 0, -34, -34, 1, 32, 0, 12, 700, 100),                 // Fast flange 1
    Preset(kFirst + 1, 0, -57, -57, 1, 70, 0, 50, 2300, 16),             // Fast flange 2
    Preset(kFirst + 3, 0, -49, -57, 1, 50, 0, 8, 500, 75),               // Slow flange 1
    Preset(kFirst + 4, -20, -80, -44, 1, 60, 0, 12, 500, 100),           // Slow flange 2
    Preset(kFirst + 5, 0, -80, -31, 1, 20, 0, 5, 700, 80),               // Slow flange 3
    Preset(kFirst + 6, 0, -44, -31, 1, 0, 0, 6, 200, 75),                // Slow flange 4
    Preset(kFirst + 7, 0, -37, -37, 1, 57, 0, 100, 500, 100),            // Chorus/vibrato 1
    Preset(kFirst + 8, 0, -37, -69, 1, 37, 0, 292, 7000, 8),             // Chorus/vibrato 2
    Preset(kFirst + 9, 0, -60, -44, 3, 0, 0, 400, 800, 3),               // Chorus 1
    Preset(kFirst + 10, 0, -60, -60, 2, 15, 0, 300, 500, 8),             // Chorus 2
    Preset(kFirst + 11, 0, -60, -60, 3, 16, 0, 405, 500, 8),             // Chorus 3
    Preset(kFirst + 12, 0, -49, -52, 2, 26, 0, 90, 500, 26),             // Chorus 4
    Preset(kFirst + 13, 0, -49, -77, 2, 37, 0, 292, 2100, 12),           // Chorus 5
    Preset(kFirst + 14, -20, 0, 0, 2, 0, 1, 1, 100, 100),                // Cheap TV
    Preset(kFirst + 15, 0, -92, -140, 2, 15, 0, 1000, 6000, 8),          // Echo-vibrato 1
    Preset(kFirst + 16, 0, -92, -60, 1, 0, 0, 1000, 6000, 5),            // Echo-vibrato 2
    Preset(kFirst + 17, 0, -92, -80, 3, 50, 0, 1000, 20000, 1),          // Echo-vibrato 3
    Preset(kFirst + 18, 0, -92, -60, 1, 50, 0, 1000, 20000, 1),          // Echo-vibrato 4
    Preset(kFirst + 19, 0, -92, -140, 1, 60, 0, 1000, 5000, 1),          // Vibrato-verb 1
    Preset(kFirst + 20, 0, -92, -91, 3, 50, 0, 1000, 7000, 1),           // Vibrato-verb 2
    Preset(kFirst + 21, 0, -92, -60, 3, 60, 0, 1000, 5600, 3),           // Vibrato-verb 3
    Preset(kFirst + 2, -20, -31, -31, 1, 90, 0, 8, 500, 75),             // Hard flange
};

// What records older than tempo sync do not hold: a swing of one measure, and no sync.
constexpr ChorusParams kRecordStart = [] {
  ChorusParams block{};
  block.modPeriodNote = 18;
  block.modPeriodMultiplier = 1000;
  return block;
}();

constexpr RecordForm kForms[] = {
    {84, {0x039be819, 0xe0bb, 0x40f6, {0x9f, 0x59, 0x0e, 0xe9, 0x35, 0xff, 0x0d, 0x74}}, 64},
    {72, {0xc9a9fec7, 0x8a9b, 0x4cfe, {0xae, 0xbc, 0x92, 0xea, 0x0e, 0x50, 0x52, 0x19}}, 52},
    {68, {0x28d9f1e3, 0x6ecc, 0x11d0, {0xae, 0xbc, 0x00, 0xa0, 0xc9, 0x05, 0x39, 0x12}}, 48},
};

}  // namespace

constexpr EffectDescription kChorusEffect = Checked({
    .name = "chorus",
    .summary = "up to three modulated delay voices in series: chorus, flanging, vibrato, short echo",
    .className = KORVA_WTEXT("Chorus"),
    .displayName = KORVA_WTEXT("KORVA Chorus"),
    .filterClass = {0x28d9f1e0, 0x6ecc, 0x11d0, {0xae, 0xbc, 0x00, 0xa0, 0xc9, 0x05, 0x39, 0x12}},
    .pageClass = {0x28d9f1e1, 0x6ecc, 0x11d0, {0xae, 0xbc, 0x00, 0xa0, 0xc9, 0x05, 0x39, 0x12}},
    .blockSize = sizeof(ChorusParams),
    .rows = AutomatedRows(kRows),
    .presets = PresetTable(kPresets),
    .forms = kForms,
    .recordStart = &kRecordStart,
    .noticeOnUnknownRecord = true,
});

}  // namespace korva
