#pragma once

#include <atomic>
#include <bit>
#include <cstdint>

#include "platform/tempo_host.h"

namespace korva {

/// A host's tempo and meter of the moment, as the map of one entry that effects ask for. They find a change at their
/// next chunk. Any thread may set it; it belongs to whoever holds it and is not counted.
class LiveTempo final : public IMfxTempoMap, public IMfxMeterMap {
 public:
  virtual ~LiveTempo() = default;

  static constexpr double kLeastBpm = 1, kMostBpm = 1000;
  static constexpr std::int32_t kMostBeats = 64;
  /// Whether a song may have the meter `top` over `bottom`: each up to the most, and `bottom` a power of 2.
  static constexpr bool IsMeter(std::int64_t top, std::int64_t bottom) noexcept {
    return top >= 1 && top <= kMostBeats && bottom >= 1 && bottom <= kMostBeats &&
           std::has_single_bit(static_cast<std::uint64_t>(bottom));
  }

  /// `bpm` in quarter notes a minute, of which hundredths count. False, and nothing changed, for what cannot be.
  [[nodiscard]] bool Set(double bpm, std::int32_t top, std::int32_t bottom) noexcept;
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
