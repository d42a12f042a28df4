#include <algorithm>
#include <cmath>
#include <limits>

#include "qvkit/number_signs.h"
#include "qvkit/text.h"

namespace korva {
namespace {

constexpr int kMostDigits = 15;  // any whole number of so many digits is a double
constexpr std::array<double, kMostDigits + 1> kPowersOfTen = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                              1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

struct Number {
  bool negative = false;
  std::int64_t digits = 0;
  int decimals = 0;  // of the digits, so many stand behind the decimal sign
  const WCHAR* end = nullptr;
};

/// Exactly three digits follow: a group, and not decimals.
bool GroupFollows(const WCHAR* at) noexcept {
  for (int i = 0; i < 3; ++i) {
    if (!IsDigit(at[i])) return false;
  }
  return !IsDigit(at[3]);
}

/// One scan over a text.
class Reader {
 public:
  Reader(const WCHAR* text, bool blanksGroup, bool decimals) noexcept
      : at_(text),
        signs_(CurrentNumberSigns()),
        blanksGroup_(blanksGroup && IsSpace(signs_.group)),
        decimals_(decimals) {}

  Number Read() noexcept {
    FindStart();
    int inGroup = 0;
    bool grouped = false;
    for (;; ++at_) {
      if (IsDigit(*at_)) {
        Take();
        ++inGroup;
      } else if (number_.digits > 0 && IsGroupSign(*at_) && GroupFollows(at_ + 1) &&
                 (grouped ? inGroup == 3 : inGroup <= 3 && !IsLone(at_))) {
        inGroup = 0;
        grouped = true;
      } else {
        break;
      }
    }
    if (IsDecimalSign(*at_)) {
      for (++at_; IsDigit(*at_); ++at_) {
        if (count_ < kMostDigits) ++number_.decimals;
        TakeDecimal();
      }
    }
    number_.end = at_;
    return number_;
  }

 private:
  void FindStart() noexcept {
    for (; *at_ != 0 && !IsDigit(*at_); ++at_) {
      const bool starts = IsDigit(at_[1]) || (IsDecimalSign(at_[1]) && IsDigit(at_[2]));
      if (PlainSign(*at_) == '-' && starts) number_.negative = true;
      if (IsDecimalSign(*at_) && IsDigit(at_[1])) return;
    }
  }
  void Take() noexcept {
    if (count_ < kMostDigits) {
      number_.digits = number_.digits * 10 + (PlainSign(*at_) - '0');
      if (number_.digits > 0) ++count_;
    } else {
      number_.digits = static_cast<std::int64_t>(kPowersOfTen.back());  // beyond every range: stays there
    }
  }
  void TakeDecimal() noexcept {
    if (count_ >= kMostDigits) return;  // further places cannot change what is cut off anyway
    number_.digits = number_.digits * 10 + (PlainSign(*at_) - '0');
    ++count_;
  }
  bool IsGroupSign(WCHAR letter) const noexcept {
    const WCHAR plain = PlainSign(letter);
    if (plain == signs_.group || plain == '\'' || plain == 0x2019) return true;
    return IsSpace(letter) && (blanksGroup_ || (letter != ' ' && IsSpace(signs_.group)));
  }
  /// Where decimals are expected, a sign that no other one follows parts them, whatever the locale groups by.
  bool IsLone(const WCHAR* sign) const noexcept {
    constexpr int kGroup = 3;
    return decimals_ && IsDecimalSign(*sign) && !(IsDecimalSign(sign[kGroup + 1]) && IsDigit(sign[kGroup + 2]));
  }
  bool IsDecimalSign(WCHAR letter) const noexcept {
    const WCHAR plain = PlainSign(letter);
    return plain == signs_.decimal || plain == '.' || plain == ',';
  }

  const WCHAR* at_;
  NumberSigns signs_;
  bool blanksGroup_;
  bool decimals_;
  int count_ = 0;  // significant digits so far
  Number number_;
};

Number ReadNumber(const WCHAR* text, const WCHAR** next, bool blanksGroup, bool decimals) noexcept {
  constexpr WCHAR kNothing = 0;
  const Number number = Reader(text != nullptr ? text : &kNothing, blanksGroup, decimals).Read();
  if (next != nullptr) *next = text != nullptr ? number.end : nullptr;
  return number;
}

std::int64_t WholePart(const Number& number) noexcept {
  const auto whole = number.digits / static_cast<std::int64_t>(kPowersOfTen[static_cast<std::size_t>(number.decimals)]);
  return number.negative ? -whole : whole;
}

/// Collects characters from the last to the first.
class BackwardText {
 public:
  void Put(WCHAR letter) noexcept {
    if (first_ > 0) characters_[--first_] = letter;
  }
  void CopyTo(std::span<WCHAR> text) const noexcept {
    if (text.empty()) return;
    const std::size_t length = std::min(characters_.size() - first_, text.size() - 1);
    std::copy_n(characters_.begin() + static_cast<std::ptrdiff_t>(first_), length, text.begin());
    text[length] = 0;
  }

 private:
  std::array<WCHAR, 48> characters_{};
  std::size_t first_ = characters_.size();
};

/// `value` in units of 10^-`decimals`.
BackwardText Digits(std::int64_t value, int decimals, bool group) noexcept {
  const NumberSigns signs = CurrentNumberSigns();
  BackwardText text;
  std::uint64_t left = value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  for (int i = 0; i < decimals; ++i, left /= 10) text.Put(static_cast<WCHAR>('0' + left % 10));
  if (decimals > 0) text.Put(signs.decimal);
  int digits = 0;
  do {
    if (group && digits > 0 && digits % 3 == 0) text.Put(signs.group);
    text.Put(static_cast<WCHAR>('0' + left % 10));
    left /= 10;
    ++digits;
  } while (left != 0);
  if (value < 0) text.Put('-');
  return text;
}

void Append(ShortText& text, const WCHAR* tail) noexcept {
  std::size_t at = 0;
  while (text.characters[at] != 0) ++at;
  for (; *tail != 0 && at + 1 < text.characters.size(); ++tail) text.characters[at++] = *tail;
  text.characters[at] = 0;
}

int HeldDecimals(int decimals) noexcept {
  return std::clamp(decimals, 0, 9);
}

}  // namespace

void QvLongToText(std::int32_t value, std::span<WCHAR> text, int group) noexcept {
  Digits(value, 0, group != 0).CopyTo(text);
}

void QvDoubleToText(double value, int decimals, std::span<WCHAR> text) noexcept {
  constexpr double kLargest = 9e17;
  const int places = HeldDecimals(decimals);
  double scaled = std::round(value * kPowersOfTen[static_cast<std::size_t>(places)]);
  if (!(scaled == scaled)) scaled = 0.0;
  Digits(static_cast<std::int64_t>(std::clamp(scaled, -kLargest, kLargest)), places, false).CopyTo(text);
}

ShortText QvGetLabeledStringFixed(std::int32_t value, int decimals, const WCHAR* label, int group) noexcept {
  ShortText text;
  Digits(value, HeldDecimals(decimals), group != 0).CopyTo(text.characters);
  if (label != nullptr) Append(text, label);
  return text;
}

ShortText QvGetdBStringFixed(std::int32_t value, int decimals, std::int32_t floor, const WCHAR* label) noexcept {
  if (value > floor) return QvGetLabeledStringFixed(value, decimals, label, 0);
  ShortText text;
  Append(text, KORVA_WTEXT("-Inf."));
  return text;
}

std::int32_t QvTextToLongToken(const WCHAR* text, const WCHAR** next) noexcept {
  using Limits = std::numeric_limits<std::int32_t>;
  const std::int64_t whole = WholePart(ReadNumber(text, next, true, false));
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(whole, Limits::min(), Limits::max()));
}

std::uint32_t QvTextToDWordToken(const WCHAR* text, const WCHAR** next) noexcept {
  using Limits = std::numeric_limits<std::uint32_t>;
  const std::int64_t whole = WholePart(ReadNumber(text, next, false, false));
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(whole, 0, Limits::max()));
}

double QvTextToDoubleToken(const WCHAR* text, const WCHAR** next) noexcept {
  const Number number = ReadNumber(text, next, true, true);
  const auto digits = static_cast<double>(number.digits);
  const double scale = kPowersOfTen[static_cast<std::size_t>(number.decimals)];
  double value = digits / scale;
  if (std::fma(value, scale, -digits) < 0) value = std::nextafter(value, std::numeric_limits<double>::infinity());
  return number.negative ? -value : value;
}

}  // namespace korva
