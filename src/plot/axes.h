#pragma once

#include <cstdint>

#include "plot/picture.h"

// Axes that several kinds of pictures have.
namespace korva {

/// An axis of time from 0; in milliseconds where that reads better. `factor` is what seconds are multiplied by.
struct TimeAxis {
  Axis axis;
  double factor = 1;
};
TimeAxis TimeUpTo(double seconds);

/// Ranges of levels end at whole steps of this many dB.
inline constexpr double kLevelStepDb = 6;

/// An axis of levels with a tick every 12 dB, or 6 where that is little.
Axis LevelAxis(const std::string& name, double from, double to);

/// Frequencies from 20 Hz up, with lines at 20, 100, 1000 and 10,000 Hz.
Axis FrequencyAxis(std::uint32_t rate);

/// "left", "right", or the number of a channel.
std::string ChannelName(std::size_t channel, std::size_t channels);

}  // namespace korva
