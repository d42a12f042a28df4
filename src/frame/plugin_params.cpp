#include "frame/plugin_params.h"

#include <algorithm>

#include "audio/narrow.h"
#include "audio/wrapping.h"
#include "frame/row_values.h"

namespace korva {

CQvPlugInParams::CQvPlugInParams(std::span<const ParamDescriptor> rows) noexcept
    : rows_(rows), timeFormat_(GUID_TIME_REFERENCE) {
  for (std::size_t row = 0; row < rows_.size(); ++row) envelopes_[row].value = rows_[row].info.mpdNeutralValue;
}

CQvPlugInParams::~CQvPlugInParams() {
  if (callback_ != nullptr) callback_->Release();
}

std::int32_t CQvPlugInParams::ReadOne(std::size_t row) {
  const std::lock_guard guard(paramLock_);
  return ToBlockUnits(rows_[row], envelopes_[row].value);
}

void CQvPlugInParams::ReadAll(void* block) {
  const std::lock_guard guard(paramLock_);
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    StoreField(rows_[row], block, ToBlockUnits(rows_[row], envelopes_[row].value));
  }
}

void CQvPlugInParams::WriteAll(const void* block) {
  for (std::size_t row = 0; row < rows_.size(); ++row) BeginEdit(row);
  for (std::size_t row = 0; row < rows_.size(); ++row) WriteOne(row, LoadField(rows_[row], block));
  for (std::size_t row = 0; row < rows_.size(); ++row) EndEdit(row);
}

bool CQvPlugInParams::WriteOne(std::size_t row, std::int32_t value) {
  const MP_PARAMINFO& info = rows_[row].info;
  bool same = false, captured = false;
  MP_DATA stored = 0;
  {
    const std::lock_guard guard(paramLock_);
    Envelope& envelope = envelopes_[row];
    const float old = envelope.value;
    stored = std::clamp(ToTableUnits(rows_[row], value), info.mpdMinValue, info.mpdMaxValue);
    envelope.value = stored;
    same = stored == old;
    if (!same) CountWrite();
    captured = envelope.captured;
  }
  if (same) return false;
  if (!captured) TellBegin(row);
  TellChanged(row, stored);
  if (!captured) TellEnd(row);
  return true;
}

HRESULT CQvPlugInParams::BeginEdit(std::size_t row) {
  {
    const std::lock_guard guard(paramLock_);
    if (envelopes_[row].captured) return 1;
    envelopes_[row].captured = true;
  }
  TellBegin(row);
  return 0;
}

HRESULT CQvPlugInParams::EndEdit(std::size_t row) {
  {
    const std::lock_guard guard(paramLock_);
    if (!envelopes_[row].captured) return 1;
    envelopes_[row].captured = false;
    envelopes_[row].releasePending = true;
  }
  TellEnd(row);
  return 0;
}

HRESULT CQvPlugInParams::IsFree(std::size_t row) {
  const std::lock_guard guard(paramLock_);
  return streaming_ && envelopes_[row].inSegment ? 0 : 1;
}

void CQvPlugInParams::TellBegin(std::size_t row) {
  if (callback_ == nullptr) return;
  auto index = static_cast<DWORD>(row);
  callback_->ParamsBeginCapture(&index, 1);
}

void CQvPlugInParams::TellChanged(std::size_t row, MP_DATA value) {
  if (callback_ == nullptr) return;
  auto index = static_cast<DWORD>(row);
  callback_->ParamsChanged(&index, 1, &value);
}

void CQvPlugInParams::TellEnd(std::size_t row) {
  if (callback_ == nullptr) return;
  auto index = static_cast<DWORD>(row);
  callback_->ParamsEndCapture(&index, 1);
}

std::int64_t CQvPlugInParams::TicksOf(std::uint32_t frames) const noexcept {
  return Truncate<std::int64_t>(frames * ticksPerFrame_ + 0.5);
}

std::uint32_t CQvPlugInParams::NextChunk(std::uint32_t frames, std::uint32_t* flags, double scale) {
  const std::lock_guard guard(paramLock_);
  std::uint32_t changed = 0;
  std::uint32_t chunk = frames;
  // A rate may be so low that a frame takes longer than can be counted; time then goes round.
  const auto advance = [this](std::int64_t step) { hostTime_ = WrappingSum(hostTime_, step); };
  std::int64_t limit = TicksOf(frames);
  const auto used = std::span(envelopes_).first(rows_.size());
  if (std::all_of(used.begin(), used.end(), [](const Envelope& envelope) { return envelope.empty(); })) {
    for (std::size_t row = 0; row < rows_.size(); ++row) {
      if (envelopes_[row].ComeToRest()) changed |= rows_[row].changeBit;
    }
    advance(limit);
  } else {
    for (std::size_t row = 0; row < rows_.size(); ++row) {
      const MP_PARAMINFO& info = rows_[row].info;
      std::int64_t until = 0;
      const std::uint32_t result =
          envelopes_[row].Evaluate(hostTime_, scale, {info.mpdMinValue, info.mpdMaxValue}, until);
      if ((result & Envelope::kInside) != 0) limit = std::min(limit, until);
      if (result > Envelope::kInside) changed |= rows_[row].changeBit;
      if (result != 0) CountWrite();
    }
    const std::int64_t step = std::max(std::min(limit, kMaxChunkTime), TicksOf(1));
    advance(step);
    // Never nothing: at rates of more than one frame a tick a chunk could otherwise stand still for ever.
    chunk = std::max(Truncate<std::uint32_t>(static_cast<double>(step) * framesPerTick_ + 0.5), std::uint32_t{1});
  }
  if (flags != nullptr) *flags |= changed;
  return chunk;
}

void CQvPlugInParams::StartTime(std::uint32_t samplesPerSecond) {
  const std::lock_guard guard(paramLock_);
  ticksPerFrame_ = 10'000'000.0 / samplesPerSecond;
  framesPerTick_ = samplesPerSecond / 10'000'000.0;
}

void CQvPlugInParams::SetStreaming(bool on) {
  const std::lock_guard guard(paramLock_);
  streaming_ = on;
}

void CQvPlugInParams::LeaveSegments() {
  const std::lock_guard guard(paramLock_);
  for (Envelope& envelope : envelopes_) envelope.inSegment = false;
}

std::int64_t CQvPlugInParams::hostTime() {
  const std::lock_guard guard(paramLock_);
  return hostTime_;
}

std::int64_t CQvPlugInParams::HostSpan(std::uint32_t frames, std::int64_t& end) {
  const std::lock_guard guard(paramLock_);
  end = WrappingSum(hostTime_, TicksOf(frames));
  return hostTime_;
}

void CQvPlugInParams::SetHostTime(std::int64_t time) {
  const std::lock_guard guard(paramLock_);
  hostTime_ = time;
}

std::int64_t CQvPlugInParams::TimeOf(std::uint32_t frames) {
  const std::lock_guard guard(paramLock_);
  return TicksOf(frames);
}

}  // namespace korva
