#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/outcome.h"
#include "platform/tempo_host.h"
#include "streaming/com_ptr.h"
#include "streaming/counted.h"

namespace korva {

/// The tempos and meters of a song, as plain data. Ticks count from the start of the song.
struct SongMap {
  struct Tempo {
    std::int32_t tick;
    double bpm;
  };
  struct Meter {
    std::int32_t tick;
    std::int32_t top, bottomPower;  ///< the meter is top over 2 to the power of bottomPower
  };
  std::int32_t ticksPerQuarter = 960;
  std::vector<Tempo> tempos{{0, 120.0}};  ///< in order of their ticks, the first at 0
  std::vector<Meter> meters{{0, 4, 2}};   ///< likewise
};

/// A song of one tempo and one meter. An empty text stands for 120 beats a minute, or for 4/4.
Outcome<SongMap> ConstantSong(const std::string& tempo, const std::string& meter);
/// The tempo and meter events of a Standard MIDI File.
Outcome<SongMap> ReadMidiSong(const std::string& path);

/// A change of tempo or of meter as a MIDI file tells it; 0 where it is not told.
struct SongChange {
  std::int32_t tick, microsecondsPerQuarter, numerator, denominator;
};
/// The song of the changes that a file told, from first to last. `path` is how a broken one is called.
Outcome<SongMap> SongOfChanges(const std::string& path, std::int32_t ticksPerQuarter,
                               std::span<const SongChange> changes);

/// A host that plays the song: what effects ask for tempo and meter. The data never changes, so any thread may ask.
class SongHost final : public Counted<InterfaceList<IMfxTempoMap, IMfxMeterMap>> {
 public:
  explicit SongHost(SongMap map);

  LONG TicksToMsecs(LONG ticks) override;
  LONG MsecsToTicks(LONG milliseconds) override;
  int GetTicksPerQuarterNote() override { return map_.ticksPerQuarter; }
  int GetTempoIndexForTime(LONG ticks) override;
  int GetTempoCount() override { return static_cast<int>(map_.tempos.size()); }
  HRESULT GetTempoAt(int index, LONG* ticks, int* bpm100) override;

  HRESULT TicksToMBT(LONG time, int* measure, int* beat, int* ticks) override;
  LONG MBTToTicks(int measure, int beat, int ticks) override;
  int GetMeterIndexForTime(LONG ticks) override;
  int GetMeterCount() override { return static_cast<int>(map_.meters.size()); }
  HRESULT GetMeterAt(int index, int* measure, int* top, int* bottomPower) override;

 private:
  double TicksPerMsec(std::size_t tempo) const noexcept { return map_.tempos[tempo].bpm * map_.ticksPerQuarter / 6e4; }
  std::int64_t TicksPerBeat(std::size_t meter) const noexcept;
  std::int64_t TicksPerMeasure(std::size_t meter) const noexcept {
    return TicksPerBeat(meter) * map_.meters[meter].top;
  }

  const SongMap map_;
  std::vector<double> tempoMsecs_;           // when each tempo starts
  std::vector<std::int64_t> meterMeasures_;  // the measure that each meter starts, counted from 1
};

/// Lets an effect follow the song from its start. False where the effect follows no tempo.
bool ConnectSong(IUnknown* effect, SongHost& song);

}  // namespace korva
