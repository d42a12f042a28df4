#include "frame/mfx_tempo.h"

#include <algorithm>
#include <utility>

#include "audio/narrow.h"
#include "audio/wrapping.h"

namespace korva {

HRESULT CMFXTempo::Connect(IUnknown* host) {
  if (host == nullptr) return E_POINTER;
  // A host that answers or goes may call back: it is asked, and let go, outside the lock.
  auto tempoMap = Query<IMfxTempoMap>(host);
  auto meterMap = Query<IMfxMeterMap>(host);
  auto timeConverter = Query<IMfxTimeConverter>(host);
  auto preciseTempo = Query<IMfxPreciseTempo>(host);
  {
    const std::lock_guard guard(tempoLock_);
    if (connected_) return E_UNEXPECTED;
    tempoMap_ = std::move(tempoMap);
    meterMap_ = std::move(meterMap);
    timeConverter_ = std::move(timeConverter);
    preciseTempo_ = std::move(preciseTempo);
    hasMaps_.store(tempoMap_ && meterMap_, std::memory_order_relaxed);
    connected_ = true;
  }
  // The host hands its reference over.
  host->Release();
  return S_OK;
}

HRESULT CMFXTempo::Disconnect() {
  ComPtr<IMfxTempoMap> tempoMap;
  ComPtr<IMfxMeterMap> meterMap;
  ComPtr<IMfxTimeConverter> timeConverter;
  ComPtr<IMfxPreciseTempo> preciseTempo;
  const std::lock_guard guard(tempoLock_);
  tempoMap = std::move(tempoMap_);
  meterMap = std::move(meterMap_);
  timeConverter = std::move(timeConverter_);
  preciseTempo = std::move(preciseTempo_);
  connected_ = false;
  hasMaps_.store(false, std::memory_order_relaxed);
  return S_OK;
}

HRESULT CMFXTempo::OnStart(LONG tick) {
  const double rate = AskRate();
  const std::lock_guard guard(tempoLock_);
  rate_ = rate;
  ticksPerQuarter_ = tempoMap_ ? tempoMap_->GetTicksPerQuarterNote() : 1;
  position_ = TicksToFrames(tick);
  loopFrom_ = loopTo_ = loopOffset_ = 0;
  loopFromTick_ = loopToTick_ = 0;
  running_ = true;
  firstChunk_ = true;
  bpm_ = 120.0;
  numerator_ = denominator_ = 4;
  pendingTempo_ = pendingMeter_ = PendingChange();
  return S_OK;
}

HRESULT CMFXTempo::OnLoop(LONG fromTick, LONG toTick) {
  const double rate = AskRate();
  const std::lock_guard guard(tempoLock_);
  rate_ = rate;
  loopFrom_ = TicksToFrames(fromTick);
  loopTo_ = TicksToFrames(toTick);
  loopFromTick_ = fromTick;
  loopToTick_ = toTick;
  loopOffset_ = WrappingSum(loopOffset_, WrappingDifference(loopTo_, loopFrom_));
  return S_OK;
}

HRESULT CMFXTempo::OnStop(LONG) {
  const std::lock_guard guard(tempoLock_);
  running_ = false;
  loopOffset_ = 0;
  pendingTempo_ = PendingChange();
  return S_OK;
}

void CMFXTempo::SkipFrames(std::int64_t frames) {
  const std::lock_guard guard(tempoLock_);
  position_ = WrappingSum(position_, frames);
}

double CMFXTempo::AskRate() {
  WAVEFORMATEX format{};
  GetFormat(&format);
  return format.nSamplesPerSec;
}

std::int64_t CMFXTempo::TicksToFrames(LONG tick) {
  if (timeConverter_) {
    MfxTime time{};
    time.format = kMfxTicks;
    time.ticks = tick;
    timeConverter_->ConvertMfxTime(&time, kMfxFrames);
    return time.frames;
  }
  if (!tempoMap_) return 0;
  return Truncate<std::int64_t>(rate_ / 1000 * tempoMap_->TicksToMsecs(tick) + 0.5);
}

LONG CMFXTempo::FramesToTicks(std::int64_t frames) {
  if (timeConverter_) {
    MfxTime time{};
    time.format = kMfxFrames;
    time.frames = frames;
    timeConverter_->ConvertMfxTime(&time, kMfxTicks);
    return time.ticks;
  }
  if (!tempoMap_) return 0;
  return tempoMap_->MsecsToTicks(Truncate<std::int32_t>(static_cast<double>(frames) * 1000 / rate_ + 0.5));
}

void CMFXTempo::TakeTempo(int index, TempoInfo& info) {
  LONG tick = 0;
  int bpm100 = 12000;
  tempoMap_->GetTempoAt(index, &tick, &bpm100);
  info.bpm = bpm100 / 100.0;
  info.flags |= kTempoValid;
}

void CMFXTempo::TakeMeter(int index, TempoInfo& info) {
  int measure = 1, top = 4, power = 2;
  meterMap_->GetMeterAt(index, &measure, &top, &power);
  info.numerator = top;
  info.denominator = 1 << std::clamp(power, 0, 30);
  info.flags |= kMeterValid;
}

/// Finds the change in force at `here` and the next one. One that is already due is taken; one strictly before `end`
/// shortens the chunk to it. Whatever number of changes a host claims, the look ahead ends at the first that it cannot
/// read, where `frameAt` gives false.
template <class IndexAt, class FrameAt, class Take>
void CMFXTempo::FollowMap(int count, PendingChange& pending, std::int64_t here, std::int64_t& end, IndexAt&& indexAt,
                          FrameAt&& frameAt, Take&& take) {
  // A pending change counts only where the last chunk really ended at it; the other map may have cut that chunk short.
  const bool reached = pending.set && pending.frame == here;
  int index = std::clamp(reached ? pending.index : indexAt(), 0, std::max(count - 1, 0));
  pending = PendingChange();
  take(index, false);
  // The map gave the last change before `here`, but for roundings, so few can be due.
  constexpr int kMostDue = 1000;
  count = index + std::min(count - index, kMostDue);
  for (++index; index < count; ++index) {
    std::int64_t frame = 0;
    if (!frameAt(index, frame)) return;
    if (frame <= here) {
      take(index, true);
      continue;
    }
    if (frame < end) {
      end = frame;
      pending = {true, index, frame};
    }
    return;
  }
}

std::uint32_t CMFXTempo::AdvanceTempo(std::uint32_t frames, std::uint32_t, TempoInfo& info) {
  const double rate = AskRate();
  const std::lock_guard guard(tempoLock_);
  rate_ = rate;
  info = TempoInfo();
  const std::int64_t here = WrappingDifference(position_, loopOffset_);
  std::int64_t end = WrappingSum(here, frames);
  const LONG tick = FramesToTicks(here);
  if (tempoMap_) {
    FollowMap(
        tempoMap_->GetTempoCount(), pendingTempo_, here, end, [&] { return tempoMap_->GetTempoIndexForTime(tick); },
        [&](int index, std::int64_t& frame) {
          LONG changeTick = 0;
          int bpm100 = 0;
          if (FAILED(tempoMap_->GetTempoAt(index, &changeTick, &bpm100))) return false;
          frame = TicksToFrames(changeTick);
          return true;
        },
        [&](int index, bool due) {
          TakeTempo(index, info);
          if (due || firstChunk_ || info.bpm != bpm_) info.flags |= kTempoChanged;
          bpm_ = info.bpm;
        });
  }
  if (meterMap_) {
    FollowMap(
        meterMap_->GetMeterCount(), pendingMeter_, here, end, [&] { return meterMap_->GetMeterIndexForTime(tick); },
        [&](int index, std::int64_t& frame) {
          int measure = 1, top = 4, power = 2;
          if (FAILED(meterMap_->GetMeterAt(index, &measure, &top, &power))) return false;
          frame = TicksToFrames(meterMap_->MBTToTicks(measure, 1, 0));
          return true;
        },
        [&](int index, bool due) {
          TakeMeter(index, info);
          if (due || firstChunk_ || info.numerator != numerator_ || info.denominator != denominator_) {
            info.flags |= kMeterChanged;
          }
          numerator_ = info.numerator;
          denominator_ = info.denominator;
        });
  }
  info.position = static_cast<double>(here);
  firstChunk_ = false;
  const std::int64_t chunk = WrappingDifference(end, here);
  position_ = WrappingSum(position_, chunk);
  return static_cast<std::uint32_t>(chunk);
}

}  // namespace korva
