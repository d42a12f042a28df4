#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <streambuf>
#include <vector>

#include "host/interrupt.h"
#include "host/korva.h"

namespace {

/// A standard stream whose waiting ends when the user interrupts; the library's own would wait on.
class DescriptorBuffer final : public std::streambuf {
 public:
  explicit DescriptorBuffer(int descriptor) : descriptor_(descriptor) { setp(bytes_.data(), End()); }

 protected:
  int_type underflow() override {
    ssize_t got = -1;
    do {
      got = ::read(descriptor_, bytes_.data(), bytes_.size());
    } while (got < 0 && errno == EINTR && !korva::interrupted.load());
    if (got <= 0) return traits_type::eof();
    setg(bytes_.data(), bytes_.data(), bytes_.data() + got);
    return traits_type::to_int_type(bytes_[0]);
  }
  int_type overflow(int_type c) override {
    if (sync() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
  }
  int sync() override {
    const char* at = pbase();
    while (at != pptr()) {
      const ssize_t written = ::write(descriptor_, at, static_cast<std::size_t>(pptr() - at));
      if (written < 0 && errno == EINTR && !korva::interrupted.load()) continue;
      if (written <= 0) return -1;
      at += written;
    }
    setp(bytes_.data(), End());
    return 0;
  }

 private:
  char* End() { return bytes_.data() + bytes_.size(); }

  const int descriptor_;
  std::array<char, 65536> bytes_;
};

void StopRun(int) {
  korva::interrupted.store(true);
}

void HandleSignals() {
  struct sigaction stop {};
  stop.sa_handler = &StopRun;
  // Once: who asks a second time wants it at any price.
  stop.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaction(number, &stop, nullptr);
  // A reader that went away, or a file that may not grow, is a failed write and no reason to drop everything.
  for (const int number : {SIGPIPE, SIGXFSZ}) std::signal(number, SIG_IGN);
}

}  // namespace

int main(int count, char** words) {
  HandleSignals();
  static DescriptorBuffer input(STDIN_FILENO), output(STDOUT_FILENO);
  std::istream in(&input);
  std::ostream out(&output);
  korva::Streams streams{in, out, std::cerr, ::isatty(STDOUT_FILENO) != 0, ::isatty(STDERR_FILENO) != 0};
  const std::vector<std::string> arguments(words + (count > 0 ? 1 : 0), words + count);
  return korva::RunKorva(arguments, streams);
}
