#include "platform/wide_text.h"

#include <gtest/gtest.h>

#include <vector>

namespace korva::platform {
namespace {

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
