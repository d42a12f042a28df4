#pragma once

#include <array>
#include <cstdint>

namespace korva {

enum TempoInfoFlags : std::uint32_t {
  kTempoValid = 1,
  kTempoChanged = 2,
  kMeterValid = 4,
  kMeterChanged = 8,
};

/// The host's tempo and meter over one chunk, as an engine reads them.
struct TempoInfo {
  std::uint32_t flags = 0;  ///< TempoInfoFlags
  double bpm = 120.0;       ///< beats (quarter notes) per minute
  std::int32_t numerator = 4;
  std::int32_t denominator = 4;
  double position = 0.0;  ///< start of the chunk in frames, loops taken out
};

/// Lengths of notes in quarter notes: triplet, plain and dotted, from the 64th to the half.
inline constexpr std::array<double, 18> kNoteQuarters = {1.0 / 24, 1.0 / 16, 3.0 / 32, 1.0 / 12, 1.0 / 8, 3.0 / 16,
                                                         1.0 / 6,  1.0 / 4,  3.0 / 8,  1.0 / 3,  1.0 / 2, 3.0 / 4,
                                                         2.0 / 3,  1.0,      3.0 / 2,  4.0 / 3,  2.0,     3.0};

/// The note index after the table's rows: one whole measure of the meter in force.
inline constexpr std::int32_t kNoteMeasure = 18;

/// Seconds of a quarter note. Without a valid tempo it is 2.0, slower than the record's own default of 120 bpm: an
/// effect that follows a song of unknown tempo should not flutter.
inline double BeatSeconds(const TempoInfo& info) noexcept {
  return (info.flags & kTempoValid) != 0 ? 60.0 / info.bpm : 2.0;
}

/// Quarter notes of the note `index`, 0 to 18; an index outside reads as the nearest.
inline double NoteBeats(const TempoInfo& info, std::int32_t index) noexcept {
  if (index < kNoteMeasure) return kNoteQuarters[static_cast<std::size_t>(index < 0 ? 0 : index)];
  if ((info.flags & kMeterValid) == 0) return 4.0;
  return 4.0 / info.denominator * info.numerator;
}

}  // namespace korva
