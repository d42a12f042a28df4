#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace korva {

/// A finite decimal number, the whole of `text`; nothing for anything else.
std::optional<double> ParseNumber(std::string_view text);
/// The same for a whole number.
std::optional<std::int64_t> ParseWhole(std::string_view text);
/// A length in seconds: "90", "1:30.5" or "1:01:30"; nothing for anything else.
std::optional<double> ParseDuration(std::string_view text);

/// As short as it can be said in ten digits.
std::string NumberText(double value);
/// So that it is read back to the last bit.
std::string ShortestText(double value);
/// "12.5 ms" below a tenth of a second, "1.43 s" below a minute, "2:05.30" and "1:02:05.30" above.
std::string DurationText(double seconds);
/// A level of 1.0 is "0.0 dB"; silence is "-inf dB".
std::string LevelText(double level);
/// "1 channel", "2 channels".
std::string CountText(std::int64_t count, std::string_view what);

}  // namespace korva
