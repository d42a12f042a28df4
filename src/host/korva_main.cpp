#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <exception>
#include <iostream>
#include <streambuf>
#include <string_view>
#include <system_error>
#include <vector>

#include "host/interrupt.h"
#include "host/korva.h"
#include "host/output_file.h"

namespace {

/// A standard stream whose waiting ends when the user interrupts; the library's own would wait on. A failed read makes
/// the stream bad, and is not taken for its end.
class DescriptorBuffer final : public std::streambuf {
 public:
  using Write = bool(int descriptor, const void* data, std::size_t bytes);
  explicit DescriptorBuffer(int descriptor, Write* write = &korva::WriteWaiting)
      : descriptor_(descriptor), write_(write) {
    setp(bytes_.data(), End());
  }

 protected:
  int_type underflow() override {
    const ssize_t got = korva::ReadWaiting(descriptor_, bytes_.data(), bytes_.size());
    if (got < 0) throw std::system_error(errno, std::generic_category());
    if (got == 0) return traits_type::eof();
    setg(bytes_.data(), bytes_.data(), bytes_.data() + got);
    return traits_type::to_int_type(bytes_[0]);
  }
  int_type overflow(int_type c) override {
    if (sync() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
  }
  int sync() override {
    if (!write_(descriptor_, pbase(), static_cast<std::size_t>(pptr() - pbase()))) return -1;
    setp(bytes_.data(), End());
    return 0;
  }

 private:
  char* End() { return bytes_.data() + bytes_.size(); }

  const int descriptor_;
  Write* const write_;
  std::array<char, 65536> bytes_;
};

/// Makes sure of the three standard descriptors, so that no file opened later takes the place of one. What was closed
/// fails as before: input that can only be written, output that can only be read.
void HoldStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) >= 0) continue;
    // The lowest free number is given, so this is it.
    if (::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor) std::_Exit(korva::kFailed);
  }
}

/// The descriptor that messages go to. Decoders speak of damaged files on standard error by themselves; who wants quiet
/// wants it of them too.
int MessageDescriptor(const std::vector<std::string>& arguments) {
  if (std::find(arguments.begin(), arguments.end(), "--quiet") == arguments.end()) return STDERR_FILENO;
  const int own = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (own < 0 || nowhere < 0) return STDERR_FILENO;
  ::dup2(nowhere, STDERR_FILENO);
  ::close(nowhere);
  return own;
}

int Run(int count, char** words) {
  const std::vector<std::string> arguments(words + (count > 0 ? 1 : 0), words + count);
  const int messages = MessageDescriptor(arguments);
  static DescriptorBuffer input(STDIN_FILENO), output(STDOUT_FILENO);
  // What is said of an interrupt must not end with it.
  static DescriptorBuffer error(messages, &korva::WriteAll);
  std::istream in(&input);
  std::ostream out(&output), err(&error);
  err << std::unitbuf;
  korva::Streams streams{in, out, err, ::isatty(STDOUT_FILENO) != 0, ::isatty(messages) != 0};
  return korva::RunKorva(arguments, streams);
}

}  // namespace

int main(int count, char** words) {
  HoldStandardDescriptors();
  korva::CatchInterrupts();
  // A reader that went away, or a file that may not grow, is a failed write and no reason to drop everything.
  for (const int number : {SIGPIPE, SIGXFSZ}) std::signal(number, SIG_IGN);
  int exitCode = korva::kFailed;
  try {
    exitCode = Run(count, words);
  } catch (const std::exception&) {
    constexpr std::string_view kNoMemory = "korva: out of memory\n";
    korva::WriteAll(STDERR_FILENO, kNoMemory.data(), kNoMemory.size());
  }
  korva::EndByInterrupt();
  return exitCode;
}
