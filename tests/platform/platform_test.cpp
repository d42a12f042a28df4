#include "platform/platform.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <vector>

#include "platform/media.h"
#include "platform/media_params.h"
#include "platform/services.h"
#include "platform/tempo_host.h"
#include "platform/wide_text.h"

namespace korva::platform {
namespace {

// Where a virtual function stands in its table, read from what the compilers of both builds keep in a member pointer.
template <class Function>
std::size_t Slot(Function function) {
  std::size_t word = 0;
  std::memcpy(&word, &function, sizeof(word));
  return (word - 1) / sizeof(void*);
}

// Both builds run it: the cross build proves the table against the system's own headers, and the native one that its
// declarations are the same.
TEST(Platform, PublishedRecordsAndInterfacesHaveTheirLayout) {
#define SIZE(type) #type, sizeof(type)
#define AT(type, field) #type "." #field, offsetof(type, field)
#define SLOT(interface, operation) #interface "::" #operation, Slot(&interface::operation)
  const struct {
    const char* what;
    std::size_t actual, expected;
  } rows[] = {{SIZE(WCHAR), 2},
              {SIZE(AM_MEDIA_TYPE), 88},
              {AT(AM_MEDIA_TYPE, pbFormat), 80},
              {SIZE(PIN_INFO), 272},
              {AT(FILTER_INFO, pGraph), 256},
              {SIZE(AM_SAMPLE2_PROPERTIES), 64},
              {AT(Quality, TimeStamp), 16},
              {SIZE(WAVEFORMATEX), 18},
              {SIZE(WAVEFORMATEXTENSIBLE), 40},
              {AT(WAVEFORMATEXTENSIBLE, SubFormat), 24},
              {SIZE(STATSTG), 80},
              {AT(CAUUID, pElems), 8},
              {SIZE(MP_PARAMINFO), 148},
              {AT(MP_PARAMINFO, szLabel), 84},
              {SIZE(MP_ENVELOPE_SEGMENT), 32},
              {AT(MfxTime, ticks), 8},
              {SLOT(IClassFactory, LockServer), 4},
              {SLOT(IStream, Clone), 13},
              {SLOT(IPersistStream, GetSizeMax), 7},
              {SLOT(IPin, NewSegment), 17},
              {SLOT(IEnumPins, Clone), 6},
              {SLOT(IFilterGraph, SetDefaultSyncSource), 10},
              {SLOT(IBaseFilter, QueryVendorInfo), 14},
              {SLOT(IReferenceClock, Unadvise), 6},
              {SLOT(IMediaSample2, SetProperties), 20},
              {SLOT(IMemAllocator, ReleaseBuffer), 8},
              {SLOT(IMemInputPin, ReceiveCanBlock), 8},
              {SLOT(IQualityControl, SetSink), 4},
              {SLOT(IMediaSeeking, GetPreroll), 19},
              {SLOT(IMediaParamInfo, GetCurrentTimeFormat), 8},
              {SLOT(IMediaParams, SetTimeFormat), 7},
              {SLOT(IMfxSoftSynth, GetFormat), 18},
              {SLOT(IMfxTempoMap, GetTempoAt), 8},
              {SLOT(IMfxMeterMap, GetMeterAt), 7}};
#undef SIZE
#undef AT
#undef SLOT
  for (const auto& row : rows) EXPECT_EQ(row.actual, row.expected) << row.what;
}

TEST(Platform, MulDivRoundsAsTheSystemDoes) {
  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
  // A number, a numerator, a denominator, and what comes of them.
  const std::int32_t rows[][4] = {
      {250, 44100, 1000, 11025}, {1, 1, 2, 1},     {-1, 1, 2, -1},           {1, 1, 3, 0},     {7, 1, -2, -4},
      {-7, -1, -2, -4},          {5, 3, 0, -1},    {kMax, kMax, kMax, kMax}, {kMax, 2, 1, -1}, {kMax, -1, 1, -kMax},
      {kMin, kMin, 1, -1},       {kMin, 1, 1, -1},
  };
  for (const auto& [number, numerator, denominator, expected] : rows) {
    EXPECT_EQ(MulDiv(number, numerator, denominator), expected) << number << " * " << numerator << " / " << denominator;
  }
}

TEST(Platform, LocaleComesFromTheLanguagePartOfTheName) {
  const struct {
    const char* name;
    std::uint32_t expected;
  } rows[] = {
      {"de_AT.UTF-8", 1031}, {"fr", 1036},    {"ja_JP.eucJP", 1041}, {"pt_BR@euro", 1046}, {"zh_CN.UTF-8", 2052},
      {"zh_TW.UTF-8", 1033}, {"es_MX", 3082}, {"C", 1033},           {"", 1033},           {"den_DK", 1033},
  };
  for (const auto& row : rows) EXPECT_EQ(LocaleFromName(row.name), row.expected) << row.name;
}

TEST(WideText, ComesOutAsUtf8) {
  const struct {
    std::vector<WCHAR> text;
    const char* expected;
  } kCases[] = {
      {{'a', 0x7F, 0}, "a\x7F"},
      {{0x80, 0x7FF, 0}, "\xC2\x80\xDF\xBF"},
      {{0x800, 0xFFFF, 0}, "\xE0\xA0\x80\xEF\xBF\xBF"},
      {{0xD83C, 0xDFB5, 'x', 0}, "\xF0\x9F\x8E\xB5x"},  // a pair
      {{0xD83C, 'x', 0}, "\xEF\xBF\xBDx"},              // its halves alone, in the middle and at the end
      {{0xDFB5, 0xD83C, 0}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {{0}, ""},
  };
  for (const auto& c : kCases) EXPECT_EQ(ToUtf8(c.text.data()), c.expected);
  EXPECT_EQ(ToUtf8(nullptr), "");
}

}  // namespace
}  // namespace korva::platform
