#include "host/number_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace korva {
namespace {

template <class Number>
std::optional<Number> ParseAll(std::string_view text) {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

template <class... Values>
std::string Printed(const char* format, Values... values) {
  std::array<char, 64> buffer{};
  const int length = std::snprintf(buffer.data(), buffer.size(), format, values...);
  return length > 0 ? std::string(buffer.data()) : std::string();
}

}  // namespace

std::optional<double> ParseNumber(std::string_view text) {
  const std::optional<double> value = ParseAll<double>(text);
  return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<std::int64_t> ParseWhole(std::string_view text) {
  return ParseAll<std::int64_t>(text);
}

std::optional<double> ParseDuration(std::string_view text) {
  constexpr int kMostFields = 3;
  double seconds = 0;
  for (int field = 0; field < kMostFields; ++field) {
    const std::size_t colon = text.find(':');
    const std::string_view part = text.substr(0, colon);
    // Only the last field may have a fraction, and only the first may be 60 or more.
    const bool last = colon == std::string_view::npos;
    const std::optional<double> value = ParseNumber(part);
    if (!value || *value < 0 || (!last && *value != std::floor(*value)) || (field > 0 && *value >= 60)) {
      return std::nullopt;
    }
    seconds = seconds * 60 + *value;
    if (last) return seconds;
    text.remove_prefix(colon + 1);
  }
  return std::nullopt;
}

std::string NumberText(double value) {
  return Printed("%.10g", value == 0 ? 0.0 : value);
}

std::string ShortestText(double value) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

std::string DurationText(double seconds) {
  if (seconds > 0 && seconds < 0.1) return Printed("%.1f ms", seconds * 1000);
  if (seconds < 60) return Printed("%.2f s", seconds);
  const double hundredths = std::floor(seconds * 100 + 0.5);
  const double rest = std::fmod(hundredths, 6000) / 100;
  const double minutes = std::floor(hundredths / 6000);
  if (minutes < 60) return Printed("%.0f:%05.2f", minutes, rest);
  return Printed("%.0f:%02.0f:%05.2f", std::floor(minutes / 60), std::fmod(minutes, 60), rest);
}

std::string LevelText(double level) {
  if (!(level > 0)) return "-inf dB";
  const double tenths = std::round(200 * std::log10(level));
  return Printed("%.1f dB", tenths == 0 ? 0.0 : tenths / 10);
}

std::string CountText(std::int64_t count, std::string_view what) {
  return std::to_string(count) + " " + std::string(what) + (count == 1 ? "" : "s");
}

}  // namespace korva
