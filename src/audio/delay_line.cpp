#include "audio/delay_line.h"

namespace korva {

void DelayLine::CleanPages(std::size_t first, std::size_t count) noexcept {
  if (count == 0) return;
  for (std::size_t page = first / kPage; page <= (first + count - 1) / kPage; ++page) {
    if (stale_[page] == 0) continue;
    stale_[page] = 0;
    --stalePages_;
    const std::size_t start = page * kPage;
    std::fill_n(values_.data() + start, std::min(kPage, size_ - start), 0.0);
  }
}

void DelayLine::CleanRing(std::ptrdiff_t first, std::size_t count) noexcept {
  if (count >= size_) return CleanPages(0, size_);
  const auto size = static_cast<std::ptrdiff_t>(size_);
  const auto start = static_cast<std::size_t>((first % size + size) % size);
  const std::size_t whole = std::min(count, size_ - start);
  CleanPages(start, whole);
  CleanPages(0, count - whole);
}

}  // namespace korva
