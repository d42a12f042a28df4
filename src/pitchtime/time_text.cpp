#include "pitchtime/time_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "qvkit/number_signs.h"

namespace korva {
namespace {

constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();

bool IsBlank(WCHAR letter) noexcept {
  return letter == '\t' || letter == 0x3000 || IsSpace(letter);
}

std::uint32_t WithDigit(std::uint32_t number, WCHAR digit) noexcept {
  const std::uint64_t next = std::uint64_t{number} * 10 + static_cast<std::uint64_t>(PlainSign(digit) - '0');
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(next, kLargest));
}

/// Up to four numbers, from the left, of which the last read one is the milliseconds.
class FieldRow {
 public:
  void Push(std::uint32_t number) noexcept {
    if (count_ == numbers_.size()) return;
    ++count_;
    std::shift_left(numbers_.begin(), numbers_.end(), 1);
    numbers_.back() = number;
  }
  TimeFields Carried() const noexcept {
    const std::uint32_t minutes = numbers_[1] + numbers_[2] / 60;
    return {(numbers_[0] + minutes / 60) % 24, minutes % 60, numbers_[2] % 60, numbers_[3]};
  }

 private:
  std::array<std::uint32_t, 4> numbers_{};
  std::size_t count_ = 0;
};

/// Cuts a run of digits: by two, and at the end of the text by three for the milliseconds.
void PushRun(const WCHAR* run, std::size_t length, bool isLast, FieldRow& row) noexcept {
  const std::size_t tail = isLast ? 3 : 2;
  while (length > 0) {
    const std::size_t before = length > tail ? length - tail : 0;
    const std::size_t size = before == 0 ? length : 2 - before % 2;
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < size; ++i) number = WithDigit(number, run[i]);
    row.Push(number);
    run += size;
    length -= size;
  }
}

/// A number of the strict reader, which ends before a colon or the end of the text.
class StrictNumber {
 public:
  const WCHAR* Read(const WCHAR* text) noexcept {
    while (IsBlank(*text)) ++text;
    for (; IsDigit(*text) || PlainSign(*text) == ','; ++text) {
      if (IsDigit(*text)) whole = WithDigit(whole, *text);
    }
    if (PlainSign(*text) == '.') {
      std::uint32_t place = 100;
      for (++text; IsDigit(*text) || PlainSign(*text) == ','; ++text) {
        if (!IsDigit(*text)) continue;
        milliseconds += place * static_cast<std::uint32_t>(PlainSign(*text) - '0');
        place /= 10;
      }
    }
    while (*text != 0 && PlainSign(*text) != ':') ++text;
    return text;
  }

  std::uint32_t whole = 0, milliseconds = 0;
};

bool HasStrictShape(const WCHAR* text) noexcept {
  int colons = 0, points = 0;
  for (; *text != 0; ++text) {
    if (PlainSign(*text) == '.') ++points;
    if (PlainSign(*text) != ':') continue;
    if (points > 0) return false;
    ++colons;
  }
  return colons <= 2 && points <= 1;
}

}  // namespace

ShortText FormatSamplesAsTime(std::uint32_t rate, double frames, PartMillisecond part) noexcept {
  constexpr double kHour = 3600000, kMinute = 60000, kSecond = 1000;
  constexpr double kNudge = 1.5e-08;
  double left = rate != 0 && frames > 0 ? frames * 1000.0 / rate : 0.0;
  const auto take = [&left](double unit) {
    const double count = std::min(std::trunc(left / unit), static_cast<double>(kLargest));
    left -= count * unit;
    return static_cast<std::uint32_t>(count);
  };
  const std::uint32_t hours = take(kHour), minutes = take(kMinute), seconds = take(kSecond);
  if (part == PartMillisecond::kRounded) left = std::round(left + kNudge);
  ShortText text;
  QvPrintF(text.characters, KORVA_WTEXT("%02u:%02u:%02u.%03u"), {hours, minutes, seconds, take(1)});
  return text;
}

double FramesOfTime(double milliseconds, std::uint32_t rate) noexcept {
  return std::trunc(milliseconds * rate / 1000 + 0.999);
}

TimeFields ParseFreeTimeText(const WCHAR* text) noexcept {
  if (text == nullptr) return {};
  const WCHAR* lastDigit = nullptr;
  bool endsInSign = false;
  for (const WCHAR* at = text; *at != 0; ++at) {
    if (IsDigit(*at)) {
      lastDigit = at;
      endsInSign = false;
    } else {
      endsInSign = endsInSign || !IsBlank(*at);
    }
  }
  FieldRow row;
  if (lastDigit == nullptr) return {};
  for (const WCHAR* at = text; at <= lastDigit;) {
    const WCHAR* const run = at;
    while (IsDigit(*at)) ++at;
    PushRun(run, static_cast<std::size_t>(at - run), at > lastDigit && !endsInSign, row);
    while (at <= lastDigit && !IsDigit(*at)) ++at;
  }
  if (endsInSign) row.Push(0);
  return row.Carried();
}

TimeFields ParseTimeText(const WCHAR* text) noexcept {
  TimeFields fields;
  if (text == nullptr || !HasStrictShape(text)) return fields;
  for (;; ++text) {
    StrictNumber number;
    text = number.Read(text);
    fields = {fields.minutes, fields.seconds, number.whole, number.milliseconds};
    if (*text == 0) return fields;
  }
}

}  // namespace korva
