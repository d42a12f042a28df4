#include "platform/platform.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <thread>

#include "platform/media.h"
#include "platform/media_params.h"
#include "platform/notice_window.h"
#include "platform/services.h"
#include "platform/tempo_host.h"

namespace korva::platform {
namespace {

// Both builds run the tables of layouts and slots: the cross build proves them against the system's own headers, and
// the native one that its declarations are the same.
TEST(Platform, PublishedRecordsHaveTheirLayout) {
  const struct {
    const char* what;
    std::size_t actual;
    std::size_t expected;
  } rows[] = {
      {"GUID", sizeof(GUID), 16},
      {"HRESULT", sizeof(HRESULT), 4},
      {"WCHAR", sizeof(WCHAR), 2},
      {"ULARGE_INTEGER", sizeof(ULARGE_INTEGER), 8},
      {"AM_MEDIA_TYPE", sizeof(AM_MEDIA_TYPE), 88},
      {"AM_MEDIA_TYPE.formattype", offsetof(AM_MEDIA_TYPE, formattype), 44},
      {"AM_MEDIA_TYPE.pbFormat", offsetof(AM_MEDIA_TYPE, pbFormat), 80},
      {"PIN_INFO", sizeof(PIN_INFO), 272},
      {"PIN_INFO.achName", offsetof(PIN_INFO, achName), 12},
      {"FILTER_INFO.pGraph", offsetof(FILTER_INFO, pGraph), 256},
      {"ALLOCATOR_PROPERTIES", sizeof(ALLOCATOR_PROPERTIES), 16},
      {"AM_SAMPLE2_PROPERTIES", sizeof(AM_SAMPLE2_PROPERTIES), 64},
      {"AM_SAMPLE2_PROPERTIES.pMediaType", offsetof(AM_SAMPLE2_PROPERTIES, pMediaType), 40},
      {"Quality.TimeStamp", offsetof(Quality, TimeStamp), 16},
      {"WAVEFORMATEX", sizeof(WAVEFORMATEX), 18},
      {"WAVEFORMATEXTENSIBLE", sizeof(WAVEFORMATEXTENSIBLE), 40},
      {"WAVEFORMATEXTENSIBLE.SubFormat", offsetof(WAVEFORMATEXTENSIBLE, SubFormat), 24},
      {"STATSTG", sizeof(STATSTG), 80},
      {"STATSTG.cbSize", offsetof(STATSTG, cbSize), 16},
      {"CAUUID.pElems", offsetof(CAUUID, pElems), 8},
      {"MP_PARAMINFO", sizeof(MP_PARAMINFO), 148},
      {"MP_PARAMINFO.szLabel", offsetof(MP_PARAMINFO, szLabel), 84},
      {"MP_ENVELOPE_SEGMENT", sizeof(MP_ENVELOPE_SEGMENT), 32},
      {"MfxTime", sizeof(MfxTime), 16},
      {"MfxTime.ticks", offsetof(MfxTime, ticks), 8},
  };
  for (const auto& row : rows) EXPECT_EQ(row.actual, row.expected) << row.what;
}

// Where a virtual function stands in its table, read from what the compilers of both builds keep in a member pointer.
template <class Function>
std::size_t Slot(Function function) {
  std::size_t word = 0;
  std::memcpy(&word, &function, sizeof(word));
  return (word - 1) / sizeof(void*);
}

TEST(Platform, InterfacesKeepTheirSlots) {
  const struct {
    const char* what;
    std::size_t actual;
    std::size_t expected;
  } rows[] = {
      {"IClassFactory::LockServer", Slot(&IClassFactory::LockServer), 4},
      {"IStream::Clone", Slot(&IStream::Clone), 13},
      {"IPersistStream::GetSizeMax", Slot(&IPersistStream::GetSizeMax), 7},
      {"IPin::QueryAccept", Slot(&IPin::QueryAccept), 11},
      {"IPin::NewSegment", Slot(&IPin::NewSegment), 17},
      {"IEnumPins::Clone", Slot(&IEnumPins::Clone), 6},
      {"IFilterGraph::SetDefaultSyncSource", Slot(&IFilterGraph::SetDefaultSyncSource), 10},
      {"IBaseFilter::GetState", Slot(&IBaseFilter::GetState), 7},
      {"IBaseFilter::QueryVendorInfo", Slot(&IBaseFilter::QueryVendorInfo), 14},
      {"IReferenceClock::Unadvise", Slot(&IReferenceClock::Unadvise), 6},
      {"IMediaSample::GetActualDataLength", Slot(&IMediaSample::GetActualDataLength), 11},
      {"IMediaSample2::SetProperties", Slot(&IMediaSample2::SetProperties), 20},
      {"IMemAllocator::ReleaseBuffer", Slot(&IMemAllocator::ReleaseBuffer), 8},
      {"IMemInputPin::ReceiveCanBlock", Slot(&IMemInputPin::ReceiveCanBlock), 8},
      {"IQualityControl::SetSink", Slot(&IQualityControl::SetSink), 4},
      {"IMediaSeeking::GetPreroll", Slot(&IMediaSeeking::GetPreroll), 19},
      {"IMediaParamInfo::GetCurrentTimeFormat", Slot(&IMediaParamInfo::GetCurrentTimeFormat), 8},
      {"IMediaParams::SetTimeFormat", Slot(&IMediaParams::SetTimeFormat), 7},
      {"IMfxSoftSynth::OnStop", Slot(&IMfxSoftSynth::OnStop), 7},
      {"IMfxSoftSynth::GetFormat", Slot(&IMfxSoftSynth::GetFormat), 18},
      {"IMfxTempoMap::GetTempoAt", Slot(&IMfxTempoMap::GetTempoAt), 8},
      {"IMfxMeterMap::MBTToTicks", Slot(&IMfxMeterMap::MBTToTicks), 4},
      {"IMfxMeterMap::GetMeterAt", Slot(&IMfxMeterMap::GetMeterAt), 7},
  };
  for (const auto& row : rows) EXPECT_EQ(row.actual, row.expected) << row.what;
}

TEST(Platform, MulDivRoundsAsTheSystemDoes) {
  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
  const struct {
    std::int32_t number, numerator, denominator, expected;
  } rows[] = {
      {250, 44100, 1000, 11025},
      {1, 1, 2, 1},
      {-1, 1, 2, -1},
      {1, 1, 3, 0},
      {2, 1, 3, 1},
      {-2, 1, 3, -1},
      {7, 1, -2, -4},
      {-7, -1, -2, -4},
      {5, 3, 0, -1},
      {0, 5, 7, 0},
      {kMax, kMax, kMax, kMax},
      {kMax, 2, 1, -1},
      {kMax, -1, 1, -kMax},
      {kMin, kMin, 1, -1},
      {kMin, 1, kMin, 1},
      {kMin, 1, 1, -1},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(MulDiv(row.number, row.numerator, row.denominator), row.expected)
        << row.number << " * " << row.numerator << " / " << row.denominator;
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

TEST(Platform, NoticeWindowKeepsWhatIsPostedWhileItLives) {
  HWND handle = nullptr;
  WPARAM command = 0;
  {
    NoticeWindow window;
    const NoticeWindow other;
    handle = window.Handle();
    ASSERT_NE(handle, nullptr);
    EXPECT_TRUE(platform::IsWindow(handle));
    std::thread poster([handle] {
      for (std::uint16_t code = 0; code < 3; ++code) EXPECT_TRUE(PostCommand(handle, MakeCommand(9, code)));
    });
    EXPECT_TRUE(PostCommand(other.Handle(), MakeCommand(1, 1)));
    poster.join();
    for (WPARAM code = 0; code < 3; ++code) {
      ASSERT_TRUE(window.Take(command));
      EXPECT_EQ(command, code * 0x10000 + 9);
    }
    EXPECT_FALSE(window.Take(command));
  }
  for (const HWND gone : {handle, HWND{nullptr}}) {
    EXPECT_FALSE(platform::IsWindow(gone));
    EXPECT_FALSE(PostCommand(gone, 1));
  }
}

TEST(Platform, FlushedDenormalsStayOnTheirThread) {
  constexpr double kSmallest = std::numeric_limits<double>::denorm_min();
  const auto survives = [] {
    volatile double value = kSmallest;
    return value * 1.0 != 0.0;
  };
  bool flushed = false;
  std::thread([&] {
    SetFlushDenormals();
    flushed = !survives();
  }).join();
#if defined(__x86_64__)
  EXPECT_TRUE(flushed);
#endif
  EXPECT_TRUE(survives());
}

}  // namespace
}  // namespace korva::platform
