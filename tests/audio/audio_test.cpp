#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "audio/format_record.h"
#include "audio/narrow.h"
#include "audio/sample_format.h"

namespace korva {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(SampleFormats, ClampRoundToEvenAndSilenceNotANumber) {
  const struct {
    double value;
    int pcm8, pcm16, pcm32;
  } cases[] = {
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
  for (const auto& c : cases) {
    EXPECT_EQ(Pcm8::Write(c.value), c.pcm8) << c.value;
    EXPECT_EQ(Pcm16::Write(c.value), c.pcm16) << c.value;
    EXPECT_EQ(Pcm32::Write(c.value), c.pcm32) << c.value;
  }
}

// A block as a connection carries it: an 18-byte record and, for the extensible form, its extension.
TEST(FormatRule, TakesTheFiveFormatsPlainAndExtensibleAndRefusesTheRest) {
  const struct {
    std::uint16_t tag, channels, bits, extra;
    std::uint8_t subFormat;
    std::size_t length;
    bool accepted;
  } cases[] = {
      {1, 1, 8, 0, 0, 18, true},        {1, 2, 16, 0, 0, 18, true},        {1, 32, 32, 0, 0, 18, true},
      {1, 2, 24, 0, 0, 18, false},      {1, 2, 64, 0, 0, 18, false},       {3, 2, 32, 0, 0, 18, true},
      {3, 2, 64, 0, 0, 18, true},       {3, 2, 16, 0, 0, 18, false},       {1, 0, 16, 0, 0, 18, false},
      {1, 33, 16, 0, 0, 18, false},     {1, 2, 16, 0, 0, 16, true},        {1, 2, 16, 0, 0, 15, false},
      {2, 2, 16, 0, 0, 18, false},      {65534, 2, 8, 22, 1, 40, true},    {65534, 6, 32, 22, 3, 40, true},
      {65534, 2, 64, 22, 3, 40, true},  {65534, 2, 64, 22, 1, 40, false},  {65534, 2, 24, 22, 1, 40, false},
      {65534, 2, 16, 21, 1, 40, false}, {65534, 2, 16, 22, 2, 40, false},  {65534, 2, 16, 22, 1, 39, false},
      {65534, 2, 16, 0, 1, 18, false},  {65534, 33, 16, 22, 1, 40, false}, {65534, 2, 16, 40, 1, 40, true},
  };
  for (const auto& c : cases) {
    std::array<std::uint8_t, 40> block = {};
    const FormatRecord record{c.tag, c.channels, 44100, 0, 0, c.bits, c.extra};
    const std::uint8_t subFormat[] = {c.subFormat, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    std::memcpy(block.data(), &record, sizeof record);
    std::memcpy(&block[24], subFormat, sizeof subFormat);
    EXPECT_EQ(IsAcceptedFormat(block.data(), c.length), c.accepted)
        << "tag " << c.tag << " bits " << c.bits << " extra " << c.extra << " sub " << +c.subFormat;
    if (!c.accepted) continue;
    FormatRecord plain;
    QvAudio_CopyWfExtToWfx(block.data(), c.length, plain);
    NormaliseFormat(plain);
    EXPECT_EQ(plain.formatTag, c.tag == kTagExtensible ? c.subFormat : c.tag);
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

}  // namespace
}  // namespace korva
