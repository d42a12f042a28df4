#include "qvkit/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "platform/wide_text.h"

namespace korva {
namespace {

using platform::ToUtf8;

constexpr std::uint32_t kEnglish = 1033;
constexpr std::uint32_t kGerman = 1031;
constexpr std::uint32_t kFrench = 1036;

// Later tests find the signs as they were.
class Locale {
 public:
  explicit Locale(std::uint32_t locale) { QvText_SetLocale(locale); }
  ~Locale() { QvText_SetLocale(kEnglish); }
};

std::basic_string<WCHAR> Wide(const char16_t* text) {
  std::basic_string<WCHAR> wide;
  while (*text != 0) wide.push_back(static_cast<WCHAR>(*text++));
  return wide;
}

std::string Long(std::int32_t value, int group) {
  WCHAR text[32];
  QvLongToText(value, text, group);
  return ToUtf8(text);
}

std::string Double(double value, int decimals) {
  WCHAR text[64];
  QvDoubleToText(value, decimals, text);
  return ToUtf8(text);
}

std::string Fixed(std::int32_t value, int decimals, const WCHAR* label = nullptr) {
  return ToUtf8(QvGetLabeledStringFixed(value, decimals, label, 0).Text());
}

TEST(Text, NumbersReadByLocale) {
  const Locale english(kEnglish);
  EXPECT_EQ(Long(999, 1), "999");
  EXPECT_EQ(Long(10000, 1), "10,000");
  EXPECT_EQ(Long(10000, 0), "10000");
  EXPECT_EQ(Long(std::numeric_limits<std::int32_t>::min(), 1), "-2,147,483,648");
  EXPECT_EQ(Double(0.0005, 3), "0.001");
  EXPECT_EQ(Double(-1.5, 0), "-2");
  EXPECT_EQ(Double(std::numeric_limits<double>::quiet_NaN(), 2), "0.00");
  EXPECT_EQ(Double(std::numeric_limits<double>::infinity(), 99), "900000000.000000000");
  EXPECT_EQ(Fixed(1000, 2), "10.00");
  EXPECT_EQ(Fixed(-5, 1), "-0.5");
  EXPECT_EQ(Fixed(100, 0, KORVA_WTEXT(" %")), "100 %");
  EXPECT_EQ(ToUtf8(QvGetdBStringFixed(-599, 1, -600, KORVA_WTEXT(" dB")).Text()), "-59.9 dB");
  EXPECT_EQ(ToUtf8(QvGetdBStringFixed(-600, 1, -600, KORVA_WTEXT(" dB")).Text()), "-Inf.");
  const Locale german(kGerman);
  EXPECT_EQ(Long(10000, 1), "10.000");
  EXPECT_EQ(Fixed(800, 3), "0,800");
}

TEST(Text, BuffersAreKept) {
  WCHAR small[4] = {'x', 'x', 'x', 'x'};
  QvLongToText(123456, {small, 3}, 0);
  EXPECT_EQ(ToUtf8(small), "12");
  EXPECT_EQ(small[3], 'x');
  QvPrintF({small, 3}, KORVA_WTEXT("%s"), {KORVA_WTEXT("abcdef")});
  EXPECT_EQ(ToUtf8(small), "ab");
  EXPECT_EQ(small[3], 'x');
  QvPrintF({}, KORVA_WTEXT("%d"), {1});
}

TEST(Text, TypedNumbersAreUnderstood) {
  const struct {
    std::uint32_t locale;
    const char16_t* text;
    double value;
    std::int32_t whole;
  } kCases[] = {
      {kEnglish, u"12.34", 12.34, 12},
      {kEnglish, u"0,8", 0.8, 0},
      {kEnglish, u"5,125", 5.125, 5125},
      {kEnglish, u"12,345,678.5", 12345678.5, 12345678},
      {kEnglish, u"1,0000", 1, 1},
      {kGerman, u"5.125", 5.125, 5125},
      {kGerman, u"1.234,5", 1234.5, 1234},
      {kFrench, u"10\u202F000,5", 10000.5, 10000},
      {kFrench, u"10 000", 10000, 10000},
      {kEnglish, u"10 000", 10, 10},
      {kEnglish, u"  -7", -7, -7},
      {kEnglish, u"\u2212.5 dB", -0.5, 0},
      {kEnglish, u"\uFF11\uFF12\uFF0E\uFF15", 12.5, 12},
      {kEnglish, u"about 30 Hz", 30, 30},
      {kEnglish, u"Hz", 0, 0},
      {kEnglish, u"-", 0, 0},
      {kEnglish, u"1e9", 1, 1},
      {kEnglish, u"99999999999999999999", 1e15, std::numeric_limits<std::int32_t>::max()},
  };
  for (const auto& c : kCases) {
    const Locale locale(c.locale);
    const auto text = Wide(c.text);
    SCOPED_TRACE(ToUtf8(text.c_str()));
    EXPECT_DOUBLE_EQ(QvTextToDoubleToken(text.c_str(), nullptr), c.value);
    EXPECT_EQ(QvTextToLongToken(text.c_str(), nullptr), c.whole);
  }
  EXPECT_EQ(QvTextToLongToken(nullptr, nullptr), 0);
}

TEST(Text, RowsOfNumbersAreReadOneByOne) {
  for (const std::uint32_t language : {kEnglish, kFrench}) {
    const Locale locale(language);
    const WCHAR* at = KORVA_WTEXT("01 30 00 500 x");
    for (const std::uint32_t expected : {1u, 30u, 0u, 500u, 0u, 0u}) EXPECT_EQ(QvTextToDWordToken(at, &at), expected);
  }
}

// What a box shows must come back as the value that it stands for, or a look at it would change the sound.
TEST(Text, EveryShownValueSurvivesBeingRead) {
  for (const std::uint32_t language : {kEnglish, kGerman, kFrench}) {
    const Locale locale(language);
    for (std::int32_t value = 0; value <= 32000; ++value) {
      const ShortText thousandths = QvGetLabeledStringFixed(value, 3, nullptr, 0);
      ASSERT_EQ(static_cast<std::int32_t>(QvTextToDoubleToken(thousandths.Text(), nullptr) * 1000.0), value);
      const ShortText tenths = QvGetLabeledStringFixed(-value, 1, KORVA_WTEXT(" ms"), 0);
      ASSERT_EQ(static_cast<std::int32_t>(QvTextToDoubleToken(tenths.Text(), nullptr) * 10.0), -value);
      WCHAR grouped[32];
      QvLongToText(value, grouped, 1);
      ASSERT_EQ(QvTextToLongToken(grouped, nullptr), value);
    }
  }
}

TEST(Text, FormatsTakeWhatTheyAreGiven) {
  const struct {
    const char16_t* format;
    const char* text;
  } kCases[] = {
      {u"%d ms.", "-5 ms."},
      {u"%s, %s", "-5, two"},
      {u"%05d|%s|%c", "-0005|two|A"},
      {u"100 %) %% %s", "100 %) % -5"},
      {u"%d%d%d%d%d", "-5two6500"},
      {u"%", "%"},
      {u"%4d|%999999999999", "  -5|%999999999999"},
  };
  for (const auto& c : kCases) {
    WCHAR text[128];
    QvPrintF(text, Wide(c.format).c_str(), {-5, KORVA_WTEXT("two"), 'A', 0, 0});
    EXPECT_EQ(ToUtf8(text), c.text);
  }
}

TEST(Text, MenuNames) {
  WCHAR item[260];
  QvFixNameForMenu(KORVA_WTEXT("Rock & Roll\t1"), item, 260);
  EXPECT_EQ(ToUtf8(item), "Rock && Roll 1");
  QvFixNameForMenu(KORVA_WTEXT("abc&d"), item, 5);
  EXPECT_EQ(ToUtf8(item), "abc");
}

}  // namespace
}  // namespace korva
