#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <span>

#include "frame/effect_description.h"
#include "frame/envelope.h"
#include "platform/locks.h"
#include "platform/media_params.h"

namespace korva {

/// The parameter store of the effects that a host can automate: the values, each as a 32-bit float in display units,
/// with their envelopes, and the published media-parameter interfaces.
///
/// `paramLock` guards one value at a time, and the whole of `NextChunk`; new segments are merged outside of it, one
/// edit at a time under `editLock`, which is taken first and never by the audio thread. The host's callback is always
/// called after the lock is left, so it may call back. Any thread may call anything but `SetUICallback`, which must not
/// run while the callback it replaces is in use.
class CQvPlugInParams : public IMediaParamInfo, public IMediaParams, public IMediaParamsSetUICallback {
 public:
  /// Every value starts at its row's neutral value. `rows` outlives the object; see `AutomatedRows`.
  explicit CQvPlugInParams(std::span<const ParamDescriptor> rows) noexcept;
  CQvPlugInParams(const CQvPlugInParams&) = delete;
  CQvPlugInParams& operator=(const CQvPlugInParams&) = delete;

  HRESULT GetParamCount(DWORD* count) override;
  /// `E_INVALIDARG` for an index not below the count; `S_FALSE`, with nothing written, for a hidden row.
  HRESULT GetParamInfo(DWORD index, MP_PARAMINFO* info) override;
  /// Label, unit and enum texts one after the other in task memory, each ended by a null, the list by one more.
  HRESULT GetParamText(DWORD index, WCHAR** text) override;
  HRESULT GetNumTimeFormats(DWORD* count) override;
  HRESULT GetSupportedTimeFormat(DWORD index, GUID* format) override;
  HRESULT GetCurrentTimeFormat(GUID* format, MP_TIMEDATA* timeData) override;

  HRESULT GetParam(DWORD index, MP_DATA* value) override;
  /// 0 stored and changed; `S_FALSE` the same value, or a segment owns the value while streaming; `E_INVALIDARG` out of
  /// the row's range. The callback hears nothing.
  HRESULT SetParam(DWORD index, MP_DATA value) override;
  HRESULT AddEnvelope(DWORD index, DWORD count, MP_ENVELOPE_SEGMENT* segments) override;
  /// An index of all ones means every parameter.
  HRESULT FlushEnvelope(DWORD index, REFERENCE_TIME start, REFERENCE_TIME end) override;
  HRESULT SetTimeFormat(GUID format, MP_TIMEDATA timeData) override;

  HRESULT SetUICallback(IMediaParamsUICallback* callback) override;

  /// The values in block units, under one lock. `block` points to the effect's whole parameter block.
  void ReadAll(void* block);
  /// A number that is another one after a value was written.
  std::uint32_t writes() const noexcept { return writes_.load(std::memory_order_relaxed); }
  /// Every row between `BeginEdit` and `EndEdit`, so that a host records a preset as one capture.
  void WriteAll(const void* block);
  /// One value, in block units.
  std::int32_t ReadOne(std::size_t row);
  /// Converts, clamps to the row's range and stores; tells the callback of a changed value. Returns whether it changed.
  bool WriteOne(std::size_t row, std::int32_t value);
  /// 0 when newly captured or released, 1 when it already was or was not.
  HRESULT BeginEdit(std::size_t row);
  HRESULT EndEdit(std::size_t row);
  /// 1 unless, while streaming, a segment covers the parameter's last evaluated time.
  HRESULT IsFree(std::size_t row);

  /// The frames, at most about `frames` and at least 1, over which all values hold still, evaluated at the host's time,
  /// which moves on by them. Adds the change bits of rows that moved to `flags`. `frames` must not be 0.
  std::uint32_t NextChunk(std::uint32_t frames, std::uint32_t* flags, double scale);

  /// `samplesPerSecond` sets the relation of frames to time.
  void StartTime(std::uint32_t samplesPerSecond);
  void SetStreaming(bool on);
  /// Clears the in-segment marks, as a stop does.
  void LeaveSegments();
  /// In units of 100 ns.
  std::int64_t hostTime();
  /// The same, and in `end` where it stands after so many frames.
  std::int64_t HostSpan(std::uint32_t frames, std::int64_t& end);
  void SetHostTime(std::int64_t time);
  /// The time that `frames` take, rounded.
  std::int64_t TimeOf(std::uint32_t frames);

 protected:
  virtual ~CQvPlugInParams();

 private:
  static constexpr std::int64_t kMaxChunkTime = 200'000;  // 20 ms

  bool HasRow(DWORD index) const noexcept { return index < rows_.size(); }
  /// Under the lock: the time that `frames` take, rounded.
  std::int64_t TicksOf(std::uint32_t frames) const noexcept;
  /// Under the lock, after a value was stored.
  void CountWrite() noexcept { writes_.store(writes() + 1, std::memory_order_relaxed); }
  void TellBegin(std::size_t row);
  void TellChanged(std::size_t row, MP_DATA value);
  void TellEnd(std::size_t row);

  std::span<const ParamDescriptor> rows_;
  platform::Lock editLock_, paramLock_;
  std::array<Envelope, kMostAutomatedRows> envelopes_;
  std::atomic<std::uint32_t> writes_{0};
  GUID timeFormat_;
  MP_TIMEDATA timeData_ = 0;
  bool streaming_ = false;
  std::int64_t hostTime_ = 0;
  double framesPerTick_ = 0, ticksPerFrame_ = 0;
  IMediaParamsUICallback* callback_ = nullptr;
};

}  // namespace korva
