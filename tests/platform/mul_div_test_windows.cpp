#include <gtest/gtest.h>

#include "platform/services.h"

namespace korva::platform {
namespace {

TEST(Platform, MulDivGivesWhatTheSystemGives) {
  constexpr int kMax = 0x7FFFFFFF;
  const int values[] = {0,    1,     -1,    2,     -2,     3,       7,        -7,   999,
                        1000, -1000, 44100, 65535, -65536, 1 << 30, kMax - 1, kMax, -kMax};
  for (const int number : values) {
    for (const int numerator : values) {
      for (const int denominator : values) {
        EXPECT_EQ(MulDiv(number, numerator, denominator), ::MulDiv(number, numerator, denominator))
            << number << " * " << numerator << " / " << denominator;
      }
    }
  }
}

}  // namespace
}  // namespace korva::platform
