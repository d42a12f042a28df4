// What the pitch and time pages write and read beside plain numbers.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "pitchtime/musical_interval.h"
#include "pitchtime/pitchs_params.h"
#include "pitchtime/time_text.h"
#include "platform/wide_text.h"

namespace korva {

void PrintTo(const TimeFields& time, std::ostream* out) {
  *out << time.hours << ':' << time.minutes << ':' << time.seconds << '.' << time.milliseconds;
}

namespace {

std::basic_string<WCHAR> Wide(const std::u16string& text) {
  return {text.begin(), text.end()};
}

TEST(TimeText, LengthsReadAsTimes) {
  constexpr double kEndless = std::numeric_limits<double>::infinity();
  const struct {
    std::uint32_t rate;
    double frames;
    const char *cut, *rounded;
  } kCases[] = {
      {44100, 44099, "00:00:00.999", "00:00:00.1000"},  // no carry
      {44100, 44, "00:00:00.000", "00:00:00.001"},
      {1000, 0.49999999, "00:00:00.000", "00:00:00.001"},
      {1000, 3723004, "01:02:03.004", "01:02:03.004"},
      {1, 793800000, "220500:00:00.000", "220500:00:00.000"},
      {0, 1000, "00:00:00.000", "00:00:00.000"},
      {44100, -5, "00:00:00.000", "00:00:00.000"},
      {44100, std::nan(""), "00:00:00.000", "00:00:00.000"},
      {44100, kEndless, "4294967295:4294967295:4294967295.4294967295", "4294967295:4294967295:4294967295.4294967295"},
  };
  for (const auto& c : kCases) {
    const auto text = [&](PartMillisecond part) {
      return platform::ToUtf8(FormatSamplesAsTime(c.rate, c.frames, part).Text());
    };
    EXPECT_EQ(text(PartMillisecond::kCut), c.cut);
    EXPECT_EQ(text(PartMillisecond::kRounded), c.rounded);
  }
  EXPECT_EQ(FramesOfTime(90000, 44100), 3969000);
  EXPECT_EQ(FramesOfTime(1, 44100), 45) << "up to a whole frame";
}

TEST(TimeText, BothReadersTakeWhatIsTyped) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  const struct {
    std::u16string text;
    TimeFields free, strict;
  } kCases[] = {
      {u"abc", {}, {}},
      {u"01:02:03.004", {1, 2, 3, 4}, {1, 2, 3, 4}},
      {u"013000500", {1, 30, 0, 500}, {0, 0, 13000500, 0}},
      {u"90s", {0, 1, 30, 0}, {0, 0, 90, 0}},
      {u"1.5", {0, 0, 1, 5}, {0, 0, 1, 500}},
      {u"1.001", {0, 0, 1, 1}, {0, 0, 1, 1}},
      {u"0.9999", {0, 0, 9, 999}, {0, 0, 0, 999}},
      {u"1:30:  ", {0, 1, 30, 0}, {1, 30, 0, 0}},
      {u" 1 : 75 . 25 ", {0, 2, 15, 25}, {0, 1, 75, 0}},
      {u"59:99:99.999", {12, 40, 39, 999}, {59, 99, 99, 999}},
      {u"1,234.5", {1, 2, 34, 5}, {0, 0, 1234, 500}},
      {u"-5", {0, 0, 0, 5}, {}},
      {u"1:2:3:4", {1, 2, 3, 4}, {}},
      {u"1.5.3", {0, 1, 5, 3}, {}},
      {u"1.5:3", {0, 1, 5, 3}, {}},
      {u"1 2 3 4 5 6", {1, 2, 3, 4}, {0, 0, 1, 0}},
      {u"\uFF11\uFF1A\uFF13\uFF10\uFF0E\uFF15", {0, 1, 30, 5}, {0, 1, 30, 500}},
      {u"\u3000\uFF19\uFF10\u3000", {0, 0, 0, 90}, {0, 0, 90, 0}},
      {std::u16string(400, u'8'), {9, 29, 28, 88}, {0, 0, kMost, 0}},
      {std::u16string(300, u' ') + u"7" + std::u16string(300, u':'), {0, 0, 7, 0}, {}},
  };
  for (const auto& c : kCases) {
    const auto text = Wide(c.text);
    EXPECT_EQ(ParseFreeTimeText(text.c_str()), c.free) << platform::ToUtf8(text.c_str());
    EXPECT_EQ(ParseTimeText(text.c_str()), c.strict) << platform::ToUtf8(text.c_str());
  }
  EXPECT_EQ(ParseFreeTimeText(nullptr), TimeFields{});
  EXPECT_EQ(ParseTimeText(nullptr), TimeFields{});
  EXPECT_EQ((TimeFields{1, 30, 75, 5}.Milliseconds()), 5475005);
}

TEST(MusicalInterval, HasTheNameThatMusiciansUse) {
  const struct {
    std::int32_t semitones, centTenths;
    std::optional<MusicalInterval> interval;
  } kCases[] = {
      {0, 999, {}},
      {0, -1000, {{false, 1, ' '}}},
      {1, -1000, {}},
      {1, -999, {}},  // too near to none
      {1, -800, {{true, 1, '-'}}},
      {7, 10, {{true, 7, '+'}}},
      {-3, -15, {{false, 3, '-'}}},
      {-36, 250, {{false, 0, '+'}}},
      {11, 1000, {{true, 0, ' '}}},
      {1, 1000, {{true, 2, ' '}}},
      {13, -1000, {{true, 0, ' '}}},
      {-12, 1000, {{false, 11, ' '}}},
      {-11, -1000, {{false, 0, ' '}}},
  };
  for (const auto& c : kCases) {
    const auto interval = MusicalIntervalOf(c.semitones, c.centTenths, TranspositionOf(c.semitones, c.centTenths));
    EXPECT_TRUE(interval == c.interval) << c.semitones << " and " << c.centTenths;
  }
}

}  // namespace
}  // namespace korva
