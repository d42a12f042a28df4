#include "host/in_place_habits.h"

#include <algorithm>
#include <cmath>

#include "audio/tempo_info.h"
#include "chorus/chorus_block.h"
#include "delay/echomt/echomt_block.h"
#include "delay/echos/echos_block.h"
#include "frame/row_values.h"
#include "host/song.h"
#include "reverb/reverb_block.h"

namespace korva {
namespace {

double ChorusCycle(const void* bytes, const SongMap* song) {
  const auto params = LoadBlock<ChorusParams>(bytes);
  if (params.bypass != 0) return 0;
  if (params.tempoSync == 0 || song == nullptr) return params.modRate != 0 ? 1000.0 / params.modRate : 0;
  TempoInfo start;
  start.flags = kTempoValid | kMeterValid;
  start.bpm = song->tempos.front().bpm;
  start.numerator = song->meters.front().top;
  start.denominator = 1 << song->meters.front().bottomPower;
  return BeatSeconds(start) * NoteBeats(start, params.modPeriodNote) * params.modPeriodMultiplier / 1000.0;
}

double ReverbRing(const void* bytes, const SongMap* /*song*/) {
  const std::int32_t wholeSeconds = LoadBlock<ReverbParams>(bytes).decayTenths / 10;
  return wholeSeconds;
}

/// The slowest that a song gets: its lowest tempo and its longest measure, wherever they stand.
TempoInfo SlowestOf(const SongMap& song) {
  TempoInfo slowest;
  slowest.flags = kTempoValid | kMeterValid;
  slowest.bpm = song.tempos.front().bpm;
  for (const SongMap::Tempo& tempo : song.tempos) slowest.bpm = std::min(slowest.bpm, tempo.bpm);
  double longest = 0;
  for (const SongMap::Meter& meter : song.meters) {
    const double wholes = static_cast<double>(meter.top) / (1 << meter.bottomPower);
    if (wholes <= longest) continue;
    longest = wholes;
    slowest.numerator = meter.top;
    slowest.denominator = 1 << meter.bottomPower;
  }
  return slowest;
}

double EchosRing(const void* bytes, const SongMap* song) {
  const auto params = LoadBlock<EchosParams>(bytes);
  double delay = params.delayMs / 1e3, decay = params.decayTenths / 10.0;
  if (song != nullptr) {
    const TempoInfo slowest = SlowestOf(*song);
    const auto seconds = [&](std::int32_t note, std::int32_t thousandths) {
      return BeatSeconds(slowest) * NoteBeats(slowest, note) * thousandths / 1e3;
    };
    // The delay takes no measures, the decay does.
    const std::int32_t note = std::min(params.delayNote, kNoteMeasure - 1);
    if (params.tempoSyncDelay != 0) delay = std::max(delay, seconds(note, params.delayMultiplier));
    if (params.tempoSyncDecay != 0) decay = std::max(decay, seconds(params.decayNote, params.decayMultiplier));
  }
  return delay + (params.multipleDelays != 0 ? decay : 0);
}

double EchomtCycle(const void* bytes, const SongMap* /*song*/) {
  const auto params = LoadBlock<EchomtParams>(bytes);
  return params.modDepth != 0 && params.modRate != 0 ? 10.0 / params.modRate : 0;
}

/// A little more than the rounds of the feedback that it counts.
double EchomtRing(const void* bytes, const SongMap* /*song*/) {
  const auto params = LoadBlock<EchomtParams>(bytes);
  constexpr double kEndless = 20, kSwing = 0.02;
  if (params.feedback >= 100) return kEndless;
  const auto taps = std::clamp(params.tapCount, 1, kEchomtTaps);
  const double line = *std::max_element(params.tapDelayMs, params.tapDelayMs + taps) * 1.05 / 1e3 + kSwing;
  return params.feedback <= 0 ? line : line * (2 - 3 / std::log(params.feedback / 100.0));
}

}  // namespace

const EffectHabits kChorusHabits = {.cycleSeconds = &ChorusCycle};
const EffectHabits kReverbHabits = {.ringSeconds = &ReverbRing};
const EffectHabits kEchosHabits = {.ringSeconds = &EchosRing, .ringsInOneBuffer = true};
const EffectHabits kEchomtHabits = {.ringSeconds = &EchomtRing, .cycleSeconds = &EchomtCycle};

}  // namespace korva
