#include "delay/echos/echos_params.h"

#include <cstddef>

#include "audio/gain.h"
#include "qvkit/string_ids.h"

namespace korva {
namespace {

constexpr ParamDescriptor kRows[] = {
    rows::BuildsLine(rows::Ramp({"delay", "ms", "time until the echo, when it does not follow the tempo"},
                                {1, 5000, 2500, 1, 5000}, {kStringDelayTime, kStringMilliseconds}, kChangeRefresh,
                                offsetof(EchosParams, delayMs))),
    // The unit text says ms though the value counts tenths of a second: kept on purpose, settings carry the name. The
    // command line speaks of seconds.
    rows::Ramp({"decay", "s", "time in which repeated echoes fall by 30 dB, when it does not follow the tempo", 0.1F},
               {1, 200, 100, 1, 200}, {kStringDecayTime, kStringMilliseconds}, kChangeRefresh,
               offsetof(EchosParams, decayTenths)),
    rows::Switch({"multiple-delays", "", "feeds the echo back, so that it repeats"}, {kStringMultipleDelays},
                 kChangeRefresh, offsetof(EchosParams, multipleDelays)),
    rows::Gain({"dry-out", "dB", "level of the untreated signal; the lowest value is silence"}, kSilentTenths, -6,
               {kStringDryOut, kStringDecibels}, kChangeRefresh, offsetof(EchosParams, dryOut)),
    rows::Gain({"delay-out", "dB", "level of the echoes; the lowest value is silence"}, kSilentTenths, -6,
               {kStringDelayOut, kStringDecibels}, kChangeRefresh, offsetof(EchosParams, delayOut)),
    rows::Switch({"bypass", "", "passes the signal through untouched"}, {kStringBypass}, kChangeRefresh,
                 offsetof(EchosParams, bypass)),
    rows::FollowsTempo(rows::Choice({"delay-note", "", "note length until the echo, when it follows the tempo"}, 0, 17,
                                    13, {kStringDelayTimeTempo, -1, kStringNotes}, kChangeRefresh,
                                    offsetof(EchosParams, delayNote))),
    rows::BuildsLine(rows::FollowsTempo(rows::Ramp({"delay-multiplier", "", "factor on the note length until the echo"},
                                                   {0.001F, 4, 1, 1, 4000}, {kStringDelayTimeMultiplierTempo},
                                                   kChangeRefresh, offsetof(EchosParams, delayMultiplier)))),
    rows::FollowsTempo(rows::Switch({"tempo-sync-delay", "", "the delay follows the host's tempo"},
                                    {kStringTempoSyncDelay}, kChangeRefresh, offsetof(EchosParams, tempoSyncDelay))),
    rows::FollowsTempo(rows::Choice({"decay-note", "", "note length of the decay, when it follows the tempo"}, 0, 18,
                                    18, {kStringDecayTimeTempo, -1, kStringNotesAndMeasures}, kChangeRefresh,
                                    offsetof(EchosParams, decayNote))),
    rows::FollowsTempo(rows::Ramp({"decay-multiplier", "", "factor on the note length of the decay"},
                                  {0.001F, 32, 1, 1, 32000}, {kStringDecayTimeMultiplierTempo}, kChangeRefresh,
                                  offsetof(EchosParams, decayMultiplier))),
    rows::FollowsTempo(rows::Switch({"tempo-sync-decay", "", "the decay follows the host's tempo"},
                                    {kStringTempoSyncDecay}, kChangeRefresh, offsetof(EchosParams, tempoSyncDecay))),
};

constexpr StringId kFirst = kStringEchosFirstPreset;  // of the names that are this effect's own

constexpr PresetRow<EchosParams> kPresets[] = {
    {kStringPresetDefault, {0, 100, 1, -60, -60, 0, 13, 1000, 0, 18, 1000, 0}},
    {kStringPresetDefaultAll, {0, 100, 1, -60, -60, 0, 13, 1000, 0, 18, 1000, 0}},
    {kFirst, {1, 400, 20, -30, -90, 0, 13, 1000, 0, 18, 1000, 0}},
    {kFirst + 1, {0, 400, 20, -120, -90, 0, 13, 1000, 0, 18, 1000, 0}},
    {kFirst + 2, {1, 1000, 30, -140, -40, 0, 13, 1000, 0, 18, 1000, 0}},
    {kFirst + 3, {0, 1000, 20, 0, -800, 0, 13, 1000, 0, 18, 1000, 0}},
    {kFirst + 4, {0, 10, 1, 0, -800, 0, 13, 1000, 0, 18, 1000, 0}},
};

// Forms older than the tempo fields, the oldest without `bypass` too.
constexpr EchosParams kRecordStart = {0, 0, 0, 0, 0, 0, 13, 1000, 0, 18, 1000, 0};
constexpr RecordForm kForms[] = {
    {68, {0x9ACB0B09, 0xC5DB, 0x4431, {0xBD, 0x64, 0x74, 0x1B, 0xDD, 0xA7, 0x1A, 0xE2}}, 48},
    {40, {0x54F29263, 0x79B1, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}}, 20},
    {44, {0xC9A9FEC7, 0x8A9B, 0x4CFE, {0xAE, 0xBC, 0x92, 0xEA, 0x0E, 0x50, 0x52, 0x19}}, 24},
};

}  // namespace

constexpr EffectDescription kEchosEffect = Checked({
    .name = "simple-delay",
    .summary = "one echo, single or fed back, that can follow the tempo",
    .className = KORVA_WTEXT("Simple Delay"),
    .displayName = KORVA_WTEXT("KORVA Simple Delay"),
    .filterClass = {0x54F29260, 0x79B1, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    .pageClass = {0x54F29261, 0x79B1, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    .blockSize = sizeof(EchosParams),
    .rows = AutomatedRows(kRows),
    .presets = PresetTable(kPresets),
    .forms = kForms,
    .recordStart = &kRecordStart,
    .noticeOnUnknownRecord = true,
});

}  // namespace korva
