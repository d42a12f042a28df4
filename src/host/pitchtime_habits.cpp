#include "host/pitchtime_habits.h"

#include <cstring>
#include <string>

#include "frame/row_values.h"
#include "host/number_text.h"
#include "live/pitch_pace.h"
#include "pitchtime/pitchs_params.h"
#include "pitchtime/time_params.h"
#include "pitchtime/time_text.h"

namespace korva {
namespace {

double LeastPercent() {
  return static_cast<double>(kTimeEffect.rows[kTimePercent].info.mpdMinValue);
}
double MostPercent() {
  return static_cast<double>(kTimeEffect.rows[kTimePercent].info.mpdMaxValue);
}

double PitchsLengthFactor(const void* block) {
  return LengthFactor(kPitchsEffect, block);
}

const char* PitchsObjection(const void* bytes) {
  const auto block = LoadBlock<PitchsParams>(bytes);
  const bool isTooLow = block.preserveDuration != 0 && block.transposition < 0.5 && block.transposition > 0;
  return isTooLow ? "preserve-duration holds the length down to -12 semitones; below that all would sound an octave "
                    "down, so raise semitones or set preserve-duration=off"
                  : nullptr;
}

double TimeLengthFactor(const void* block) {
  return LengthFactor(kTimeEffect, block);
}

bool IsPossible(double percentTimes100) {
  return percentTimes100 >= LeastPercent() * 100 && percentTimes100 <= MostPercent() * 100;
}

/// "INITIAL:FINAL" in beats per minute.
MaybeExit SetTempoPair(std::string_view text, TimeParams& block) {
  const std::size_t colon = text.find(':');
  const std::optional<double> initial = ParseNumber(text.substr(0, colon));
  const std::optional<double> final = ParseNumber(text.substr(colon + 1));
  const double most = static_cast<double>(kTimeEffect.rows[kTimeTempo].info.mpdMaxValue);
  if (!initial || !final || !(*initial > 0) || !(*final > 0) || *initial > most) {
    return BadCall("tempo takes INITIAL:FINAL in bpm, the initial one up to " + NumberText(most) + ", not \"" +
                   std::string(text) + "\"");
  }
  block.tempoTimes100 = static_cast<std::uint32_t>(*initial * 100 + 0.5);
  const double percentTimes100 = PercentTimes100ForTempo(block.tempoTimes100, *final);
  if (!IsPossible(percentTimes100)) {
    return BadCall("tempo: from " + NumberText(*initial) + " bpm a final tempo of " + NumberText(*initial / 5) +
                   " to " + NumberText(*initial * 2) + " can be reached, not " + NumberText(*final));
  }
  block.percentTimes100 = percentTimes100;
  block.inputFormatKind = kAsTempo;
  return std::nullopt;
}

MaybeExit SetDuration(std::string_view text, const MaterialLength& material, TimeParams& block) {
  // What the page's reader would take as 0 is refused here; all else it reads.
  if (text.find_first_not_of("0123456789:.") != std::string_view::npos || !ParseDuration(text))
    return BadCall("duration takes a time such as 90, 1:30 or 1:02:30.5, not \"" + std::string(text) + "\"");
  if (!(material.frames > 0) || material.rate == 0) {
    return BadCall("duration needs an input whose length is known; percent does without");
  }
  const std::basic_string<WCHAR> wide(text.begin(), text.end());
  const double final = FramesOfTime(ParseTimeText(wide.c_str()).Milliseconds(), material.rate);
  const double percentTimes100 = PercentTimes100ForFrames(material.frames, final);
  if (!IsPossible(percentTimes100)) {
    const double length = material.frames / material.rate;
    return BadCall("duration: the input lasts " + DurationText(length) + ", so " +
                   DurationText(length * LeastPercent() / 100) + " to " + DurationText(length * MostPercent() / 100) +
                   " can be reached, not " + std::string(text));
  }
  block.percentTimes100 = percentTimes100;
  block.initialSamples = HoldTimeInitialSamples(material.frames);
  block.inputFormatKind = kAsTime;
  return std::nullopt;
}

MaybeExit SetTimeDerived(std::string_view name, std::string_view text, const MaterialLength& material, void* bytes,
                         bool& taken) {
  const bool isPair = name == "tempo" && text.find(':') != std::string_view::npos;
  taken = isPair || name == "duration";
  if (!taken) return std::nullopt;
  auto block = LoadBlock<TimeParams>(bytes);
  if (MaybeExit check = isPair ? SetTempoPair(text, block) : SetDuration(text, material, block)) return check;
  std::memcpy(bytes, &block, sizeof block);
  return std::nullopt;
}

constexpr DerivedName kTimeNames[] = {
    {"tempo=INITIAL:FINAL", "bpm:bpm", "a pair of tempos sets percent, such as 120:90"},
    {"duration", "[[H:]M:]S", "the final length as a time sets percent, such as 1:30; held to the frame"},
};

}  // namespace

/// Measured at 125 % on hits and on speech, and at 80 % too on steady chords.
constexpr const char* kPicks =
    "Good picks for mode: A17 keeps attacks within 5 ms, A09 is the clearest of the three for speech, A02 and A10 are "
    "the cleanest on chords, of which A10 keeps attacks within 13 ms; A01 doubles an attack now and then, up to 30 ms "
    "apart.";

const EffectHabits kPitchsHabits = {
    .objection = &PitchsObjection, .picks = kPicks, .lengthFactor = &PitchsLengthFactor};
const EffectHabits kTimeHabits = {
    .names = kTimeNames, .setDerived = &SetTimeDerived, .picks = kPicks, .lengthFactor = &TimeLengthFactor};

}  // namespace korva
