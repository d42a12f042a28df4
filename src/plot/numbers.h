#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "plot/picture.h"

// What is read out of sound for a picture. Nothing here draws.
namespace korva {

/// A sound in memory: interleaved, 1.0 at full scale.
struct PlainSound {
  std::vector<float> samples;
  std::uint32_t channels = 1, rate = 48000;

  std::size_t frames() const noexcept { return samples.size() / channels; }
  double seconds() const noexcept { return static_cast<double>(frames()) / rate; }
  float At(std::size_t frame, std::size_t channel) const noexcept { return samples[frame * channels + channel]; }
  std::vector<float> Channel(std::size_t channel) const;
};

/// The largest size of a sample.
float Highest(std::span<const float> samples) noexcept;

/// Makes samples that are infinite or no number 0, and answers how many there were.
std::size_t SilenceNoNumbers(PlainSound& sound) noexcept;

/// The lowest level that is told.
inline constexpr double kSilentDb = -144;
double Decibels(double level) noexcept;
/// -90 dB: where a tail is over. What lies below is gone in 16 bits.
inline constexpr double kSilentLevel = 3.1622776601683795e-5;

/// Whether a channel is the same as the first, but for what lies below -100 dB of its peak.
bool SameAsFirst(const PlainSound& sound, std::size_t channel);

/// The loudest sample of each of `count` equal stretches of a channel, in dB; x in seconds, at the stretch's middle.
std::vector<PlotPoint> PeakLevels(std::span<const float> channel, std::uint32_t rate, double fromSeconds,
                                  double toSeconds, std::size_t count);

/// A sound that comes back at once, apart from what is around it.
struct Echo {
  double seconds;
  double value;  ///< of its highest sample, with its sign
};
/// The echoes of an impulse: samples that stand out by 15 dB from the 5 ms on both sides, and lie less than 60 dB below
/// the highest. In order of time.
std::vector<Echo> FindEchoes(std::span<const float> channel, std::uint32_t rate);

/// Frames up to the last sample of any channel at `level` or above; 0 for none.
std::size_t FramesAbove(const PlainSound& sound, double level);
/// The longest pause between samples at `level` or above, in frames.
std::size_t LongestPause(const PlainSound& sound, double level);

/// Frequencies at equal steps of a logarithmic axis, with the width of a band around each.
std::vector<double> BandFrequencies(double from, double to, std::size_t count);
/// How the powers of a band become one.
enum class BandRule : std::uint8_t { kMean, kHighest };
/// The power of each band, 1/24 octave wide; `power` has size / 2 + 1 equal steps up to half of `rate`.
std::vector<double> BandPowers(std::span<const double> power, std::uint32_t rate, std::span<const double> frequencies,
                               BandRule rule);

/// The response that an impulse at the start of `impulse` shows, in dB, at each frequency.
std::vector<PlotPoint> ResponseOf(std::span<const float> impulse, std::uint32_t rate,
                                  std::span<const double> frequencies);
/// The mean power of a sound around each frequency, over its whole length, in dB.
std::vector<PlotPoint> SpectrumOf(std::span<const float> channel, std::uint32_t rate,
                                  std::span<const double> frequencies);

/// Levels in dB over time and frequency, all channels together; a sine at full scale in each is 0 dB.
Heat SpectrogramOf(const PlainSound& sound, std::size_t columns, std::span<const double> frequencies);

/// Round steps through a range: about `count` of them, with their texts.
std::vector<Tick> RoundTicks(double from, double to, std::size_t count);
/// "12.5", "250", "0.25": as short as `digits` after the point allow.
std::string ShortNumber(double value, int digits);

}  // namespace korva
