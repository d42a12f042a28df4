#include "pitchtime/musical_interval.h"

#include <cstdlib>

namespace korva {

std::optional<MusicalInterval> MusicalIntervalOf(std::int32_t semitones, std::int32_t centTenths,
                                                 double ratio) noexcept {
  constexpr std::int32_t kSemitone = 1000;  // tenths of a cent
  constexpr double kBarelyDown = 0.998, kBarelyUp = 1.002;
  const bool whole = std::abs(centTenths) == kSemitone;
  const bool cancelled = whole && semitones == -centTenths / kSemitone;
  if ((semitones == 0 && !whole) || cancelled || (ratio > kBarelyDown && ratio < kBarelyUp)) return std::nullopt;
  int steps = std::abs(semitones);
  if (whole) steps += (semitones >= 1) == (centTenths > 0) ? 1 : -1;
  char sign = ' ';
  if (!whole && centTenths != 0) sign = centTenths > 0 ? '+' : '-';
  return MusicalInterval{ratio > 1.0, std::abs(steps % 12), sign};
}

}  // namespace korva
