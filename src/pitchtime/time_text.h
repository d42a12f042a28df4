// Times as text and text as times, the way the pitch and time pages and the command speak of them.
#pragma once

#include <cstdint>

#include "qvkit/text.h"

namespace korva {

/// A time as it is typed: seconds and minutes may stand above 59.
struct TimeFields {
  std::uint32_t hours = 0, minutes = 0, seconds = 0, milliseconds = 0;

  double Milliseconds() const noexcept { return ((hours * 60.0 + minutes) * 60.0 + seconds) * 1000.0 + milliseconds; }
  bool operator==(const TimeFields&) const = default;
};

/// What becomes of a part of a millisecond in a text. Rounded up from 999.5, the last field reads 1000.
enum class PartMillisecond : std::uint8_t { kCut, kRounded };

/// `frames` at `rate` frames per second as "hh:mm:ss.mmm", hours without a limit. What is not a length reads as 0, and
/// so does every length without a rate.
ShortText FormatSamplesAsTime(std::uint32_t rate, double frames, PartMillisecond part) noexcept;

/// The frames of a time at `rate` frames per second, rounded up to a whole frame.
double FramesOfTime(double milliseconds, std::uint32_t rate) noexcept;

/// Reads what looks like a time, from the right: the last number is milliseconds, those before it seconds, minutes and
/// hours, whatever parts them. Digits in one run are milliseconds by three and the rest by two: 013000500 is
/// 01:30:00.500. A text that ends in a sign has an empty last field: "90s" is 90 seconds. Seconds and minutes above 59
/// carry over, and hours wrap at 24. Of more than four numbers the first four count.
TimeFields ParseFreeTimeText(const WCHAR* text) noexcept;

/// Reads "[[hours:]minutes:]seconds[.fraction]", so that "90" is 90 seconds. Commas, and blanks around a number, do not
/// count; a number that is none is 0, one too large the largest. With more than two colons or one point, or a colon
/// behind a point, all fields are 0. Nothing carries over.
TimeFields ParseTimeText(const WCHAR* text) noexcept;

}  // namespace korva
