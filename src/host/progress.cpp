#include "host/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <ostream>
#include <string>

#include "host/number_text.h"

namespace korva {

namespace {

/// Columns that a line may take and not touch the next.
std::size_t TerminalWidth() {
  winsize size{};
  return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : 79;
}

}  // namespace

void Progress::Show(std::int64_t done, std::int64_t total) {
  if (stream_ == nullptr || total <= 0) return;
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + kInterval;
  constexpr std::size_t kWidth = 40;
  const double part = std::clamp(static_cast<double>(done) / static_cast<double>(total), 0.0, 1.0);
  const auto filled = static_cast<std::size_t>(part * kWidth);
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  std::string line = "\r[" + std::string(filled, '#') + std::string(kWidth - filled, '.') + "] " +
                     std::to_string(static_cast<int>(part * 100)) + " %";
  if (part > 0.01) line += ", " + DurationText(elapsed / part - elapsed) + " left";
  // A longer line would run over into the next, and stay. What is shorter leaves nothing of the one before.
  const std::size_t width = TerminalWidth();
  line.resize(std::min(std::max(line.size(), shownLength_), width), ' ');
  shownLength_ = line.size();
  *stream_ << line << std::flush;
  shown_ = true;
}

void Progress::Clear() {
  if (!shown_) return;
  *stream_ << "\r" << std::string(shownLength_ - 1, ' ') << "\r" << std::flush;
  shown_ = false;
}

}  // namespace korva
