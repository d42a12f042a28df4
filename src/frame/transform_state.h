#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

#include "audio/format_record.h"
#include "platform/locks.h"
#include "platform/platform.h"
#include "platform/wave_format.h"

namespace korva {

/// Codes of a change notice.
inline constexpr WORD kNoticeValueOrInput = 0;  ///< a value changed through `IMediaParams`, or the input's type was set
inline constexpr WORD kNoticeOutput = 1;        ///< the output's type was set
inline constexpr WORD kNoticeState = 100;       ///< state was loaded or a preset applied

/// What every Transform object holds beside its values and its engine: the lock between the audio thread's snapshot and
/// the notice slots, the flags that carry a change, the windows to tell, the formats of the pins.
///
/// The flags are relaxed atomics: a reader sees the old word or the new one. Whoever changes a value stores it first
/// and raises the flag after.
class TransformState {
 public:
  /// Registers `window`, or takes it out with an `id` of 0. `E_OUTOFMEMORY` when both slots are taken by others.
  HRESULT SetNotifyWindow(HWND window, LONG id);
  /// Posts the notice `code` to the registered windows; a window that is gone leaves its slot.
  void NotifyWindows(WORD code);

  /// The plain record of a pin, 18 bytes; `VFW_E_NOT_CONNECTED` while there is none.
  HRESULT GetFormat(WAVEFORMATEX* format, int pin = 0);
  /// The frames per second of the input; without one 44100 and `E_FAIL`.
  HRESULT InputRate(DWORD* rate);
  /// Makes the record known, or with null forgotten.
  void SetFormat(int pin, const FormatRecord* format);

  HRESULT SetReserved(LONG value);
  HRESULT GetReserved(LONG* value);
  /// Takes and leaves the lock.
  HRESULT TakeAndLeaveLock();
  /// Writes 0.
  HRESULT ReadZero(LONG* value);

  /// A value changed: the engine is to look, the record is to be saved.
  void MarkChanged() noexcept {
    paramsChanged.store(1, std::memory_order_relaxed);
    stateDirty.store(1, std::memory_order_relaxed);
  }
  /// Takes the flag: whether something changed since it was last taken.
  bool TakeChanged() noexcept { return paramsChanged.exchange(0, std::memory_order_relaxed) != 0; }

  platform::RecursiveLock engineLock;
  std::atomic<std::uint32_t> paramsChanged{1};
  std::atomic<std::uint32_t> stateDirty{0};

 private:
  struct NoticeSlot {
    HWND window = nullptr;
    LONG id = 0;
  };

  std::array<NoticeSlot, 2> noticeSlots_;
  std::array<FormatRecord, 2> formats_{};
  std::array<bool, 2> hasFormat_{};
  LONG reserved_ = 0;
};

}  // namespace korva
