#pragma once

#include <span>
#include <string>
#include <vector>

#include "plot/numbers.h"
#include "plot/picture.h"

// The kinds of pictures, each made of plain numbers. Titles are the caller's.
namespace korva {

/// A sound under the name that the legend gives it.
struct NamedSound {
  std::string name;
  PlainSound sound;
};

/// What came back from one impulse.
struct ImpulseRun {
  NamedSound back;
  double impulseSeconds = 0;  ///< when it went in
  double impulseDb = 0;       ///< how loud it was
  bool isCut = false;         ///< the run ended while it still rang
};
/// Levels over time with bars for echoes and the length of the tail; two channels that differ are mirrored. Two runs
/// lie over one another, their channels apart.
Picture ImpulsePicture(std::span<const ImpulseRun> runs);

/// The same as the graph of a page of taps: gains over time, up or, inverted, down from the middle. What comes
/// at one of `tapMs` is a tap, everything else what feedback makes of them.
Picture TapPicture(const ImpulseRun& run, std::span<const double> tapMs);

/// Levels of sounds over time, over one another.
Picture LevelPicture(std::span<const NamedSound> sounds);

/// One curve over frequency for each channel.
struct FrequencyCurves {
  std::string name;
  std::vector<std::vector<PlotPoint>> channels;
};
/// The frequencies that a picture of a sound of `rate` shows.
std::vector<double> ShownFrequencies(std::uint32_t rate, std::size_t count);
Picture ResponsePicture(std::span<const FrequencyCurves> curves, std::uint32_t rate);

/// The spectrum over time of each sound, from the top down, in the same colours.
Picture SpectrogramPicture(std::span<const NamedSound> sounds);

/// The course of one parameter: as it was told, and as the effect took it, chunk by chunk.
struct MovedParameter {
  std::string name;  ///< with its unit
  std::vector<PlotPoint> envelope, sampled;
};
Picture AutomationPicture(std::span<const MovedParameter> parameters);

}  // namespace korva
