#pragma once

#include <cstdint>

namespace korva {

// What the change of a parameter asks of its engine, as bits of a mask.

inline constexpr std::uint32_t kChangeRefresh = 1;  ///< gains, filters, rates: all audio stays
inline constexpr std::uint32_t kChangeRebuild = 2;  ///< what lines and buffers are made for

}  // namespace korva
