#include "host/song.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "audio/narrow.h"
#include "host/number_text.h"
#include "live/live_tempo.h"

namespace korva {
namespace {

/// The last entry that starts at `tick` or before; the first where none does.
template <class Entry>
std::size_t IndexAt(const std::vector<Entry>& entries, std::int64_t tick) {
  const auto after = std::upper_bound(entries.begin(), entries.end(), tick,
                                      [](std::int64_t time, const Entry& entry) { return time < entry.tick; });
  return after == entries.begin() ? 0 : static_cast<std::size_t>(after - entries.begin()) - 1;
}

LONG Held(double value) {
  return Truncate<LONG>(std::floor(value + 0.5));
}
LONG Held(std::int64_t value) {
  using Limits = std::numeric_limits<LONG>;
  return static_cast<LONG>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

}  // namespace

Outcome<SongMap> ConstantSong(const std::string& tempo, const std::string& meter) {
  SongMap map;
  if (!tempo.empty()) {
    const std::optional<double> bpm = ParseNumber(tempo);
    if (!bpm || *bpm < LiveTempo::kLeastBpm || *bpm > LiveTempo::kMostBpm) {
      return BadCall("--tempo takes " + NumberText(LiveTempo::kLeastBpm) + " to " + NumberText(LiveTempo::kMostBpm) +
                     " beats per minute, not \"" + tempo + "\"");
    }
    map.tempos.front().bpm = *bpm;
  }
  if (!meter.empty()) {
    const std::size_t slash = meter.find('/');
    const std::string_view text = meter;
    const std::optional<std::int64_t> top = ParseWhole(text.substr(0, slash));
    const std::optional<std::int64_t> bottom =
        slash == std::string::npos ? std::nullopt : ParseWhole(text.substr(slash + 1));
    if (!top || !bottom || !LiveTempo::IsMeter(*top, *bottom)) {
      return BadCall("--meter takes beats and note value, such as 4/4 or 6/8, not \"" + meter + "\"");
    }
    map.meters.front().top = static_cast<std::int32_t>(*top);
    map.meters.front().bottomPower = std::countr_zero(static_cast<std::uint64_t>(*bottom));
  }
  return map;
}

SongHost::SongHost(SongMap map) : map_(std::move(map)) {
  double time = 0;
  for (std::size_t i = 0; i < map_.tempos.size(); ++i) {
    if (i != 0) {
      const double ticks = static_cast<double>(map_.tempos[i].tick) - map_.tempos[i - 1].tick;
      time += ticks / TicksPerMsec(i - 1);
    }
    tempoMsecs_.push_back(time);
  }
  std::int64_t measure = 1;
  for (std::size_t i = 0; i < map_.meters.size(); ++i) {
    if (i != 0) {
      // A new meter begins a measure, even where it cuts the one before short.
      const std::int64_t ticks = std::int64_t{map_.meters[i].tick} - map_.meters[i - 1].tick;
      const std::int64_t length = TicksPerMeasure(i - 1);
      measure += (ticks + length - 1) / length;
    }
    meterMeasures_.push_back(measure);
  }
}

LONG SongHost::TicksToMsecs(LONG ticks) {
  const std::size_t tempo = IndexAt(map_.tempos, ticks);
  return Held(tempoMsecs_[tempo] + (static_cast<double>(ticks) - map_.tempos[tempo].tick) / TicksPerMsec(tempo));
}

LONG SongHost::MsecsToTicks(LONG milliseconds) {
  const auto after = std::upper_bound(tempoMsecs_.begin(), tempoMsecs_.end(), static_cast<double>(milliseconds));
  const std::size_t tempo =
      after == tempoMsecs_.begin() ? 0 : static_cast<std::size_t>(after - tempoMsecs_.begin()) - 1;
  return Held(map_.tempos[tempo].tick + (milliseconds - tempoMsecs_[tempo]) * TicksPerMsec(tempo));
}

int SongHost::GetTempoIndexForTime(LONG ticks) {
  return static_cast<int>(IndexAt(map_.tempos, ticks));
}

HRESULT SongHost::GetTempoAt(int index, LONG* ticks, int* bpm100) {
  if (ticks == nullptr || bpm100 == nullptr) return E_POINTER;
  if (index < 0 || index >= GetTempoCount()) return E_INVALIDARG;
  const SongMap::Tempo& tempo = map_.tempos[static_cast<std::size_t>(index)];
  *ticks = tempo.tick;
  *bpm100 = Truncate<int>(tempo.bpm * 100 + 0.5);
  return S_OK;
}

std::int64_t SongHost::TicksPerBeat(std::size_t meter) const noexcept {
  const std::int64_t ticks = std::int64_t{map_.ticksPerQuarter} * 4 >> map_.meters[meter].bottomPower;
  return std::max<std::int64_t>(ticks, 1);
}

HRESULT SongHost::TicksToMBT(LONG time, int* measure, int* beat, int* ticks) {
  if (measure == nullptr || beat == nullptr || ticks == nullptr) return E_POINTER;
  const std::size_t meter = IndexAt(map_.meters, time);
  const std::int64_t since = std::max<std::int64_t>(std::int64_t{time} - map_.meters[meter].tick, 0);
  *measure = Held(meterMeasures_[meter] + since / TicksPerMeasure(meter));
  *beat = Held(since % TicksPerMeasure(meter) / TicksPerBeat(meter) + 1);
  *ticks = Held(since % TicksPerBeat(meter));
  return S_OK;
}

LONG SongHost::MBTToTicks(int measure, int beat, int ticks) {
  const auto after = std::upper_bound(meterMeasures_.begin(), meterMeasures_.end(), std::int64_t{measure});
  const std::size_t meter =
      after == meterMeasures_.begin() ? 0 : static_cast<std::size_t>(after - meterMeasures_.begin()) - 1;
  return Held(map_.meters[meter].tick + (measure - meterMeasures_[meter]) * TicksPerMeasure(meter) +
              (std::int64_t{beat} - 1) * TicksPerBeat(meter) + ticks);
}

int SongHost::GetMeterIndexForTime(LONG ticks) {
  return static_cast<int>(IndexAt(map_.meters, ticks));
}

HRESULT SongHost::GetMeterAt(int index, int* measure, int* top, int* bottomPower) {
  if (measure == nullptr || top == nullptr || bottomPower == nullptr) return E_POINTER;
  if (index < 0 || index >= GetMeterCount()) return E_INVALIDARG;
  const auto at = static_cast<std::size_t>(index);
  *measure = Held(meterMeasures_[at]);
  *top = map_.meters[at].top;
  *bottomPower = map_.meters[at].bottomPower;
  return S_OK;
}

bool ConnectSong(IUnknown* effect, SongHost& song) {
  const ComPtr<IMfxSoftSynth> synth = Query<IMfxSoftSynth>(effect);
  if (!synth) return false;
  auto* const host = static_cast<IMfxTempoMap*>(&song);
  host->AddRef();  // handed over
  if (FAILED(synth->Connect(host))) {
    host->Release();
    return false;
  }
  synth->OnStart(0);
  return true;
}

}  // namespace korva
