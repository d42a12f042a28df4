#include <atomic>

#include "qvkit/number_signs.h"
#include "qvkit/text.h"

namespace korva {
namespace {

// Both signs in one word, so that no reader sees one of either locale.
constexpr std::uint32_t Packed(NumberSigns signs) noexcept {
  return static_cast<std::uint32_t>(signs.decimal) << 16 | (static_cast<std::uint32_t>(signs.group) & 0xFFFF);
}
constinit std::atomic<std::uint32_t> currentSigns{Packed(NumberSigns{})};

/// Writes as far as there is room.
class Writer {
 public:
  explicit Writer(std::span<WCHAR> text) noexcept : text_(text) {}
  void Put(WCHAR letter) noexcept {
    if (length_ + 1 < text_.size()) text_[length_++] = letter;
  }
  void Put(const WCHAR* letters) noexcept {
    while (*letters != 0) Put(*letters++);
  }
  void Put(std::int64_t number, int width, WCHAR fill) noexcept {
    constexpr std::size_t kMostDigits = 20;
    std::array<WCHAR, kMostDigits> digits{};
    std::size_t count = 0;
    std::uint64_t left = number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
    do {
      digits[count++] = static_cast<WCHAR>('0' + left % 10);
      left /= 10;
    } while (left != 0);
    const auto sign = static_cast<WCHAR>('-');
    const int blanks = width - static_cast<int>(count) - (number < 0 ? 1 : 0);
    if (number < 0 && fill == '0') Put(sign);
    for (int i = 0; i < blanks; ++i) Put(fill);
    if (number < 0 && fill != '0') Put(sign);
    while (count > 0) Put(digits[--count]);
  }
  void Finish() noexcept {
    if (!text_.empty()) text_[length_] = 0;
  }

 private:
  std::span<WCHAR> text_;
  std::size_t length_ = 0;
};

}  // namespace

void QvText_SetLocale(std::uint32_t locale) noexcept {
  currentSigns.store(Packed(NumberSignsOf(locale)), std::memory_order_relaxed);
}

NumberSigns CurrentNumberSigns() noexcept {
  const std::uint32_t signs = currentSigns.load(std::memory_order_relaxed);
  return {static_cast<WCHAR>(signs >> 16), static_cast<WCHAR>(signs & 0xFFFF)};
}

void QvPrintF(std::span<WCHAR> text, const WCHAR* format, std::initializer_list<PrintArgument> arguments) noexcept {
  constexpr int kWidest = 64;
  Writer writer(text);
  const PrintArgument* argument = arguments.begin();
  for (const WCHAR* at = format; *at != 0; ++at) {
    if (*at != '%') {
      writer.Put(*at);
      continue;
    }
    const WCHAR* kind = at + 1;
    const WCHAR fill = static_cast<WCHAR>(*kind == '0' ? '0' : ' ');
    int width = 0;
    for (; *kind >= '0' && *kind <= '9'; ++kind) width = width < kWidest ? width * 10 + (*kind - '0') : width;
    const bool isNumber = *kind == 'd' || *kind == 'u';
    if (*kind == '%') {
      writer.Put(*kind);
    } else if (isNumber || *kind == 's' || *kind == 'c') {
      if (argument != arguments.end()) {
        if (argument->text() != nullptr) {
          writer.Put(argument->text());
        } else if (*kind == 'c') {
          writer.Put(static_cast<WCHAR>(argument->number()));
        } else {
          writer.Put(argument->number(), width < kWidest ? width : kWidest, fill);
        }
        ++argument;
      }
    } else {
      writer.Put(*at);
      continue;
    }
    at = kind;
  }
  writer.Finish();
}

void QvFixNameForMenu(const WCHAR* name, WCHAR* item, std::size_t capacity) noexcept {
  if (capacity == 0) return;
  std::size_t length = 0;
  for (; *name != 0; ++name) {
    const std::size_t wanted = *name == '&' ? 2 : 1;  // half a doubled mark would be a mark again
    if (length + wanted >= capacity) break;
    if (*name == '&') item[length++] = '&';
    item[length++] = static_cast<std::uint32_t>(*name) < 0x20 ? static_cast<WCHAR>(' ') : *name;
  }
  item[length] = 0;
}

}  // namespace korva
