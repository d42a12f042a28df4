#pragma once

#include <gtest/gtest.h>

#include <string>

#include "chorus/chorus_filter.h"
#include "frame/plugin_params.h"
#include "platform/notice_window.h"
#include "support/owned.h"
#include "support/test_graph.h"

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
