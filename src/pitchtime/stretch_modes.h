#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace korva {

/// One way of cutting and joining blocks, tuned by ear for a kind of material.
struct StretchMode {
  std::int32_t blockMs;         ///< block length, ms
  std::int32_t reservedA;       ///< read by nothing
  std::int32_t searchMs;        ///< longest search, ms
  std::int32_t searchStepBase;  ///< stride of the search at 32 kHz and above, frames
  std::int32_t fadeMs;          ///< longest crossfade, ms
  std::int32_t reservedB;       ///< read by nothing
  std::int32_t matchPercent;    ///< how much louder than the old tail a mix must be to end the search, hundredths
  std::int32_t reservedC;       ///< read by nothing
  std::int32_t reservedD;       ///< read by nothing
  std::int32_t reservedE;       ///< read by nothing
};

/// The modes of both effects; parameters keep the row number. Row n is named by string `kStringPitchsFirstMode`
/// + n or `kStringTimeFirstMode` + n.
// clang-format off
inline constexpr std::array<StretchMode, 19> StretchModeTable = {{
    {300, 11500, 15, 2, 15, 112, 2500, 300, -100, 0},   // music
    {275, 10593, 22, 2, 20, 112, 10000, 300, -100, 0},
    {150, 8849, 15, 2, 15, 112, 1500, 300, -100, 0},
    {220, 10310, 15, 4, 15, 112, 1500, 300, -100, 0},
    {190, 10310, 15, 2, 15, 112, 1500, 300, -100, 0},
    {150, 11500, 15, 3, 10, 112, 1000, 300, -100, 0},
    {90, 19916, 15, 2, 30, 112, 2500, 300, -100, 0},    // speech
    {78, 10674, 12, 2, 10, 112, 2000, 300, -200, 0},
    {80, 10674, 12, 4, 10, 112, 2000, 300, -200, 0},
    {150, 12131, 25, 2, 30, 112, 2500, 300, -100, 0},   // solo instruments
    {130, 11347, 25, 3, 30, 112, 2500, 300, -100, 0},
    {110, 7392, 25, 2, 30, 112, 2500, 300, -100, 0},
    {75, 9215, 10, 2, 10, 112, 1000, 300, -100, 0},
    {90, 10308, 15, 2, 12, 112, 2000, 300, -100, 0},
    {85, 11403, 15, 4, 12, 112, 2000, 300, -100, 0},
    {95, 10674, 15, 8, 12, 112, 2000, 300, -100, 0},
    {50, 11402, 5, 2, 3, 112, 1000, 300, -100, 0},      // drums
    {70, 8853, 9, 2, 8, 112, 2000, 300, -100, 0},
    {50, 10676, 7, 2, 8, 112, 1000, 300, -100, 0},
}};
// clang-format on

inline constexpr std::int32_t kStretchModes = static_cast<std::int32_t>(StretchModeTable.size());

/// The row of `mode`. No setter limits the number, so one outside the table reads as the nearest row.
constexpr const StretchMode& FindStretchMode(std::int32_t mode) noexcept {
  const std::int32_t row = mode < 0 ? 0 : mode >= kStretchModes ? kStretchModes - 1 : mode;
  return StretchModeTable[static_cast<std::size_t>(row)];
}

}  // namespace korva
