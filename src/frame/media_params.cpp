// The published media-parameter interfaces of the store.

#include "frame/module_text.h"
#include "frame/plugin_params.h"
#include "platform/services.h"
#include "streaming/wide_text.h"

namespace korva {
namespace {

const WCHAR* RowText(std::int32_t id) noexcept {
  return id < 0 ? KORVA_WTEXT("") : ModuleText(id);
}

}  // namespace

HRESULT CQvPlugInParams::GetParamCount(DWORD* count) {
  if (count == nullptr) return E_POINTER;
  *count = static_cast<DWORD>(rows_.size());
  return S_OK;
}

HRESULT CQvPlugInParams::GetParamInfo(DWORD index, MP_PARAMINFO* info) {
  if (info == nullptr) return E_POINTER;
  if (!HasRow(index)) return E_INVALIDARG;
  const ParamDescriptor& row = rows_[index];
  if (row.hidden != 0) return S_FALSE;
  MP_PARAMINFO filled = row.info;
  if (row.useStrings != 0) {
    CopyText(filled.szLabel, RowText(row.labelId));
    CopyText(filled.szUnitText, RowText(row.unitId));
  }
  *info = filled;
  return S_OK;
}

HRESULT CQvPlugInParams::GetParamText(DWORD index, WCHAR** text) {
  if (text == nullptr) return E_POINTER;
  *text = nullptr;
  if (!HasRow(index)) return E_INVALIDARG;
  const ParamDescriptor& row = rows_[index];
  const WCHAR* const label = RowText(row.labelId);
  const WCHAR* const unit = RowText(row.unitId);
  const WCHAR* const choices = RowText(row.enumId);
  // Label and unit keep their places even when empty; a row with no choices has no third text.
  const std::size_t choicesLength = TextLength(choices);
  const std::size_t size =
      TextLength(label) + 1 + TextLength(unit) + 1 + (choicesLength != 0 ? choicesLength + 1 : 0) + 1;
  auto* const memory = static_cast<WCHAR*>(platform::AllocateTaskMemory(size * sizeof(WCHAR)));
  if (memory == nullptr) return E_OUTOFMEMORY;
  WCHAR* at = memory;
  const auto append = [&at](const WCHAR* part) {
    do {
      *at++ = *part;
    } while (*part++ != 0);
  };
  append(label);
  append(unit);
  if (choicesLength != 0) {
    WCHAR* const first = at;
    append(choices);
    for (WCHAR* c = first; c != at; ++c) {
      if (*c == WCHAR{','}) *c = 0;
    }
  }
  *at = 0;
  *text = memory;
  return S_OK;
}

HRESULT CQvPlugInParams::GetNumTimeFormats(DWORD* count) {
  if (count == nullptr) return E_POINTER;
  *count = 1;
  return S_OK;
}

HRESULT CQvPlugInParams::GetSupportedTimeFormat(DWORD index, GUID* format) {
  if (format == nullptr) return E_POINTER;
  // Index 1 is answered too, one past the count: kept on purpose.
  if (index > 1) return E_INVALIDARG;
  *format = GUID_TIME_REFERENCE;
  return S_OK;
}

HRESULT CQvPlugInParams::GetCurrentTimeFormat(GUID* format, MP_TIMEDATA* timeData) {
  if (format == nullptr || timeData == nullptr) return E_POINTER;
  const std::lock_guard guard(paramLock_);
  *format = timeFormat_;
  *timeData = timeData_;
  return S_OK;
}

HRESULT CQvPlugInParams::GetParam(DWORD index, MP_DATA* value) {
  if (value == nullptr) return E_POINTER;
  if (!HasRow(index)) return E_INVALIDARG;
  const std::lock_guard guard(paramLock_);
  *value = envelopes_[index].value;
  return S_OK;
}

HRESULT CQvPlugInParams::SetParam(DWORD index, MP_DATA value) {
  if (!HasRow(index)) return E_INVALIDARG;
  const MP_PARAMINFO& info = rows_[index].info;
  const std::lock_guard guard(paramLock_);
  Envelope& envelope = envelopes_[index];
  if (streaming_ && envelope.inSegment) return S_FALSE;
  if (!(value >= info.mpdMinValue && value <= info.mpdMaxValue)) return E_INVALIDARG;
  if (envelope.value == value) return S_FALSE;
  envelope.value = value;
  CountWrite();
  return S_OK;
}

HRESULT CQvPlugInParams::AddEnvelope(DWORD index, DWORD count, MP_ENVELOPE_SEGMENT* segments) {
  if (segments == nullptr) return E_POINTER;
  if (!HasRow(index) || count == 0) return E_INVALIDARG;
  const std::lock_guard edit(editLock_);
  return envelopes_[index].Add(segments, count, paramLock_);
}

HRESULT CQvPlugInParams::FlushEnvelope(DWORD index, REFERENCE_TIME start, REFERENCE_TIME end) {
  if (index != kAllParams && !HasRow(index)) return E_INVALIDARG;
  const std::lock_guard edit(editLock_);
  const std::lock_guard guard(paramLock_);
  for (std::size_t row = 0; row < rows_.size(); ++row) {
    if (index == kAllParams || index == row) envelopes_[row].Flush(start, end);
  }
  return S_OK;
}

HRESULT CQvPlugInParams::SetTimeFormat(GUID format, MP_TIMEDATA) {
  const std::lock_guard guard(paramLock_);
  // The one format that is used is the one that is not stored: times are always in units of 100 ns.
  if (format == GUID_TIME_REFERENCE) return E_FAIL;
  timeFormat_ = format;
  timeData_ = 0;
  return S_OK;
}

HRESULT CQvPlugInParams::SetUICallback(IMediaParamsUICallback* callback) {
  if (callback != nullptr) callback->AddRef();
  if (callback_ != nullptr) callback_->Release();
  callback_ = callback;
  return S_OK;
}

}  // namespace korva
