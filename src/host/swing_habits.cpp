#include "host/swing_habits.h"

#include <cstring>

#include "audio/tempo_info.h"
#include "chorus/chorus_block.h"
#include "delay/echomt/echomt_block.h"
#include "host/song.h"

namespace korva {
namespace {

double ChorusCycle(const void* bytes, const SongMap* song) {
  ChorusParams params;
  std::memcpy(&params, bytes, sizeof params);
  if (params.bypass != 0) return 0;
  if (params.tempoSync == 0 || song == nullptr) return params.modRate != 0 ? 1000.0 / params.modRate : 0;
  TempoInfo start;
  start.flags = kTempoValid | kMeterValid;
  start.bpm = song->tempos.front().bpm;
  start.numerator = song->meters.front().top;
  start.denominator = 1 << song->meters.front().bottomPower;
  return BeatSeconds(start) * NoteBeats(start, params.modPeriodNote) * params.modPeriodMultiplier / 1000.0;
}

double EchomtCycle(const void* bytes, const SongMap* /*song*/) {
  EchomtParams params;
  std::memcpy(&params, bytes, sizeof params);
  return params.modDepth != 0 && params.modRate != 0 ? 10.0 / params.modRate : 0;
}

}  // namespace

const EffectHabits kChorusHabits = {.cycleSeconds = &ChorusCycle};
const EffectHabits kEchomtHabits = {.cycleSeconds = &EchomtCycle};

}  // namespace korva
