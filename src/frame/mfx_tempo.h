#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "audio/tempo_info.h"
#include "platform/locks.h"
#include "platform/tempo_host.h"
#include "streaming/com_ptr.h"

namespace korva {

/// Lets an effect follow the tempo and meter of a host's song: keeps a frame position in step with it and cuts chunks
/// at its changes. Without a host it is inert.
///
/// `tempoLock` guards everything but `HasTempo`. The host's maps are called under it, so a map must not call back.
class CMFXTempo : public IMfxSoftSynth {
 public:
  CMFXTempo() = default;
  CMFXTempo(const CMFXTempo&) = delete;
  CMFXTempo& operator=(const CMFXTempo&) = delete;

  HRESULT Connect(IUnknown* host) override;
  HRESULT Disconnect() override;
  HRESULT OnStart(LONG tick) override;
  HRESULT OnLoop(LONG fromTick, LONG toTick) override;
  HRESULT OnStop(LONG tick) override;
  HRESULT OnEvents(LONG, LONG, DWORD, void*) override { return E_NOTIMPL; }
  HRESULT OnInput(DWORD, void*) override { return E_NOTIMPL; }
  HRESULT BankQuery1(void*, void*) override { return E_NOTIMPL; }
  HRESULT BankQuery2(int, int) override { return E_NOTIMPL; }
  HRESULT BankQuery3(int, int) override { return E_NOTIMPL; }
  HRESULT BankQuery4(int, void*) override { return E_NOTIMPL; }
  HRESULT BankQuery5(int, int, void*) override { return E_NOTIMPL; }
  HRESULT BankQuery6(void*) override { return E_NOTIMPL; }
  HRESULT BankQuery7(void*) override { return E_NOTIMPL; }
  HRESULT BankQuery8(void*) override { return E_NOTIMPL; }

  /// Whether the host has given both a tempo map and a meter map.
  bool HasTempo() const noexcept { return hasMaps_.load(std::memory_order_relaxed); }
  /// Fills `info` for the next chunk and moves the position over it. Returns the chunk's frames, at most `frames`: it
  /// ends before the next change of tempo or meter.
  std::uint32_t AdvanceTempo(std::uint32_t frames, std::uint32_t reserved, TempoInfo& info);
  /// Moves the position over frames that `AdvanceTempo` has not seen.
  void SkipFrames(std::int64_t frames);

 protected:
  virtual ~CMFXTempo() = default;

 private:
  /// A change that the last chunk ended at: the map need not be searched for it.
  struct PendingChange {
    bool set = false;
    int index = 0;
    std::int64_t frame = 0;
  };

  /// The stream's rate, asked before the lock is taken: the Transform has a lock of its own for it.
  double AskRate();
  std::int64_t TicksToFrames(LONG tick);
  LONG FramesToTicks(std::int64_t frames);
  void TakeTempo(int index, TempoInfo& info);
  void TakeMeter(int index, TempoInfo& info);
  template <class IndexAt, class FrameAt, class Take>
  void FollowMap(int count, PendingChange& pending, std::int64_t here, std::int64_t& end, IndexAt&& indexAt,
                 FrameAt&& frameAt, Take&& take);

  platform::Lock tempoLock_;
  std::atomic<bool> hasMaps_{false};  // a stream with no song takes no lock for it
  bool connected_ = false, running_ = false, firstChunk_ = true;
  double rate_ = 0;  // frames per second, as of the call under way
  std::int64_t position_ = 0;
  // Where the song last jumped. Only the sum of the jumps is read; the ends belong to what is known of the song.
  std::int64_t loopFrom_ = 0, loopTo_ = 0, loopOffset_ = 0;
  LONG loopFromTick_ = 0, loopToTick_ = 0;
  double bpm_ = 120.0;
  std::int32_t numerator_ = 4, denominator_ = 4;
  PendingChange pendingTempo_, pendingMeter_;
  LONG ticksPerQuarter_ = 1;
  ComPtr<IMfxTempoMap> tempoMap_;
  ComPtr<IMfxMeterMap> meterMap_;
  ComPtr<IMfxTimeConverter> timeConverter_;
  ComPtr<IMfxPreciseTempo> preciseTempo_;
};

}  // namespace korva
