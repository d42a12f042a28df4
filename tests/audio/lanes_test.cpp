#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "audio/sample_lanes.h"
#include "audio/sine.h"

namespace korva {
namespace {

template <class Value>
bool SameBits(Value left, Value right) {
  using Bytes = std::array<std::byte, sizeof(Value)>;
  return std::bit_cast<Bytes>(left) == std::bit_cast<Bytes>(right);
}

// Any bits at all, and values around the halves and the limits of a format, where rules would part.
double Hard(std::mt19937_64& random) {
  const std::uint64_t bits = random();
  if (bits % 4 != 0) return std::bit_cast<double>(random());
  const double scale = std::ldexp(1.0, -static_cast<int>(bits >> 8 & 31));
  const double close = static_cast<double>(static_cast<std::int32_t>(bits >> 32)) / 2 * scale;
  return bits % 8 != 0 ? close : std::nextafter(close, (bits & 16) != 0 ? 1e9 : -1e9);
}

template <class Format>
void ExpectTheRules() {
  using Sample = typename Format::Sample;
  std::mt19937_64 random(1);
  for (int round = 0; round < 500'000; ++round) {
    double values[4];
    Sample samples[4], written[4];
    for (int i = 0; i < 4; ++i) {
      values[i] = Hard(random);
      const std::uint64_t bits = random();
      std::memcpy(&samples[i], &bits, sizeof(Sample));
    }
    WriteFour(Format{}, {Pair::Load(values), Pair::Load(values + 2)}, written);
    double read[4];
    const Four four = ReadFour(Format{}, samples);
    four.a.Store(read);
    four.b.Store(read + 2);
    for (int i = 0; i < 4; ++i) {
      ASSERT_TRUE(SameBits(written[i], Format::Write(values[i]))) << values[i];
      ASSERT_TRUE(SameBits(read[i], Format::Read(samples[i])));
    }
  }
}

TEST(SampleLanes, ReadAndWriteAsTheRulesDoForAnyBits) {
  ExpectTheRules<Pcm8>();
  ExpectTheRules<Pcm16>();
  ExpectTheRules<Pcm32>();
  ExpectTheRules<Float32>();
  ExpectTheRules<Float64>();
}

#ifdef _WIN32
constexpr double kExactTo = 100;  // the C library asks the processor, which knows 66 bits of pi
#else
constexpr double kExactTo = 1e5;
#endif

TEST(Sine, IsTheSameInAllLanesAndWithinALastPlace) {
  std::mt19937_64 random(2);
  double worst = 0;
  for (int round = 0; round < 1'000'000; ++round) {
    const double range = std::ldexp(1.0, static_cast<int>(random() % 30) - 10);
    const auto pick = [&] { return range * (static_cast<double>(random() >> 11) * 0x1p-53 * 2 - 1); };
    const double x[2] = {pick(), round % 16 == 0 ? std::bit_cast<double>(random()) : pick()};
    double sine[2], cosine[2];
    const SineCosine<Pair> both = SineAndCosine(Pair::Load(x));
    both.sine.Store(sine);
    both.cosine.Store(cosine);
    for (int i = 0; i < 2; ++i) {
      const SineCosine<Single> one = SineAndCosine(Single{x[i]});
      if (one.sine.value == one.sine.value) {
        ASSERT_TRUE(SameBits(sine[i], one.sine.value)) << x[i];
        ASSERT_TRUE(SameBits(cosine[i], one.cosine.value)) << x[i];
      } else {
        ASSERT_FALSE(std::isfinite(x[i]) || sine[i] == sine[i] || cosine[i] == cosine[i]) << x[i];
      }
    }
    if (std::fabs(x[0]) > kExactTo) continue;
    const long double exact = std::sin(static_cast<long double>(x[0]));
    worst = std::max(worst, std::fabs(static_cast<double>((sine[0] - exact))));
  }
  EXPECT_LT(worst, 1.12e-16);
}

}  // namespace
}  // namespace korva
