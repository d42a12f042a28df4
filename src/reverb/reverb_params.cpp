#include "reverb/reverb_params.h"

#include <cstddef>

#include "audio/gain.h"
#include "qvkit/string_ids.h"

namespace korva {
namespace {

constexpr ParamDescriptor kRows[] = {
    rows::Ramp({"pre-delay", "ms", "time before the reverberation starts"}, {0, 200, 100, 0, 200},
               {kStringPreDelay, kStringMilliseconds}, kChangeRebuild, offsetof(ReverbParams, preDelayMs)),
    rows::Ramp(
        {"decay", "s",
         "time in which the reverberation falls by 60 dB, with the default damping 12 % sooner; after the end it rings "
         "for the whole seconds of this, below 1 s not at all"},
        {0.5F, 5, 2.5F, 5, 50}, {kStringDecayTime, kStringSeconds}, kChangeRefresh,
        offsetof(ReverbParams, decayTenths)),
    rows::Choice({"reverb-mode", "", "character of the space"}, 0, 18, 0,
                 {kStringReverberationMode, -1, kStringReverbModes}, kChangeRefresh,
                 offsetof(ReverbParams, reverbMode)),
    // The style goes by the mode's label: kept on purpose.
    rows::Choice({"early-style", "", "times, gains and places of the three early reflections"}, 0, 9, 3,
                 {kStringReverberationMode, -1, kStringEarlyStyles}, kChangeRebuild,
                 offsetof(ReverbParams, earlyStyle)),
    rows::Switch({"bass-on", "", "keeps low frequencies out of the reverberation"}, {kStringAttenuateBassFrequencies},
                 kChangeRefresh, offsetof(ReverbParams, bassOn)),
    rows::Ramp({"bass-hz", "Hz", "frequency below which bass-on attenuates"}, {10, 5000, 500, 10, 5000},
               {kStringBassAttenuationFrequency, kStringHertz}, kChangeRefresh, offsetof(ReverbParams, bassHz)),
    rows::Switch({"high-on", "", "damps high frequencies in the reverberation"}, {kStringAttenuateHighFrequencies},
                 kChangeRefresh, offsetof(ReverbParams, highOn)),
    rows::Ramp({"high-hz", "Hz",
                "frequency above which high-on attenuates: -1 dB there, -3 dB at twice it, then 6 dB an octave"},
               {100, 15000, 2000, 100, 15000}, {kStringHighAttenuationFrequency, kStringHertz}, kChangeRefresh,
               offsetof(ReverbParams, highHz)),
    rows::Gain({"dry-out", "dB", "level of the unchanged signal; the lowest value is silence"}, kSilentTenths, -6,
               {kStringDryOut, kStringDecibels}, kChangeRefresh, offsetof(ReverbParams, dryOut)),
    rows::Gain(
        {"reverb-out", "dB",
         "level of the reverberation, which at 0 dB is 10 to 17 dB above the sound; the lowest value is silence"},
        kSilentTenths, -6, {kStringReverbOut, kStringDecibels}, kChangeRefresh, offsetof(ReverbParams, reverbOut)),
    rows::Gain({"early-out", "dB", "level of the early reflections; the lowest value is silence"}, kSilentTenths, -80,
               {kStringEarlyOut, kStringDecibels}, kChangeRefresh, offsetof(ReverbParams, earlyOut)),
    rows::Switch({"bypass", "", "passes the signal through unchanged"}, {kStringBypass}, kChangeRefresh,
                 offsetof(ReverbParams, bypass)),
};

constexpr StringId kFirst = kStringReverbFirstPreset;  // of the names that are this effect's own

// dryOut, reverbOut, earlyOut, reverbMode, earlyStyle, decayTenths, preDelayMs, bassOn, bassHz, highOn, highHz, bypass
constexpr PresetRow<ReverbParams> kPresets[] = {
    {kStringPresetDefault, {0, -350, -200, 0, 3, 25, 30, 1, 20, 1, 12000, 0}},     // (Default)
    {kStringPresetDefaultAll, {0, -350, -200, 0, 3, 25, 30, 1, 20, 1, 12000, 0}},  // Default all parameters
    {kFirst, {0, -350, -200, 0, 3, 25, 30, 1, 20, 1, 12000, 0}},                   // Bright hall
    {kFirst + 1, {0, -240, -200, 8, 5, 30, 70, 1, 20, 1, 7000, 0}},                // Cathedral
    {kFirst + 2, {0, -250, -200, 10, 1, 6, 1, 1, 20, 1, 5000, 0}},                 // Dense room
    {kFirst + 3, {0, -350, -300, 4, 2, 25, 60, 1, 20, 1, 5000, 0}},                // Long hall
    {kFirst + 4, {0, -300, -300, 2, 1, 12, 5, 1, 20, 1, 5000, 0}},                 // Medium hall
    {kFirst + 5, {0, -200, -800, 13, 0, 5, 1, 1, 20, 1, 5000, 0}},                 // Medium room
    {kFirst + 6, {0, -160, -200, 18, 5, 25, 10, 1, 400, 1, 3000, 0}},              // Metal tank
    {kFirst + 7, {0, -350, -200, 16, 3, 20, 15, 1, 20, 0, 5000, 0}},               // Plate
    {kFirst + 8, {0, -160, -200, 18, 3, 20, 15, 1, 20, 1, 10000, 0}},              // Sewer
    {kFirst + 9, {0, -240, -200, 2, 1, 10, 10, 1, 20, 1, 8000, 0}},                // Small hall
    {kFirst + 10, {0, -418, -300, 4, 5, 50, 45, 1, 100, 1, 10000, 0}},             // Very long hall
};

constexpr GUID kReverbRecord{0xB450F727, 0xE8FB, 0x4F34, {0xB5, 0x3B, 0xCC, 0x30, 0xA1, 0x8C, 0x17, 0xA0}};
constexpr GUID kFormerRecord{0xC9A9FEC7, 0x8A9B, 0x4CFE, {0xAE, 0xBC, 0x92, 0xEA, 0x0E, 0x50, 0x52, 0x19}};
constexpr GUID kFirstRecord{0x607682E3, 0x6E21, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}};

// The first form ended before `bypass`, which then stays at its start.
constexpr RecordForm kForms[] = {
    {68, kReverbRecord, 48},
    {64, kFirstRecord, 44},
    {68, kFormerRecord, 48},
};

constexpr ReverbParams kRecordStart{};

}  // namespace

constexpr EffectDescription kReverbEffect = Checked({
    .name = "reverb",
    .summary = "reverberation of a hall, room, plate or tank, with early reflections",
    .className = KORVA_WTEXT("Reverb"),
    .displayName = KORVA_WTEXT("KORVA Reverb"),
    .filterClass = {0x607682E0, 0x6E21, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    .pageClass = {0x607682E1, 0x6E21, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    .blockSize = sizeof(ReverbParams),
    .rows = AutomatedRows(kRows),
    .presets = PresetTable(kPresets),
    .forms = kForms,
    .recordStart = &kRecordStart,
    .noticeOnUnknownRecord = true,
});

}  // namespace korva
