#pragma once

#include <array>
#include <cstdint>

#include "plot/picture.h"

namespace korva {

struct Colour {
  double red, green, blue;
};

constexpr Colour Hex(std::uint32_t rgb) noexcept {
  return {(rgb >> 16U & 255U) / 255.0, (rgb >> 8U & 255U) / 255.0, (rgb & 255U) / 255.0};
}

/// The colours of a picture. Those of the inks differ in lightness too, and for every kind of colour vision: a set that
/// was published for this by Okabe and Ito, lightened on dark.
struct Palette {
  Colour paper, text, quietText, grid;
  std::array<Colour, 5> inks;
};

inline constexpr Palette kLightPalette = {Hex(0xffffff),
                                          Hex(0x1d2830),
                                          Hex(0x566570),
                                          Hex(0xd9e0e5),
                                          {Hex(0x0072b2), Hex(0xd55e00), Hex(0x009e73), Hex(0xa8487f), Hex(0x98a4ad)}};
inline constexpr Palette kDarkPalette = {Hex(0x182229),
                                         Hex(0xe4eaee),
                                         Hex(0xa5b3bd),
                                         Hex(0x33434e),
                                         {Hex(0x56b4e9), Hex(0xf0a030), Hex(0x2fcf9e), Hex(0xe39cc4), Hex(0x7c8c97)}};

/// Levels as colours, 0 to 1: ever lighter, from dark blue over green to yellow, which all eyes put in the same order.
constexpr Colour HeatColour(double level) noexcept {
  constexpr std::array<Colour, 9> kStops = {Hex(0x00204d), Hex(0x133a6b), Hex(0x404d6b), Hex(0x62656e), Hex(0x7d7c78),
                                            Hex(0x9b9476), Hex(0xbcaf6f), Hex(0xdfcb5d), Hex(0xffea46)};
  const double at = (level < 0 ? 0 : level > 1 ? 1 : level) * (kStops.size() - 1);
  const auto below = static_cast<std::size_t>(at);
  const Colour& from = kStops[below];
  const Colour& to = kStops[below + 1 < kStops.size() ? below + 1 : below];
  const double part = at - static_cast<double>(below);
  return {from.red + (to.red - from.red) * part, from.green + (to.green - from.green) * part,
          from.blue + (to.blue - from.blue) * part};
}

}  // namespace korva
