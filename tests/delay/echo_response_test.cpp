#include "delay/echomt/echo_response.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace korva {
namespace {

EchomtParams Taps(const std::vector<std::pair<std::int32_t, std::int32_t>>& delaysAndGains, std::int32_t feedback) {
  EchomtParams params{};
  params.feedback = feedback;
  for (const auto& [delay, gain] : delaysAndGains) {
    params.tapDelayMs[params.tapCount] = delay;
    params.tapGain[params.tapCount++] = gain;
  }
  return params;
}

TEST(EchoResponse, ComesOutAsWorkedByHand) {
  const struct {
    const char* name;
    EchomtParams params;
    std::int32_t span;
    std::map<std::int32_t, std::int32_t> echoes;  // all there are from 1 ms on
  } kCases[] = {
      {"no feedback, no echoes", Taps({{10, 100}, {20, -50}}, 0), 500, {}},
      {"half comes back each time", Taps({{200, 100}}, 50), 600, {{200, 5000}, {400, 2500}, {600, 1250}}},
      {"an inverted tap changes sides", Taps({{150, -80}}, 50), 500, {{150, -4000}, {300, 1600}, {450, -640}}},
      // Gains of 150 in all: the feedback of 90 is shared out as 60.
      {"loud taps feed back less",
       Taps({{100, 100}, {300, 50}}, 90),
       300,
       {{100, 6000}, {200, 3600}, {300, 2160 + 3000}}},
      // Gains of 20 in all do not raise the feedback; each tap's share is cut by itself.
      {"inverted taps do not make up for it",
       Taps({{100, 100}, {100, -80}}, 100),
       300,
       {{100, 2000}, {200, 400}, {300, 80}}},
      {"a silent tap is none", Taps({{100, 0}}, 150), 500, {}},
      {"more than full feedback stops at full scale", Taps({{200, 100}}, 150), 500, {{200, 10000}, {400, 10000}}},
      {"a tap beyond the span", Taps({{1200, 100}}, 100), 500, {}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    std::vector<std::int32_t> response(static_cast<std::size_t>(c.span) + 1, -1);
    ComputeEchoResponse(c.params, response);
    std::map<std::int32_t, std::int32_t> echoes;
    for (std::int32_t t = 1; t <= c.span; ++t) {
      if (const std::int32_t level = response[static_cast<std::size_t>(t)]; level != 0) echoes[t] = level;
    }
    EXPECT_EQ(response[0], kEchoUnity);
    EXPECT_EQ(echoes, c.echoes);
  }
  ComputeEchoResponse(Taps({{1, 100}}, 100), {});
}

TEST(EchoResponse, BarsStandOnTheZeroLine) {
  constexpr GraphBox kEven = {1, 0, 286, 92}, kOdd = {1, 0, 102, 91};
  const struct {
    GraphBox graph;
    std::int32_t span, time, level;
    GraphBox bar;
  } kCases[] = {
      {kEven, 500, 0, 10000, {1, 0, 2, 46}},
      {kEven, 500, 500, 5000, {285, 23, 286, 46}},
      {kEven, 5000, 2500, -1, {143, 47, 144, 48}},
      {kEven, 500, 100, 0, {57, 46, 58, 47}},
      {kOdd, 500, 500, 10000, {101, 0, 102, 45}},
      {kOdd, 1000, 505, -10000, {51, 46, 52, 92}},
      {kEven, 500, 501, 10000, {}},
  };
  for (const auto& c : kCases) {
    EXPECT_TRUE(BarOf(c.graph, c.span, c.time, c.level) == c.bar) << c.time << " ms at " << c.level;
  }
}

}  // namespace
}  // namespace korva
