#include <gtest/gtest.h>

#include <limits>

#include "frame/module_text.h"
#include "frame_rig.h"
#include "platform/services.h"
#include "platform/wide_text.h"
#include "qvkit/language.h"

namespace korva {
namespace {

using platform::ToUtf8;

TEST(MediaParams, AnswerWithTheirCodes) {
  BareStore store;
  MP_DATA value = 0;
  MP_PARAMINFO info{};
  WCHAR* text = nullptr;
  DWORD count = 0;
  GUID guid{1, 2, 3, {}};
  MP_TIMEDATA data = 9;
  auto segment = Segment(0, 1000, 1, 2);
  const struct {
    const char* what;
    HRESULT actual, expected;
  } rows[] = {
      {"info", store.GetParamInfo(15, &info), S_OK},
      {"info past the last", store.GetParamInfo(16, &info), E_INVALIDARG},
      {"text past the last", store.GetParamText(16, &text), E_INVALIDARG},
      {"value", store.GetParam(15, &value), S_OK},
      {"value past the last", store.GetParam(16, &value), E_INVALIDARG},
      {"value of all", store.GetParam(0xFFFFFFFF, &value), E_INVALIDARG},
      {"set past the last", store.SetParam(16, 1), E_INVALIDARG},
      {"set to not a number", store.SetParam(kChorusModDepth, std::numeric_limits<float>::quiet_NaN()), E_INVALIDARG},
      {"set below", store.SetParam(kChorusModDepth, 0.99F), E_INVALIDARG},
      {"set above", store.SetParam(kChorusModDepth, 100.1F), E_INVALIDARG},
      {"set to the same", store.SetParam(kChorusModDepth, 50), S_FALSE},
      {"set", store.SetParam(kChorusModDepth, 60), S_OK},
      {"add", store.AddEnvelope(15, 1, &segment), S_OK},
      {"add, null", store.AddEnvelope(0, 1, nullptr), E_POINTER},
      {"add none", store.AddEnvelope(0, 0, &segment), E_INVALIDARG},
      {"add to all", store.AddEnvelope(0xFFFFFFFF, 1, &segment), E_INVALIDARG},
      {"flush past the last", store.FlushEnvelope(16, 0, 1), E_INVALIDARG},
      {"flush all", store.FlushEnvelope(0xFFFFFFFF, 0, 1), S_OK},
      {"time formats", store.GetNumTimeFormats(&count), S_OK},
      {"time format 1", store.GetSupportedTimeFormat(1, &guid), S_OK},
      {"time format 2", store.GetSupportedTimeFormat(2, &guid), E_INVALIDARG},
      {"the one format", store.SetTimeFormat(GUID_TIME_REFERENCE, 0), E_FAIL},
      {"any other", store.SetTimeFormat(GUID{5, 0, 0, {}}, 77), S_OK},
      {"current format", store.GetCurrentTimeFormat(&guid, &data), S_OK},
  };
  for (const auto& row : rows) EXPECT_EQ(row.actual, row.expected) << row.what;
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(guid.Data1, 5U);
  EXPECT_EQ(data, 0U);
}

TEST(MediaParams, AutomationOwnsTheValueInsideASegmentOfARunningStream) {
  BareStore store;
  store.StartTime(48000);
  auto segment = Segment(0, 1000, 10, 10, MP_CURVE_JUMP);
  store.AddEnvelope(kChorusModDepth, 1, &segment);
  const auto codes = [&] {
    return std::to_string(store.IsFree(kChorusModDepth)) + std::to_string(store.SetParam(kChorusModDepth, 20) == S_OK) +
           std::to_string(store.SetParam(kChorusModDepth, 1000) == E_INVALIDARG);
  };
  EXPECT_EQ(codes(), "111");
  store.SetStreaming(true);
  EXPECT_EQ(codes(), "101");  // no time was evaluated yet, and 20 is set already
  store.NextChunk(1, nullptr, 1.0);
  EXPECT_EQ(codes(), "000");  // the segment's answer comes before the range's
  EXPECT_EQ(store.Value(kChorusModDepth), 10);
  // The page's own road is open, and the next chunk takes the value back.
  EXPECT_TRUE(store.WriteOne(kChorusModDepth, 30));
  EXPECT_EQ(store.Value(kChorusModDepth), 30);
  store.NextChunk(1, nullptr, 1.0);
  EXPECT_EQ(store.Value(kChorusModDepth), 10);
  // Unless the page holds it.
  store.BeginEdit(kChorusModDepth);
  store.WriteOne(kChorusModDepth, 30);
  store.NextChunk(1, nullptr, 1.0);
  EXPECT_EQ(store.Value(kChorusModDepth), 30);
  store.EndEdit(kChorusModDepth);
  store.SetHostTime(0);
  std::uint32_t flags = 0;
  store.NextChunk(1, &flags, 1.0);
  EXPECT_EQ(flags, 1U);
  EXPECT_EQ(store.Value(kChorusModDepth), 10);
  // Outside of every segment a release is told too.
  store.BeginEdit(kChorusModDepth);
  store.EndEdit(kChorusModDepth);
  store.SetHostTime(5000);
  flags = 0;
  store.NextChunk(1, &flags, 1.0);
  EXPECT_EQ(flags, 1U);
  store.SetStreaming(false);
  store.LeaveSegments();
  EXPECT_EQ(codes(), "111");
}

TEST(MediaParams, TextsComeInTheLanguageInForce) {
  BareStore store;
  const struct {
    DWORD row, locale;
    const char* begins;  // with a bar where a text ends
    int count;
  } rows[] = {
      {kChorusModRate, 1033, "Modulation Rate|Hz|", 2},
      {kChorusSize, 1033, "Chorus Size||", 2},
      {kChorusModPeriodNote, 1033, "Modulation Period||64th Note Triplet|64th Note|", 21},
      {kChorusModRate, 1031, "Modulationsrate|Hz|", 2},
  };
  for (const auto& row : rows) {
    QvLang_UpdateLCID(ModuleLanguage(), row.locale, 0, 0);
    WCHAR* text = nullptr;
    ASSERT_EQ(store.GetParamText(row.row, &text), S_OK);
    std::string parts;
    int count = 0;
    for (const WCHAR* at = text; count < 2 || *at != 0; ++count) {
      parts += ToUtf8(at) + '|';
      while (*at++ != 0) {
      }
    }
    platform::FreeTaskMemory(text);
    EXPECT_EQ(count, row.count) << parts;
    EXPECT_TRUE(parts.starts_with(row.begins)) << parts;
  }
  QvLang_UpdateLCID(ModuleLanguage(), 1033, 0, 0);
}

}  // namespace
}  // namespace korva
