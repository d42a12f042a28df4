#include "host/delay_habits.h"

#include <algorithm>
#include <cstring>

#include "audio/tempo_info.h"
#include "delay/echos/echos_params.h"
#include "delay/echos/echos_property.h"
#include "host/song.h"

namespace korva {
namespace {

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

double Most(std::size_t row, double unit) {
  return kEchosEffect.rows[row].externalMax * unit;
}

double EchosTailSeconds(const void* bytes, const SongMap* song, bool moves) {
  EchosParams params;
  std::memcpy(&params, bytes, sizeof params);
  double delay = moves ? Most(kEchosDelayTime, 1e-3) : params.delayMs / 1e3;
  double decay = moves ? Most(kEchosDecayTime, 0.1) : params.decayTenths / 10.0;
  if (song != nullptr) {
    // The delay takes no measures, the decay does.
    const double longestDelayQuarters = *std::max_element(kNoteQuarters.begin(), kNoteQuarters.end());
    const TempoInfo slowest = SlowestOf(*song);
    const double beat = BeatSeconds(slowest);
    const double longestNote = std::max(longestDelayQuarters, NoteBeats(slowest, kNoteMeasure));
    if (moves) {
      delay = std::max(delay, beat * longestDelayQuarters * Most(kEchosDelayMultiplier, 1e-3));
      decay = std::max(decay, beat * longestNote * Most(kEchosDecayMultiplier, 1e-3));
    } else {
      const std::int32_t note = std::min(params.delayNote, kNoteMeasure - 1);
      delay = std::max(delay, beat * NoteBeats(slowest, note) * params.delayMultiplier / 1e3);
      decay = std::max(decay, beat * NoteBeats(slowest, params.decayNote) * params.decayMultiplier / 1e3);
    }
  }
  return delay + decay;
}

}  // namespace

const EffectHabits kEchosHabits = {.tailSeconds = &EchosTailSeconds};

}  // namespace korva
