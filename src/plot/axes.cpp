#include "plot/axes.h"

#include <algorithm>
#include <cmath>

#include "plot/numbers.h"

namespace korva {
namespace {

constexpr double kLowestHertz = 20, kHighestHertz = 20000;

}  // namespace

TimeAxis TimeUpTo(double seconds) {
  constexpr double kLongInSeconds = 2;
  const bool isShort = seconds < kLongInSeconds;
  const double factor = isShort ? 1000 : 1;
  constexpr std::size_t kTicks = 8;
  Axis axis{isShort ? "time (ms)" : "time (s)", 0, seconds * factor, false, {}};
  axis.ticks = RoundTicks(axis.from, axis.to, kTicks);
  return {axis, factor};
}

Axis LevelAxis(const std::string& name, double from, double to) {
  constexpr double kMuch = 48;
  // A file may hold samples beyond all measure, or none that are numbers.
  constexpr double kMost = 400;
  from = std::fmin(std::fmax(from, -kMost), kMost);
  to = std::fmin(std::fmax(to, from), kMost);
  const double step = to - from > kMuch ? 12 : 6;
  Axis axis{name, from, to, false, {}};
  const int first = static_cast<int>(std::ceil(from / step)), last = static_cast<int>(std::floor(to / step));
  for (int i = first; i <= last; ++i) axis.ticks.push_back({i * step, ShortNumber(i * step, 0)});
  return axis;
}

Axis FrequencyAxis(std::uint32_t rate) {
  Axis axis{"frequency (Hz)", kLowestHertz, std::min(kHighestHertz, rate / 2.0), true, {}};
  for (const auto& [at, text] :
       {std::pair(20.0, "20 Hz"), {100.0, "100 Hz"}, {1000.0, "1000 Hz"}, {10000.0, "10,000 Hz"}}) {
    if (at <= axis.to) axis.ticks.push_back({at, text});
  }
  // Lines without a name between.
  for (const double decade : {10.0, 100.0, 1000.0, 10000.0}) {
    for (int i = 2; i < 10; ++i) {
      const double at = decade * i;
      if (at > axis.from && at < axis.to) axis.ticks.push_back({at, ""});
    }
  }
  return axis;
}

std::string ChannelName(std::size_t channel, std::size_t channels) {
  if (channels == 2) return channel == 0 ? "left" : "right";
  return "channel " + std::to_string(channel + 1);
}

}  // namespace korva
