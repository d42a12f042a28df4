#include "live/live_tempo.h"

#include <algorithm>
#include <cmath>

#include "audio/narrow.h"

namespace korva {

bool LiveTempo::Set(double bpm, std::int32_t top, std::int32_t bottom) noexcept {
  if (!(bpm >= kLeastBpm && bpm <= kMostBpm) || !IsMeter(top, bottom)) return false;
  meter_.store(top << 8 | std::countr_zero(static_cast<std::uint32_t>(bottom)), std::memory_order_relaxed);
  bpm100_.store(Truncate<std::int32_t>(bpm * 100 + 0.5), std::memory_order_relaxed);
  return true;
}

HRESULT LiveTempo::QueryInterface(REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (iid == InterfaceId<IUnknown>() || iid == InterfaceId<IMfxTempoMap>()) *out = static_cast<IMfxTempoMap*>(this);
  if (iid == InterfaceId<IMfxMeterMap>()) *out = static_cast<IMfxMeterMap*>(this);
  return *out != nullptr ? S_OK : E_NOINTERFACE;
}

double LiveTempo::TicksPerMsec() const noexcept {
  return bpm100_.load(std::memory_order_relaxed) / 100.0 * kTicksPerQuarter / 6e4;
}

LONG LiveTempo::TicksPerBeat() const noexcept {
  return kTicksPerQuarter * 4 >> (meter_.load(std::memory_order_relaxed) & 0xFF);
}

LONG LiveTempo::TicksToMsecs(LONG ticks) {
  return Truncate<LONG>(std::floor(ticks / TicksPerMsec() + 0.5));
}

LONG LiveTempo::MsecsToTicks(LONG milliseconds) {
  return Truncate<LONG>(std::floor(milliseconds * TicksPerMsec() + 0.5));
}

HRESULT LiveTempo::GetTempoAt(int index, LONG* ticks, int* bpm100) {
  if (ticks == nullptr || bpm100 == nullptr) return E_POINTER;
  if (index != 0) return E_INVALIDARG;
  *ticks = 0;
  *bpm100 = bpm100_.load(std::memory_order_relaxed);
  return S_OK;
}

HRESULT LiveTempo::TicksToMBT(LONG time, int* measure, int* beat, int* ticks) {
  if (measure == nullptr || beat == nullptr || ticks == nullptr) return E_POINTER;
  const LONG length = TicksPerBeat(), beats = meter_.load(std::memory_order_relaxed) >> 8;
  const LONG since = std::max<LONG>(time, 0);
  *measure = since / (length * beats) + 1;
  *beat = since / length % beats + 1;
  *ticks = since % length;
  return S_OK;
}

LONG LiveTempo::MBTToTicks(int measure, int beat, int ticks) {
  const std::int64_t beats = std::int64_t{measure - 1} * (meter_.load(std::memory_order_relaxed) >> 8) + beat - 1;
  return Truncate<LONG>(static_cast<double>(beats * TicksPerBeat() + ticks));
}

HRESULT LiveTempo::GetMeterAt(int index, int* measure, int* top, int* bottomPower) {
  if (measure == nullptr || top == nullptr || bottomPower == nullptr) return E_POINTER;
  if (index != 0) return E_INVALIDARG;
  const std::int32_t meter = meter_.load(std::memory_order_relaxed);
  *measure = 1;
  *top = meter >> 8;
  *bottomPower = meter & 0xFF;
  return S_OK;
}

}  // namespace korva
