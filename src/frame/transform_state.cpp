#include "frame/transform_state.h"

#include <cstring>

#include "platform/services.h"

namespace korva {

HRESULT TransformState::SetNotifyWindow(HWND window, LONG id) {
  const std::lock_guard guard(engineLock);
  NoticeSlot* found = nullptr;
  for (NoticeSlot& slot : noticeSlots_) {
    if (slot.window == nullptr) found = &slot;
  }
  for (NoticeSlot& slot : noticeSlots_) {
    if (window != nullptr && slot.window == window) found = &slot;
  }
  if (found == nullptr) return id != 0 ? E_OUTOFMEMORY : S_OK;
  found->id = id;
  found->window = id != 0 ? window : nullptr;
  return S_OK;
}

void TransformState::NotifyWindows(WORD code) {
  const std::lock_guard guard(engineLock);
  for (NoticeSlot& slot : noticeSlots_) {
    if (slot.window == nullptr) continue;
    if (platform::IsWindow(slot.window)) {
      platform::PostCommand(slot.window, platform::MakeCommand(static_cast<WORD>(slot.id), code));
    } else {
      slot.window = nullptr;
    }
  }
}

HRESULT TransformState::GetFormat(WAVEFORMATEX* format, int pin) {
  if (format == nullptr) return E_POINTER;
  const std::lock_guard guard(engineLock);
  if (pin < 0 || pin > 1 || !hasFormat_[static_cast<std::size_t>(pin)]) return VFW_E_NOT_CONNECTED;
  std::memcpy(format, &formats_[static_cast<std::size_t>(pin)], sizeof(FormatRecord));
  return S_OK;
}

HRESULT TransformState::InputRate(DWORD* rate) {
  if (rate == nullptr) return E_POINTER;
  const std::lock_guard guard(engineLock);
  *rate = hasFormat_[0] ? formats_[0].samplesPerSecond : 44100;
  return hasFormat_[0] ? S_OK : E_FAIL;
}

void TransformState::SetFormat(int pin, const FormatRecord* format) {
  const std::lock_guard guard(engineLock);
  const auto at = static_cast<std::size_t>(pin);
  hasFormat_[at] = format != nullptr;
  if (format != nullptr) formats_[at] = *format;
}

HRESULT TransformState::SetReserved(LONG value) {
  const std::lock_guard guard(engineLock);
  reserved_ = value;
  return S_OK;
}

HRESULT TransformState::GetReserved(LONG* value) {
  if (value == nullptr) return E_POINTER;
  const std::lock_guard guard(engineLock);
  *value = reserved_;
  return S_OK;
}

HRESULT TransformState::TakeAndLeaveLock() {
  const std::lock_guard guard(engineLock);
  return S_OK;
}

HRESULT TransformState::ReadZero(LONG* value) {
  if (value == nullptr) return E_POINTER;
  const std::lock_guard guard(engineLock);
  *value = 0;
  return S_OK;
}

}  // namespace korva
