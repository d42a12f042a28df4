#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>

namespace korva {

/// A bar on a terminal that shows how far a long run is. Short runs and quiet ones show nothing.
class Progress {
 public:
  /// `stream` null: shows nothing at all.
  explicit Progress(std::ostream* stream) : stream_(stream), start_(Clock::now()), next_(start_ + kFirstShown) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { Clear(); }

  /// `done` of `total` frames have been taken in.
  void Show(std::int64_t done, std::int64_t total);
  /// Takes the bar away.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kFirstShown{500}, kInterval{100};

  std::ostream* stream_;
  Clock::time_point start_, next_;
  bool shown_ = false;
  std::size_t shownLength_ = 1;
};

}  // namespace korva
