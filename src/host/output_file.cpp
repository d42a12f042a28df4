#include "host/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <random>
#include <utility>

namespace korva {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kCopySize = 65536;

}  // namespace

bool WriteAll(int descriptor, const char* data, std::size_t bytes) {
  while (bytes != 0) {
    const ssize_t written = ::write(descriptor, data, bytes);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    bytes -= static_cast<std::size_t>(written);
  }
  return true;
}

namespace {

/// Calls `put(data, bytes)` with all that is in the file; false when it could not be read or `put` says so.
template <class Put>
bool ForEachPart(int descriptor, Put&& put) {
  std::array<char, kCopySize> part;
  off_t position = 0;
  for (;;) {
    const ssize_t got = ::pread(descriptor, part.data(), part.size(), position);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
    if (!put(part.data(), static_cast<std::size_t>(got))) return false;
    position += got;
  }
}

}  // namespace

int OpenNameless() {
  std::error_code error;
  errno = ENOENT;
  std::string name = (fs::temp_directory_path(error) / "korva-XXXXXX").string();
  if (error) return -1;
  const int descriptor = ::mkstemp(name.data());
  if (descriptor >= 0) ::unlink(name.c_str());
  return descriptor;
}

std::string WithSystemReason(const std::string& text) {
  return text + ": " + std::strerror(errno);
}

Outcome<OutputFile> OutputFile::Create(const std::string& path, bool overwrite) {
  OutputFile file;
  file.shown_ = path;
  file.overwrite_ = overwrite;
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) return Failed(path + " is a directory");
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    file.descriptor_ = OpenNameless();
    if (file.descriptor_ < 0) return Failed(WithSystemReason("cannot make a temporary file"));
    file.target_ = path;
    return file;
  }
  if (fs::exists(status) && !overwrite) return Failed(path + " exists; --overwrite replaces it");
  // A link stays, and the file that it leads to is replaced.
  fs::path target = path;
  if (fs::is_symlink(fs::symlink_status(path, error))) {
    target = fs::canonical(path, error);
    if (error) return Failed("cannot write " + path + ", a link that leads nowhere: " + error.message());
  }
  file.target_ = target.string();
  std::random_device random;
  constexpr int kAttempts = 16;
  for (int attempt = 0; attempt < kAttempts && file.descriptor_ < 0; ++attempt) {
    const std::string name = ".korva-" + std::to_string(random()) + ".part";
    file.temporary_ = (target.parent_path() / name).string();
    constexpr mode_t kPlainMode = 0666;  // what the umask leaves of it, as for any file
    file.descriptor_ = ::open(file.temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kPlainMode);
    if (file.descriptor_ < 0 && errno != EEXIST) break;
  }
  if (file.descriptor_ < 0) {
    file.temporary_.clear();
    return Failed(WithSystemReason("cannot write " + path));
  }
  return file;
}

Outcome<OutputFile> OutputFile::CreateFor(std::ostream& stream) {
  OutputFile file;
  file.shown_ = "standard output";
  file.stream_ = &stream;
  file.descriptor_ = OpenNameless();
  if (file.descriptor_ < 0) return Failed(WithSystemReason("cannot make a temporary file"));
  return file;
}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : shown_(std::move(other.shown_)),
      target_(std::move(other.target_)),
      temporary_(std::exchange(other.temporary_, std::string())),
      stream_(other.stream_),
      overwrite_(other.overwrite_),
      descriptor_(std::exchange(other.descriptor_, -1)) {}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

Check OutputFile::Write(const void* data, std::size_t bytes) {
  if (WriteAll(descriptor_, static_cast<const char*>(data), bytes)) return std::nullopt;
  return Failed(WithSystemReason("cannot write " + shown_));
}

Check OutputFile::Commit() {
  if (stream_ != nullptr) return CopyTo(*stream_);
  return temporary_.empty() ? CopyToDevice() : Rename();
}

Check OutputFile::CopyTo(std::ostream& stream) const {
  errno = 0;
  const bool done = ForEachPart(descriptor_, [&](const char* data, std::size_t bytes) {
    return static_cast<bool>(stream.write(data, static_cast<std::streamsize>(bytes)));
  });
  if (done && stream.flush()) return std::nullopt;
  return Failed(errno != 0 ? WithSystemReason("cannot write " + shown_) : "cannot write " + shown_);
}

Check OutputFile::CopyToDevice() const {
  const int device = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC);
  bool done = device >= 0 && ForEachPart(descriptor_, [&](const char* data, std::size_t bytes) {
                return WriteAll(device, data, bytes);
              });
  const int reason = errno;
  if (device >= 0 && ::close(device) != 0) done = false;
  if (done) return std::nullopt;
  if (reason != 0) errno = reason;
  return Failed(WithSystemReason("cannot write " + shown_));
}

Check OutputFile::Rename() {
  // Space that a network disk had promised may be missing only now.
  const bool closed = ::close(std::exchange(descriptor_, -1)) == 0;
  if (!closed) return Failed(WithSystemReason("cannot write " + shown_));
  if (!overwrite_) {
    // A link never replaces a file that came into being meanwhile; not every disk has links.
    if (::link(temporary_.c_str(), target_.c_str()) == 0) return std::nullopt;
    if (errno == EEXIST) return Failed(shown_ + " exists by now; --overwrite replaces it");
  }
  if (::rename(temporary_.c_str(), target_.c_str()) != 0) return Failed(WithSystemReason("cannot write " + shown_));
  temporary_.clear();
  return std::nullopt;
}

}  // namespace korva
