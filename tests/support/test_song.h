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
    return LastNotAfter(tempos, ticks, [](const Tempo& tempo) { return tempo.tick; });
  }
  int GetTempoCount() override { return static_cast<int>(tempos.size()); }
  HRESULT GetTempoAt(int index, LONG* ticks, int* bpm100) override {
    if (index < 0 || index >= GetTempoCount()) return E_INVALIDARG;
    const Tempo& tempo = tempos[static_cast<std::size_t>(index)];
    *ticks = tempo.tick;
    *bpm100 = tempo.bpm100;
    return S_OK;
  }

  HRESULT TicksToMBT(LONG, int*, int*, int*) override { return E_NOTIMPL; }
  LONG MBTToTicks(int measure, int, int) override {
    LONG tick = 0;
    for (std::size_t i = 0; i < meters.size() && meters[i].measure < measure; ++i) {
      const int last = i + 1 < meters.size() ? std::min(measure, meters[i + 1].measure) : measure;
      tick += (last - meters[i].measure) * (meters[i].top * 4 * kTicksPerQuarter >> meters[i].power);
    }
    return tick;
  }
  int GetMeterIndexForTime(LONG ticks) override {
    return LastNotAfter(meters, ticks, [this](const Meter& meter) { return MBTToTicks(meter.measure, 1, 0); });
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

  static constexpr int kTicksPerQuarter = 480;
  std::vector<Tempo> tempos;
  std::vector<Meter> meters;
  double rate;
  bool hasTempo = true, hasMeter = true;
  std::atomic<ULONG> references{0};

 private:
  template <class Changes, class TickOf>
  static int LastNotAfter(const Changes& changes, LONG ticks, TickOf&& tickOf) {
    std::size_t index = 0;
    while (index + 1 < changes.size() && tickOf(changes[index + 1]) <= ticks) ++index;
    return static_cast<int>(index);
  }
  static double SecondsOf(LONG ticks, const Tempo& tempo) {
    return ticks * 60.0 * 100 / tempo.bpm100 / kTicksPerQuarter;
  }
  double Seconds(LONG ticks) const {
    double seconds = 0;
    std::size_t i = 0;
    for (; i + 1 < tempos.size() && tempos[i + 1].tick < ticks; ++i) {
      seconds += SecondsOf(tempos[i + 1].tick - tempos[i].tick, tempos[i]);
    }
    return seconds + SecondsOf(ticks - tempos[i].tick, tempos[i]);
  }
  LONG TickAt(double seconds) const {
    // The last tick not after the time, with a hair of room for the division.
    std::size_t i = tempos.size() - 1;
    while (i != 0 && seconds + 1e-9 < Seconds(tempos[i].tick)) --i;
    const double since = seconds - Seconds(tempos[i].tick);
    return tempos[i].tick + static_cast<LONG>(since * tempos[i].bpm100 / 6000.0 * kTicksPerQuarter + 1e-6);
  }
};

}  // namespace korva
