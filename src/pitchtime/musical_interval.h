#pragma once

#include <cstdint>
#include <optional>

namespace korva {

/// What musicians call a shift.
struct MusicalInterval {
  bool up;
  int step;   ///< 1 minor second to 11 major seventh, 0 for octaves
  char sign;  ///< '+' or '-' where cents are on top that make no semitone, else ' '

  bool operator==(const MusicalInterval&) const = default;
};

/// The interval nearest to a shift of `semitones` and `centTenths`, whose frequency ratio is `ratio`. Nothing where the
/// shift is none, or is made of less than a semitone of cents.
std::optional<MusicalInterval> MusicalIntervalOf(std::int32_t semitones, std::int32_t centTenths,
                                                 double ratio) noexcept;

}  // namespace korva
