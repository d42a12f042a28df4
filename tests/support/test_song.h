#pragma once

#include <cstdint>
#include <vector>

#include "platform/tempo_host.h"
#include "support/owned.h"

namespace korva {

/// A host's song as its maps: tempos by tick, meters by measure. With `converterRate` the song also converts times, to
/// the exact frame; without, an effect has whole milliseconds to go by.
class TestSong : public IMfxTempoMap, public IMfxMeterMap, public IMfxTimeConverter {
 public:
  struct Tempo {
    LONG tick;
    int bpm100;
  };
  struct Meter {
    int measure, top, power;
  };

  explicit TestSong(std::vector<Tempo> songTempos, std::vector<Meter> songMeters = {{1, 4, 2}},
                    double converterRate = 0)
      : tempos(std::move(songTempos)), meters(std::move(songMeters)), rate(converterRate) {}

  HRESULT QueryInterface(REFIID iid, void** out) override {
    if (iid == InterfaceId<IMfxMeterMap>() && !hasMeter) return E_NOINTERFACE;
    if (iid == InterfaceId<IMfxTempoMap>() && !hasTempo) return E_NOINTERFACE;
    if (iid == InterfaceId<IMfxTimeConverter>() && rate == 0) return E_NOINTERFACE;
    return AnswerStackObject<IMfxTempoMap, IMfxMeterMap, IMfxTimeConverter>(this, iid, out, references);
  }
  ULONG AddRef() override { return ++references; }
  ULONG Release() override { return --references; }

  /// Hands the song over as a host does, with a reference.
  HRESULT ConnectTo(IMfxSoftSynth& effect) {
    AddRef();
    return effect.Connect(static_cast<IMfxTempoMap*>(this));
  }

  LONG TicksToMsecs(LONG ticks) override { return static_cast<LONG>(Seconds(ticks) * 1000 + 0.5); }
  LONG MsecsToTicks(LONG milliseconds) override { return TickAt(milliseconds / 1000.0); }
  int GetTicksPerQuarterNote() override { return kTicksPerQuarter; }
  int GetTempoIndexForTime(LONG ticks) override {
    int index = 0;
    while (index + 1 < GetTempoCount() && tempos[static_cast<std::size_t>(index) + 1].tick <= ticks) ++index;
    return index;
  }
  int GetTempoCount() override { return static_cast<int>(tempos.size()); }
  HRESULT GetTempoAt(int index, LONG* ticks, int* bpm100) override {
    if (index < 0 || index >= GetTempoCount()) return E_INVALIDARG;
    *ticks = tempos[static_cast<std::size_t>(index)].tick;
    *bpm100 = tempos[static_cast<std::size_t>(index)].bpm100;
    return S_OK;
  }

  HRESULT TicksToMBT(LONG, int*, int*, int*) override { return E_NOTIMPL; }
  LONG MBTToTicks(int measure, int, int) override {
    LONG tick = 0;
    for (std::size_t i = 0; i < meters.size() && meters[i].measure < measure; ++i) {
      const int last = i + 1 < meters.size() ? std::min(measure, meters[i + 1].measure) : measure;
      tick += (last - meters[i].measure) * MeasureTicks(meters[i]);
    }
    return tick;
  }
  int GetMeterIndexForTime(LONG ticks) override {
    int index = 0;
    while (index + 1 < GetMeterCount() &&
           MBTToTicks(meters[static_cast<std::size_t>(index) + 1].measure, 1, 0) <= ticks) {
      ++index;
    }
    return index;
  }
  int GetMeterCount() override { return static_cast<int>(meters.size()); }
  HRESULT GetMeterAt(int index, int* measure, int* top, int* bottomPower) override {
    if (index < 0 || index >= GetMeterCount()) return E_INVALIDARG;
    const Meter& meter = meters[static_cast<std::size_t>(index)];
    *measure = meter.measure;
    *top = meter.top;
    *bottomPower = meter.power;
    return S_OK;
  }

  HRESULT ConvertMfxTime(MfxTime* time, int newFormat) override {
    if (time->format == kMfxTicks && newFormat == kMfxFrames) {
      time->frames = static_cast<LONGLONG>(Seconds(time->ticks) * rate + 0.5);
    } else if (time->format == kMfxFrames && newFormat == kMfxTicks) {
      const double seconds = static_cast<double>(time->frames) / rate;
      time->frames = 0;
      time->ticks = TickAt(seconds);
    }
    time->format = newFormat;
    return S_OK;
  }

  double Seconds(LONG ticks) const {
    double seconds = 0;
    for (std::size_t i = 0; i < tempos.size(); ++i) {
      const bool last = i + 1 == tempos.size() || tempos[i + 1].tick >= ticks;
      const LONG end = last ? ticks : tempos[i + 1].tick;
      seconds += (end - tempos[i].tick) * 60.0 * 100 / tempos[i].bpm100 / kTicksPerQuarter;
      if (last) break;
    }
    return seconds;
  }

  static constexpr int kTicksPerQuarter = 480;
  std::vector<Tempo> tempos;
  std::vector<Meter> meters;
  double rate;
  bool hasTempo = true, hasMeter = true;
  std::atomic<ULONG> references{0};

 private:
  static LONG MeasureTicks(const Meter& meter) { return meter.top * 4 * kTicksPerQuarter / (1 << meter.power); }
  LONG TickAt(double seconds) const {
    // The last tick not after the time, with a hair of room for the division.
    for (std::size_t i = tempos.size(); i-- > 0;) {
      const double from = Seconds(tempos[i].tick);
      if (seconds + 1e-9 < from && i != 0) continue;
      return tempos[i].tick + static_cast<LONG>((seconds - from) * tempos[i].bpm100 / 6000.0 * kTicksPerQuarter + 1e-6);
    }
    return 0;
  }
};

}  // namespace korva
