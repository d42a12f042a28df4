#pragma once

#include <atomic>
#include <cstdint>

#include "platform/tempo_host.h"

namespace korva {

/// A host's tempo and meter of the moment, as the map of one entry that effects ask for. They find a change at their
/// next chunk. Any thread may set it; it belongs to whoever holds it and is not counted.
class LiveTempo final : public IMfxTempoMap, public IMfxMeterMap {
 public:
  virtual ~LiveTempo() = default;

  /// `bpm` in quarter notes a minute, of which hundredths count; the meter is `top` over 2 to the power of
  /// `bottomPower`.
  void Set(double bpm, std::int32_t top, std::int32_t bottomPower) noexcept;
  bool known() const noexcept { return bpm100_.load(std::memory_order_relaxed) != 0; }

  HRESULT QueryInterface(REFIID iid, void** out) override;
  ULONG AddRef() override { return 1; }
  ULONG Release() override { return 1; }

  LONG TicksToMsecs(LONG ticks) override;
  LONG MsecsToTicks(LONG milliseconds) override;
  int GetTicksPerQuarterNote() override { return kTicksPerQuarter; }
  int GetTempoIndexForTime(LONG) override { return 0; }
  int GetTempoCount() override { return 1; }
  HRESULT GetTempoAt(int index, LONG* ticks, int* bpm100) override;

  HRESULT TicksToMBT(LONG time, int* measure, int* beat, int* ticks) override;
  LONG MBTToTicks(int measure, int beat, int ticks) override;
  int GetMeterIndexForTime(LONG) override { return 0; }
  int GetMeterCount() override { return 1; }
  HRESULT GetMeterAt(int index, int* measure, int* top, int* bottomPower) override;

 private:
  static constexpr int kTicksPerQuarter = 960;

  double TicksPerMsec() const noexcept;
  LONG TicksPerBeat() const noexcept;

  std::atomic<std::int32_t> bpm100_{0};          // 0: no host has told any
  std::atomic<std::int32_t> meter_{4 << 8 | 2};  // top and power in one word, so that they change together
};

}  // namespace korva
