#include "plot/numbers.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <numeric>

#include "plot/spectrum.h"

namespace korva {
namespace {

constexpr double kBandOctaves = 1.0 / 24;

float Size(float sample) noexcept {
  const float size = std::fabs(sample);
  return std::isfinite(size) ? size : 0.0F;
}

/// Adds the powers of windows that overlap by half, and answers how many there were. One that the end cut off would
/// show a step that is not there.
std::size_t AddWindows(std::span<const float> channel, PowerSpectrum& spectrum, std::span<const float> window,
                       std::span<double> sum) {
  std::size_t count = 0;
  for (std::size_t at = 0; at == 0 || at + spectrum.size() <= channel.size(); at += spectrum.size() / 2) {
    spectrum.Transform(channel.subspan(at, std::min(spectrum.size(), channel.size() - at)), window, sum);
    ++count;
  }
  return count;
}

/// The power of a sine at full scale: the window lets half of it through, and half of that is at negative frequencies.
constexpr double SineUnity(std::size_t size) noexcept {
  const double quarter = static_cast<double>(size) / 4;
  return quarter * quarter;
}

std::vector<PlotPoint> InDecibels(std::span<const double> frequencies, std::span<const double> powers, double unity) {
  std::vector<PlotPoint> points;
  for (std::size_t i = 0; i < frequencies.size(); ++i) {
    points.push_back({frequencies[i], Decibels(std::sqrt(powers[i] / unity))});
  }
  return points;
}

}  // namespace

std::vector<float> PlainSound::Channel(std::size_t channel) const {
  std::vector<float> plain(frames());
  for (std::size_t i = 0; i < plain.size(); ++i) plain[i] = At(i, channel);
  return plain;
}

float Highest(std::span<const float> samples) noexcept {
  float highest = 0;
  for (const float sample : samples) highest = std::max(highest, Size(sample));
  return highest;
}

std::size_t SilenceNoNumbers(PlainSound& sound) noexcept {
  std::size_t count = 0;
  for (float& sample : sound.samples) {
    if (std::isfinite(sample)) continue;
    sample = 0;
    ++count;
  }
  return count;
}

double Decibels(double level) noexcept {
  constexpr double kMostDb = 200;  // a file may hold samples beyond all measure
  return level > 0 ? std::clamp(20 * std::log10(level), kSilentDb, kMostDb) : kSilentDb;
}

bool SameAsFirst(const PlainSound& sound, std::size_t channel) {
  const float tolerance = Highest(sound.samples) * 1e-5F;
  for (std::size_t i = 0; i < sound.frames(); ++i) {
    if (std::fabs(sound.At(i, channel) - sound.At(i, 0)) > tolerance) return false;
  }
  return true;
}

std::vector<PlotPoint> PeakLevels(std::span<const float> channel, std::uint32_t rate, double fromSeconds,
                                  double toSeconds, std::size_t count) {
  std::vector<PlotPoint> levels(count);
  const double step = (toSeconds - fromSeconds) / static_cast<double>(count);
  const auto frameAt = [&](std::size_t i) {
    const double frame = std::ceil((fromSeconds + step * static_cast<double>(i)) * rate - 1e-6);
    return std::min(static_cast<std::size_t>(std::max(frame, 0.0)), channel.size());
  };
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t from = frameAt(i), to = frameAt(i + 1);
    // Stretches shorter than a frame hold none; the one before goes on.
    const double level = to > from ? Decibels(Highest(channel.subspan(from, to - from)))
                         : i > 0 && step * rate < 1 && from < channel.size() ? levels[i - 1].y
                                                                             : kSilentDb;
    levels[i] = {fromSeconds + step * (static_cast<double>(i) + 0.5), level};
  }
  return levels;
}

std::vector<Echo> FindEchoes(std::span<const float> channel, std::uint32_t rate) {
  constexpr double kStandsOut = 5.6, kFaintest = 1e-3;                        // 15 dB, -60 dB
  const auto around = static_cast<std::size_t>(std::max(rate / 200.0, 2.0));  // 5 ms
  const auto apart = static_cast<std::size_t>(std::max(rate / 4000.0, 1.0));  // 0.25 ms: one echo, however it is spread
  const double least = static_cast<double>(Highest(channel)) * kFaintest;
  std::vector<double> energy(channel.size() + 1);
  for (std::size_t i = 0; i < channel.size(); ++i) {
    const auto size = static_cast<double>(Size(channel[i]));
    energy[i + 1] = energy[i] + size * size;
  }
  std::vector<Echo> echoes;
  for (std::size_t i = 0; i < channel.size(); ++i) {
    const auto size = static_cast<double>(Size(channel[i]));
    if (size <= least || least == 0) continue;
    const std::size_t near = i - std::min(i, apart), far = std::min(i + apart + 1, channel.size());
    const auto nearby = channel.subspan(near, far - near);
    const auto highest =
        std::max_element(nearby.begin(), nearby.end(), [](float a, float b) { return Size(a) < Size(b); });
    if (static_cast<std::size_t>(highest - nearby.begin()) + near != i) continue;
    const std::size_t from = i - std::min(i, around), to = std::min(i + around + 1, channel.size());
    const double rest = std::max(energy[to] - energy[from] - (energy[far] - energy[near]), 0.0);
    const double mean = std::sqrt(rest / static_cast<double>(2 * around));
    if (size < mean * kStandsOut) continue;
    echoes.push_back({static_cast<double>(i) / rate, static_cast<double>(channel[i])});
  }
  return echoes;
}

std::size_t FramesAbove(const PlainSound& sound, double level) {
  for (std::size_t i = sound.samples.size(); i > 0; --i) {
    if (static_cast<double>(Size(sound.samples[i - 1])) >= level) return (i - 1) / sound.channels + 1;
  }
  return 0;
}

std::size_t LongestPause(const PlainSound& sound, double level) {
  std::size_t longest = 0, last = sound.samples.size();
  for (std::size_t i = 0; i < sound.samples.size(); ++i) {
    if (static_cast<double>(Size(sound.samples[i])) < level) continue;
    longest = std::max(longest, i - std::min(last, i));
    last = i;
  }
  return longest / sound.channels;
}

std::vector<double> BandFrequencies(double from, double to, std::size_t count) {
  std::vector<double> frequencies(count);
  for (std::size_t i = 0; i < count; ++i) {
    frequencies[i] = from * std::pow(to / from, static_cast<double>(i) / static_cast<double>(count - 1));
  }
  return frequencies;
}

std::vector<double> BandPowers(std::span<const double> power, std::uint32_t rate, std::span<const double> frequencies,
                               BandRule rule) {
  const auto last = static_cast<double>(power.size() - 1);
  const double perHertz = 2.0 * last / rate;
  const double half = std::exp2(kBandOctaves / 2);
  std::vector<double> bands;
  for (const double frequency : frequencies) {
    const double middle = std::min(frequency * perHertz, last);
    const auto from = static_cast<std::size_t>(std::ceil(middle / half));
    const auto to = static_cast<std::size_t>(std::min(std::floor(middle * half), last));
    if (to > from) {
      const std::span<const double> band = power.subspan(from, to - from + 1);
      bands.push_back(rule == BandRule::kHighest
                          ? *std::max_element(band.begin(), band.end())
                          : std::accumulate(band.begin(), band.end(), 0.0) / static_cast<double>(band.size()));
    } else {
      // Bands narrower than the steps lie between two of them.
      const auto below = static_cast<std::size_t>(middle);
      const std::size_t above = std::min(below + 1, power.size() - 1);
      const double part = middle - std::floor(middle);
      bands.push_back(power[below] * (1 - part) + power[above] * part);
    }
  }
  return bands;
}

std::vector<PlotPoint> ResponseOf(std::span<const float> impulse, std::uint32_t rate,
                                  std::span<const double> frequencies) {
  constexpr std::size_t kLeast = 1U << 15U, kMost = 1U << 18U;
  PowerSpectrum spectrum(std::bit_ceil(std::clamp(impulse.size(), kLeast, kMost)));
  std::vector<double> power(spectrum.size() / 2 + 1);
  spectrum.Transform(impulse.first(std::min(impulse.size(), spectrum.size())), {}, power);
  return InDecibels(frequencies, BandPowers(power, rate, frequencies, BandRule::kMean), 1);
}

std::vector<PlotPoint> SpectrumOf(std::span<const float> channel, std::uint32_t rate,
                                  std::span<const double> frequencies) {
  constexpr std::size_t kSize = 8192;
  PowerSpectrum spectrum(kSize);
  std::vector<double> sum(kSize / 2 + 1);
  const std::size_t count = AddWindows(channel, spectrum, HannWindow(kSize), sum);
  return InDecibels(frequencies, BandPowers(sum, rate, frequencies, BandRule::kMean),
                    SineUnity(kSize) * static_cast<double>(count));
}

Heat SpectrogramOf(const PlainSound& sound, std::size_t columns, std::span<const double> frequencies) {
  constexpr std::size_t kSize = 4096;
  PowerSpectrum spectrum(kSize);
  const std::vector<float> window = HannWindow(kSize);
  Heat heat;
  heat.columns = columns;
  heat.rows = frequencies.size();
  heat.toX = sound.seconds();
  heat.levels.reserve(heat.columns * heat.rows);
  // Half a window of silence before and after, so that a window's middle reaches both ends.
  std::vector<std::vector<float>> channels;
  for (std::size_t channel = 0; channel < sound.channels; ++channel) {
    std::vector<float> padded(kSize / 2);
    const std::vector<float> plain = sound.Channel(channel);
    padded.insert(padded.end(), plain.begin(), plain.end());
    padded.resize(padded.size() + kSize / 2);
    channels.push_back(std::move(padded));
  }
  const auto frameAt = [&](std::size_t column) { return column * sound.frames() / columns; };
  for (std::size_t column = 0; column < columns; ++column) {
    // A window stands around the middle of its column; a column that is wider takes several.
    const std::size_t width = frameAt(column + 1) - frameAt(column), inset = std::min(width, kSize) / 2;
    const std::size_t first = frameAt(column) + inset, last = frameAt(column) + width - inset;
    std::vector<double> sum(kSize / 2 + 1);
    std::size_t count = 0;
    for (const std::vector<float>& padded : channels) {
      const auto part = std::span<const float>(padded).subspan(first, std::max(first, last) - first + kSize);
      count += AddWindows(part, spectrum, window, sum);
    }
    const double unity = SineUnity(kSize) * static_cast<double>(count);
    for (const double power : BandPowers(sum, sound.rate, frequencies, BandRule::kHighest)) {
      heat.levels.push_back(static_cast<float>(Decibels(std::sqrt(power / unity))));
    }
  }
  return heat;
}

std::string ShortNumber(double value, int digits) {
  std::array<char, 64> text{};
  const double unit = std::pow(10.0, digits);
  const double rounded = std::round(value * unit) / unit;
  // The shortest text that is read back as this number has no zeros at its end.
  return {text.data(),
          std::to_chars(text.data(), text.data() + text.size(), rounded == 0 ? 0.0 : rounded, std::chars_format::fixed)
              .ptr};
}

std::vector<Tick> RoundTicks(double from, double to, std::size_t count) {
  std::vector<Tick> ticks;
  if (!(to > from) || !std::isfinite(to - from)) return ticks;
  const double rough = (to - from) / static_cast<double>(count);
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  double step = power * 10;
  for (const double factor : {5.0, 2.0, 1.0}) {
    if (power * factor >= rough * 0.999) step = power * factor;
  }
  const int digits = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
  for (double i = std::ceil(from / step - 1e-9); i * step <= to + step * 1e-9; ++i) {
    ticks.push_back({i * step, ShortNumber(i * step, digits)});
  }
  return ticks;
}

}  // namespace korva
