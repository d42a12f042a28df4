#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "audio/format_record.h"
#include "audio/gain.h"
#include "audio/list.h"
#include "audio/narrow.h"
#include "audio/sample_format.h"
#include "audio/tempo_info.h"
#include "audio/zeroed_buffer.h"

namespace korva {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(SampleFormats, ClampRoundToEvenAndSilenceNotANumber) {
  struct Case {
    double value;
    int pcm8, pcm16, pcm32;
  };
  const Case cases[] = {
      {0.0, 128, 0, 0},
      {1.0, 255, 32767, 2147483647},
      {-1.0, 0, -32768, std::numeric_limits<int>::min()},
      {1e300, 255, 32767, 2147483647},
      {kInfinity, 255, 32767, 2147483647},
      {-kInfinity, 0, -32768, std::numeric_limits<int>::min()},
      {kNan, 128, 0, 0},
      {0.5 / 128, 128, 128, 8388608},  // ties go to the even neighbour
      {1.5 / 128, 130, 384, 25165824},
      {-2.5 / 128, 126, -640, -41943040},
      {2.5 / 32768, 128, 2, 163840},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Pcm8::Write(c.value), c.pcm8) << c.value;
    EXPECT_EQ(Pcm16::Write(c.value), c.pcm16) << c.value;
    EXPECT_EQ(Pcm32::Write(c.value), c.pcm32) << c.value;
  }
}

TEST(SampleFormats, EveryIntegerSampleSurvivesTheRoundTrip) {
  for (int v = 0; v < 256; ++v) EXPECT_EQ(Pcm8::Write(Pcm8::Read(static_cast<std::uint8_t>(v))), v);
  for (int v = -32768; v < 32768; ++v) EXPECT_EQ(Pcm16::Write(Pcm16::Read(static_cast<std::int16_t>(v))), v);
  for (std::int64_t v = std::numeric_limits<std::int32_t>::min(); v <= std::numeric_limits<std::int32_t>::max();
       v += 999983) {
    EXPECT_EQ(Pcm32::Write(Pcm32::Read(static_cast<std::int32_t>(v))), v);
  }
}

// A format block as a connection carries it: an 18-byte record and, for the extensible form, its extension.
std::vector<std::uint8_t> Block(std::uint16_t tag, std::uint16_t channels, std::uint16_t bits, std::uint16_t extra,
                                std::uint32_t subFormat, std::size_t length) {
  std::vector<std::uint8_t> block(40);
  FormatRecord record{tag, channels, 44100, 0, 0, bits, extra};
  std::memcpy(block.data(), &record, sizeof record);
  const std::uint8_t tail[12] = {0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
  std::memcpy(&block[24], &subFormat, 4);
  std::memcpy(&block[28], tail, 12);
  block.resize(length);
  return block;
}

TEST(FormatRule, TakesTheFiveFormatsPlainAndExtensibleAndRefusesTheRest) {
  struct Case {
    std::uint16_t tag, channels, bits, extra;
    std::uint32_t subFormat;
    std::size_t length;
    bool accepted;
  };
  const Case cases[] = {
      {1, 1, 8, 0, 0, 18, true},        {1, 2, 16, 0, 0, 18, true},        {1, 32, 32, 0, 0, 18, true},
      {1, 2, 24, 0, 0, 18, false},      {1, 2, 64, 0, 0, 18, false},       {3, 2, 32, 0, 0, 18, true},
      {3, 2, 64, 0, 0, 18, true},       {3, 2, 16, 0, 0, 18, false},       {1, 0, 16, 0, 0, 18, false},
      {1, 33, 16, 0, 0, 18, false},     {1, 2, 16, 0, 0, 16, true},        {1, 2, 16, 0, 0, 15, false},
      {2, 2, 16, 0, 0, 18, false},      {65534, 2, 8, 22, 1, 40, true},    {65534, 6, 32, 22, 3, 40, true},
      {65534, 2, 64, 22, 3, 40, true},  {65534, 2, 64, 22, 1, 40, false},  {65534, 2, 24, 22, 1, 40, false},
      {65534, 2, 16, 21, 1, 40, false}, {65534, 2, 16, 22, 2, 40, false},  {65534, 2, 16, 22, 1, 39, false},
      {65534, 2, 16, 0, 1, 18, false},  {65534, 33, 16, 22, 1, 40, false}, {65534, 2, 16, 40, 1, 40, true},
  };
  for (const Case& c : cases) {
    const auto block = Block(c.tag, c.channels, c.bits, c.extra, c.subFormat, c.length);
    EXPECT_EQ(IsAcceptedFormat(block.data(), block.size()), c.accepted)
        << "tag " << c.tag << " bits " << c.bits << " extra " << c.extra << " sub " << c.subFormat;
    if (!c.accepted) continue;
    FormatRecord plain;
    QvAudio_CopyWfExtToWfx(block.data(), block.size(), plain);
    EXPECT_EQ(plain.formatTag, c.tag == kTagExtensible ? c.subFormat : c.tag);
    EXPECT_EQ(plain.extraSize, 0);
    NormaliseFormat(plain);
    EXPECT_EQ(plain.blockAlign, c.bits / 8 * c.channels);
    EXPECT_EQ(plain.averageBytesPerSecond, plain.blockAlign * 44100U);
  }
}

TEST(Numbers, TruncationStopsAtTheEndsOfTheRange) {
  EXPECT_EQ(Truncate<std::int32_t>(-2.9), -2);
  EXPECT_EQ(Truncate<std::int32_t>(1e20), 2147483647);
  EXPECT_EQ(Truncate<std::int64_t>(kInfinity), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(Truncate<std::uint32_t>(-5.0), 0U);
  EXPECT_EQ(Truncate<std::uint32_t>(4294967295.5), 4294967295U);
  EXPECT_EQ(Truncate<std::int32_t>(kNan), 0);
}

TEST(Numbers, GainsFallSilentAtTheLowestValueOnly) {
  EXPECT_EQ(GainFromTenths(-600, -600), 0.0);
  EXPECT_NEAR(GainFromTenths(-599, -600), 0.0010116, 1e-7);
  EXPECT_EQ(GainFromTenths(0, -600), 1.0);
  EXPECT_NEAR(GainFromTenths(-60, -600), 0.501187, 1e-6);
}

TEST(Numbers, NotesFollowTempoAndMeter) {
  TempoInfo info;
  EXPECT_EQ(BeatSeconds(info), 2.0);
  EXPECT_EQ(NoteBeats(info, kNoteMeasure), 4.0);
  info.flags = kTempoValid | kMeterValid;
  info.bpm = 90;
  info.numerator = 6;
  info.denominator = 8;
  EXPECT_DOUBLE_EQ(BeatSeconds(info), 60.0 / 90);
  EXPECT_EQ(NoteBeats(info, kNoteMeasure), 3.0);
  EXPECT_EQ(NoteBeats(info, 13), 1.0);
  EXPECT_EQ(NoteBeats(info, -7), 1.0 / 24);
}

TEST(Memory, AbsurdRequestsAndInjectedFailuresLeaveAnEmptyBuffer) {
  ZeroedBuffer<double> buffer;
  ASSERT_TRUE(buffer.Allocate(1000));
  EXPECT_EQ(buffer[999], 0.0);
  EXPECT_FALSE(buffer.Allocate(static_cast<std::size_t>(-1)));
  EXPECT_TRUE(buffer.empty());
  FailAllocationsAfter(1);
  EXPECT_TRUE(buffer.Allocate(4));
  EXPECT_FALSE(buffer.Allocate(4));
  FailAllocationsAfter(-1);
  EXPECT_TRUE(buffer.Allocate(4));
}

TEST(Memory, ListKeepsItsOrderThroughInsertsAndRemovals) {
  List<int> list;
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(list.Insert(list.size() / 2, i));
  ASSERT_EQ(list.size(), 100U);
  EXPECT_EQ(list[49], 99);
  EXPECT_EQ(list[50], 98);
  list.Remove(0, 50);
  EXPECT_EQ(list[0], 98);
  list.Remove(49);
  EXPECT_EQ(list.size(), 49U);
}

}  // namespace
}  // namespace korva
