#include <algorithm>
#include <cmath>

#include "plot/axes.h"
#include "plot/pictures.h"

namespace korva {
namespace {

constexpr double kMostRangeDb = 72;

/// The range of levels that all curves need, in whole steps; deep notches are cut off.
Axis RangeOf(std::span<const FrequencyCurves> curves) {
  double least = 0, most = -kMostRangeDb;
  for (const FrequencyCurves& curve : curves) {
    for (const auto& channel : curve.channels) {
      for (const PlotPoint& point : channel) {
        least = std::min(least, point.y);
        most = std::max(most, point.y);
      }
    }
  }
  most = std::max(std::ceil(most / kLevelStepDb + 0.1) * kLevelStepDb, -kMostRangeDb + kLevelStepDb);
  least = std::max(std::floor(least / kLevelStepDb) * kLevelStepDb, most - kMostRangeDb);
  least = std::min(least, most - 4 * kLevelStepDb);
  return LevelAxis("level (dB)", least, most);
}

bool ChannelsDiffer(std::span<const FrequencyCurves> curves) {
  constexpr double kHeard = 0.05;
  return std::any_of(curves.begin(), curves.end(), [](const FrequencyCurves& curve) {
    return std::any_of(curve.channels.begin(), curve.channels.end(), [&](const std::vector<PlotPoint>& channel) {
      for (std::size_t i = 0; i < channel.size(); ++i) {
        if (std::fabs(channel[i].y - curve.channels.front()[i].y) > kHeard) return true;
      }
      return false;
    });
  });
}

}  // namespace

std::vector<double> ShownFrequencies(std::uint32_t rate, std::size_t count) {
  const Axis axis = FrequencyAxis(rate);
  return BandFrequencies(axis.from, axis.to, count);
}

Picture ResponsePicture(std::span<const FrequencyCurves> curves, std::uint32_t rate) {
  Picture picture;
  picture.note = "level over frequency, in bands of 1/24 octave";
  const Axis levels = RangeOf(curves);
  const std::size_t channels = ChannelsDiffer(curves) ? curves.front().channels.size() : 1;
  for (std::size_t channel = 0; channel < channels; ++channel) {
    Panel panel{channels > 1 ? ChannelName(channel, channels) : "", FrequencyAxis(rate), levels, {}, {}, {}, {}};
    for (std::size_t i = 0; i < curves.size(); ++i) {
      Curve curve{curves[i].name, static_cast<Ink>(i), CurveForm::kLine, curves[i].channels[channel]};
      for (PlotPoint& point : curve.points) point.y = std::clamp(point.y, levels.from, levels.to);
      panel.curves.push_back(std::move(curve));
    }
    picture.panels.push_back(std::move(panel));
  }
  return picture;
}

}  // namespace korva
