#include "delay/echos/echos_params.h"

#include <cstddef>

namespace korva {
namespace {

constexpr std::int32_t kMs = 7227, kDecibel = 7228;
constexpr std::int32_t kNotes = 7240, kNotesAndMeasures = 7241;

constexpr ParamDescriptor kRows[] = {
    rows::BuildsLine(rows::Ramp({"delay", "ms", "time until the echo, when it does not follow the tempo"},
                                {1, 5000, 2500, 1, 5000}, {7301, kMs}, 1, offsetof(EchosParams, delayMs))),
    // The unit text says ms though the value counts tenths of a second: hosts have always shown it so. The command
    // line tells seconds.
    rows::Ramp({"decay", "s", "time in which repeated echoes fall by 30 dB, when it does not follow the tempo", 0.1F},
               {1, 200, 100, 1, 200}, {7302, kMs}, 1, offsetof(EchosParams, decayTenths)),
    rows::Switch({"multiple-delays", "", "feeds the echo back, so that it repeats"}, {7303}, 1,
                 offsetof(EchosParams, multipleDelays)),
    rows::Ramp({"dry-out", "dB", "level of the untreated signal; the lowest value is silence"}, {-80, 0, -6, -800, 0},
               {7219, kDecibel}, 1, offsetof(EchosParams, dryOut)),
    rows::Ramp({"delay-out", "dB", "level of the echoes; the lowest value is silence"}, {-80, 0, -6, -800, 0},
               {7304, kDecibel}, 1, offsetof(EchosParams, delayOut)),
    rows::Switch({"bypass", "", "passes the signal through untouched"}, {7221}, 1, offsetof(EchosParams, bypass)),
    rows::FollowsTempo(rows::Choice({"delay-note", "", "note length until the echo, when it follows the tempo"}, 0, 17,
                                    13, {7305, -1, kNotes}, 1, offsetof(EchosParams, delayNote))),
    rows::BuildsLine(
        rows::FollowsTempo(rows::Ramp({"delay-multiplier", "", "factor on the note length until the echo"},
                                      {0.001F, 4, 1, 1, 4000}, {7306}, 1, offsetof(EchosParams, delayMultiplier)))),
    rows::FollowsTempo(rows::Switch({"tempo-sync-delay", "", "the delay follows the host's tempo"}, {7307}, 1,
                                    offsetof(EchosParams, tempoSyncDelay))),
    rows::FollowsTempo(rows::Choice({"decay-note", "", "note length of the decay, when it follows the tempo"}, 0, 18,
                                    18, {7308, -1, kNotesAndMeasures}, 1, offsetof(EchosParams, decayNote))),
    rows::FollowsTempo(rows::Ramp({"decay-multiplier", "", "factor on the note length of the decay"},
                                  {0.001F, 32, 1, 1, 32000}, {7309}, 1, offsetof(EchosParams, decayMultiplier))),
    rows::FollowsTempo(rows::Switch({"tempo-sync-decay", "", "the decay follows the host's tempo"}, {7310}, 1,
                                    offsetof(EchosParams, tempoSyncDecay))),
};

constexpr PresetRow<EchosParams> kPresets[] = {
    {7020, {0, 100, 1, -60, -60, 0, 13, 1000, 0, 18, 1000, 0}},
    {7021, {0, 100, 1, -60, -60, 0, 13, 1000, 0, 18, 1000, 0}},
    {7068, {1, 400, 20, -30, -90, 0, 13, 1000, 0, 18, 1000, 0}},
    {7069, {0, 400, 20, -120, -90, 0, 13, 1000, 0, 18, 1000, 0}},
    {7070, {1, 1000, 30, -140, -40, 0, 13, 1000, 0, 18, 1000, 0}},
    {7071, {0, 1000, 20, 0, -800, 0, 13, 1000, 0, 18, 1000, 0}},
    {7072, {0, 10, 1, 0, -800, 0, 13, 1000, 0, 18, 1000, 0}},
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
    "simple-delay",
    "one echo, single or fed back, that can follow the tempo",
    KORVA_WTEXT("Simple Delay"),
    KORVA_WTEXT("KORVA Simple Delay"),
    {0x54F29260, 0x79B1, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    {0x54F29261, 0x79B1, 0x11D0, {0xAE, 0xBC, 0x00, 0xA0, 0xC9, 0x05, 0x39, 0x12}},
    sizeof(EchosParams),
    AutomatedRows(kRows),
    PresetTable(kPresets),
    kForms,
    &kRecordStart,
    true,
});

}  // namespace korva
