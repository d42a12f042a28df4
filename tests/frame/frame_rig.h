#pragma once

#include <gtest/gtest.h>

#include <string>

#include "chorus/chorus_filter.h"
#include "frame/plugin_params.h"
#include "platform/notice_window.h"
#include "support/owned.h"

namespace korva {

/// A parameter store with nothing around it, on the Chorus's rows.
class BareStore final : public CQvPlugInParams {
 public:
  BareStore() : CQvPlugInParams(kChorusEffect.rows) {}
  KORVA_STACK_UNKNOWN(IMediaParams, IMediaParamInfo, IMediaParamsSetUICallback);

  float Value(DWORD row) {
    MP_DATA value = 0;
    EXPECT_EQ(GetParam(row, &value), S_OK);
    return value;
  }
};

inline MP_ENVELOPE_SEGMENT Segment(REFERENCE_TIME start, REFERENCE_TIME end, float from, float to,
                                   MP_CURVE_TYPE curve = MP_CURVE_LINEAR) {
  return {start, end, from, to, curve, 0};
}

/// A host's callback that writes down what it hears: "begin 3, changed 3 = 50, end 3".
class ListeningHost final : public IMediaParamsUICallback {
 public:
  KORVA_STACK_UNKNOWN(IMediaParamsUICallback);
  HRESULT ParamsBeginCapture(DWORD* indices, DWORD count) override { return Note("begin ", indices, count); }
  HRESULT ParamsChanged(DWORD* indices, DWORD count, MP_DATA* values) override {
    Note("changed ", indices, count);
    heard.append("=").append(std::to_string(static_cast<int>(values[0] * 10)));
    // The store's lock is not held, so a host may call back.
    MP_DATA value = -1;
    if (store != nullptr && SUCCEEDED(store->GetParam(indices[0], &value))) {
      EXPECT_EQ(value, values[0]);
    }
    return E_FAIL;  // a callback's result is nobody's concern
  }
  HRESULT ParamsEndCapture(DWORD* indices, DWORD count) override { return Note("end ", indices, count); }

  std::string Take() { return std::exchange(heard, std::string()); }

  IMediaParams* store = nullptr;
  std::string heard;

 private:
  HRESULT Note(const char* what, const DWORD* indices, DWORD count) {
    EXPECT_EQ(count, 1U);
    heard.append(heard.empty() ? "" : ", ").append(what).append(std::to_string(indices[0]));
    return S_OK;
  }
};

/// What was posted to a window since the last look: "100/7 0/7" for codes 100 and 0 with the id 7.
inline std::string Notices(platform::NoticeWindow& window) {
  std::string posted;
  for (WPARAM command = 0; window.Take(command);) {
    posted.append(posted.empty() ? "" : " ").append(std::to_string(command >> 16)).append("/");
    posted.append(std::to_string(command & 0xFFFF));
  }
  return posted;
}

}  // namespace korva
