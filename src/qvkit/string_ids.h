// Ids of the texts that code asks for. A fixed text of a page has the id of its control and is named in the page's
// table.
#pragma once

#include <cstdint>

namespace korva {

using StringId = std::int32_t;
inline constexpr StringId kNoString = -1;

// Page titles, and the names on the logo bars.
inline constexpr StringId kStringTimeTitle = 1000;
inline constexpr StringId kStringPitchsTitle = 2000;
inline constexpr StringId kStringEchosTitle = 3000;
inline constexpr StringId kStringEchomtTitle = 4000;
inline constexpr StringId kStringReverbTitle = 5000;
inline constexpr StringId kStringChorusTitle = 6000;
inline constexpr StringId kStringEchosLogo = 3022;
inline constexpr StringId kStringEchomtLogo = 4119;
inline constexpr StringId kStringReverbLogo = 5047;
inline constexpr StringId kStringChorusLogo = 6050;
inline constexpr StringId kStringPitchsLogo = 7395;
inline constexpr StringId kStringTimeLogo = 7396;

// What all pages share.
inline constexpr StringId kStringPresets = 7000;
inline constexpr StringId kStringHelp = 7001;
inline constexpr StringId kStringHelpMissing = 7002;  // a format with one text, the path
inline constexpr StringId kStringHelpButton = 7189;

// Presets. The first two belong to every effect; a FirstPreset opens a run of ids, one for each further name, which is
// not always the order of the preset table.
inline constexpr StringId kStringPresetDefault = 7020;
inline constexpr StringId kStringPresetDefaultAll = 7021;
inline constexpr StringId kStringChorusFirstPreset = 7022;  // to 7043
inline constexpr StringId kStringEchomtFirstPreset = 7044;  // to 7067
inline constexpr StringId kStringEchosFirstPreset = 7068;   // to 7072
inline constexpr StringId kStringPitchsFirstPreset = 7073;  // to 7076
inline constexpr StringId kStringTimeFirstPreset = 7154;    // to 7155
inline constexpr StringId kStringReverbFirstPreset = 7340;  // to 7350, in the order of the preset table

// Note lengths: eighteen single names and the measures, and the same as lists for enum texts.
inline constexpr StringId kStringFirstNote = 7190;  // to 7207
inline constexpr StringId kStringNotes = 7240;
inline constexpr StringId kStringNotesAndMeasures = 7241;

// Units of parameters.
inline constexpr StringId kStringHertz = 7225;
inline constexpr StringId kStringPercent = 7226;
inline constexpr StringId kStringMilliseconds = 7227;
inline constexpr StringId kStringDecibels = 7228;
inline constexpr StringId kStringSeconds = 7300;

// Labels of parameters, at most 31 characters in every language. Effects share a label where it reads the same.
inline constexpr StringId kStringModulationRate = 7209;
inline constexpr StringId kStringModulationDepth = 7210;
inline constexpr StringId kStringDelay = 7211;
inline constexpr StringId kStringFeedback = 7212;
inline constexpr StringId kStringChorusSize = 7213;
inline constexpr StringId kStringInvertChorusPhase = 7214;
inline constexpr StringId kStringInvertFeedbackPhase = 7215;
inline constexpr StringId kStringAttenuateHighFrequencies = 7216;
inline constexpr StringId kStringAttenuationFrequencies = 7217;
inline constexpr StringId kStringInputGain = 7218;
inline constexpr StringId kStringDryOut = 7219;
inline constexpr StringId kStringChorusOut = 7220;
inline constexpr StringId kStringBypass = 7221;
inline constexpr StringId kStringModulationPeriod = 7222;
inline constexpr StringId kStringModulationPeriodMultiplier = 7223;
inline constexpr StringId kStringTempoSync = 7224;
inline constexpr StringId kStringDelayTime = 7301;
inline constexpr StringId kStringDecayTime = 7302;
inline constexpr StringId kStringMultipleDelays = 7303;
inline constexpr StringId kStringDelayOut = 7304;
inline constexpr StringId kStringDelayTimeTempo = 7305;
inline constexpr StringId kStringDelayTimeMultiplierTempo = 7306;
inline constexpr StringId kStringTempoSyncDelay = 7307;
inline constexpr StringId kStringDecayTimeTempo = 7308;
inline constexpr StringId kStringDecayTimeMultiplierTempo = 7309;
inline constexpr StringId kStringTempoSyncDecay = 7310;
inline constexpr StringId kStringPreDelay = 7320;
inline constexpr StringId kStringReverberationMode = 7321;
inline constexpr StringId kStringReflectionStyle = 7322;  // the row goes by the label of the mode
inline constexpr StringId kStringAttenuateBassFrequencies = 7323;
inline constexpr StringId kStringBassAttenuationFrequency = 7324;
inline constexpr StringId kStringHighAttenuationFrequency = 7325;
inline constexpr StringId kStringReverbOut = 7326;
inline constexpr StringId kStringEarlyOut = 7327;

// Reverb: enum texts, and the page's own names and readouts.
inline constexpr StringId kStringReverbModes = 7330;
inline constexpr StringId kStringEarlyStyles = 7331;
inline constexpr StringId kStringFirstReverbMode = 7360;  // to 7378
inline constexpr StringId kStringFirstEarlyStyle = 7380;  // to 7389
inline constexpr StringId kStringPreDelayReadout = 7152;  // a format with one whole number
inline constexpr StringId kStringPreDelayOff = 7153;

// Pitch Shift page.
inline constexpr StringId kStringUp = 7077;
inline constexpr StringId kStringDown = 7078;
inline constexpr StringId kStringFirstInterval = 7079;  // to 7089, minor second to major seventh
inline constexpr StringId kStringOctave = 7090;
inline constexpr StringId kStringPitchsNeedInputPin = 7091;
inline constexpr StringId kStringPitchsZeroTime = 7092;
inline constexpr StringId kStringPitchsFinalTime = 7093;  // a format with two texts
inline constexpr StringId kStringPitchsFirstMode = 7094;  // to 7112
inline constexpr StringId kStringSemitonesNarrow = 7113;
inline constexpr StringId kStringSemitonesWide = 7114;

// Time Stretch page. The captions of the final value are formats with two texts.
inline constexpr StringId kStringInitialTempo = 7156;
inline constexpr StringId kStringInitialTime = 7157;
inline constexpr StringId kStringInitialUnavailable = 7158;
inline constexpr StringId kStringTimeNeedInputPin = 7160;
inline constexpr StringId kStringTimeZeroTime = 7161;
inline constexpr StringId kStringTimeFirstMode = 7162;         // to 7180
inline constexpr StringId kStringTimeFirstInputFormat = 7181;  // to 7183
inline constexpr StringId kStringFinalPercentage = 7390;
inline constexpr StringId kStringFinalTempo = 7391;
inline constexpr StringId kStringFinalTime = 7392;

}  // namespace korva
