#pragma once

#include <array>
#include <cstdint>

namespace korva {

inline constexpr int kReverbCombs = 10;  ///< combs that a network has room for
inline constexpr int kReverbModes = 19;
inline constexpr int kEarlyStyles = 10;
inline constexpr int kEarlyTaps = 3;

/// A reverberation mode: how many combs sound, and their delays. Delays past the count stand in the row all the same:
/// a refresh of a network with more combs than the mode asked for reads them.
struct ReverbModeRow {
  int combCount;
  std::array<double, kReverbCombs> delayMs;
};

/// An early reflection style: when the three taps sound, how loud (negative inverts), and where between left (-100)
/// and right (100).
struct EarlyStyleRow {
  std::array<double, kEarlyTaps> tapMs;
  std::array<std::int32_t, kEarlyTaps> gainPercent;
  std::array<std::int32_t, kEarlyTaps> pan;
};

extern const std::array<ReverbModeRow, kReverbModes> kReverbModeTable;
extern const std::array<EarlyStyleRow, kEarlyStyles> kEarlyStyleTable;

}  // namespace korva
