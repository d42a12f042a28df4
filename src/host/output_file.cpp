#include "host/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <random>
#include <utility>

#include "host/interrupt.h"

namespace korva {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kCopySize = 65536;
constexpr mode_t kPlainMode = 0666;  // what the umask leaves of it, as for any file

}  // namespace

bool WriteAll(int descriptor, const void* data, std::size_t bytes) {
  const auto* at = static_cast<const char*>(data);
  while (bytes != 0) {
    const ssize_t written = ::write(descriptor, at, bytes);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    at += written;
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

bool SameFile(const std::string& left, const std::string& right) {
  std::error_code error;
  if (fs::equivalent(left, right, error)) return true;
  const fs::path one = fs::weakly_canonical(fs::absolute(left, error), error);
  return !error && one == fs::weakly_canonical(fs::absolute(right, error), error) && !error;
}

Outcome<std::vector<char>> ReadFile(const std::string& path, std::size_t most) {
  const int descriptor = OpenWaiting(path.c_str(), O_RDONLY);
  if (descriptor < 0) return Interrupted() ? Failed("interrupted") : Failed(WithSystemReason("cannot open " + path));
  std::vector<char> bytes;
  ssize_t got = 1;
  while (got > 0 && bytes.size() < most) {
    const std::size_t before = bytes.size();
    bytes.resize(std::min(most, before + kCopySize));
    got = ReadWaiting(descriptor, bytes.data() + before, bytes.size() - before);
    bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  }
  const int reason = errno;
  ::close(descriptor);
  errno = reason;
  if (got >= 0) return bytes;
  return Interrupted() ? Failed("interrupted") : Failed(WithSystemReason("cannot read " + path));
}

std::string ExtensionOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::size_t dot = name.rfind('.');
  std::string extension = dot == std::string::npos ? std::string() : name.substr(dot + 1);
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
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
  const fs::path folder = target.parent_path();
  // Never to be seen before it is whole, whatever ends the process. It takes a name by its place among the descriptors.
  if (fs::exists("/proc/self/fd", error)) {
    file.descriptor_ = ::open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kPlainMode);
  }
  file.isNameless_ = file.descriptor_ >= 0;
  if (!file.isNameless_ && !file.MakeHidden()) return Failed(WithSystemReason("cannot write " + path));
  struct stat replaced {};
  if (::stat(file.target_.c_str(), &replaced) == 0) {
    constexpr mode_t kPermissions = 0777;
    ::fchmod(file.descriptor_, replaced.st_mode & kPermissions);
    // Only for who may give files away; the others keep it.
    [[maybe_unused]] const int given = ::fchown(file.descriptor_, replaced.st_uid, replaced.st_gid);
  }
  return file;
}

bool OutputFile::MakeHidden() {
  std::random_device random;
  constexpr int kAttempts = 16;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const std::string name = ".korva-" + std::to_string(random()) + ".part";
    temporary_ = (fs::path(target_).parent_path() / name).string();
    if (isNameless_) {
      if (LinkAs(temporary_)) return true;
    } else {
      descriptor_ = ::open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kPlainMode);
      if (descriptor_ >= 0) return true;
    }
    if (errno != EEXIST) break;
  }
  temporary_.clear();
  return false;
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
      isNameless_(other.isNameless_),
      stream_(other.stream_),
      overwrite_(other.overwrite_),
      descriptor_(std::exchange(other.descriptor_, -1)) {}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

MaybeExit OutputFile::Write(const void* data, std::size_t bytes) {
  if (WriteAll(descriptor_, static_cast<const char*>(data), bytes)) return std::nullopt;
  return Failed(WithSystemReason("cannot write " + shown_));
}

MaybeExit OutputFile::Commit() {
  if (stream_ != nullptr) return CopyTo(*stream_);
  return temporary_.empty() && !isNameless_ ? CopyToDevice() : TakeName();
}

MaybeExit OutputFile::CopyTo(std::ostream& stream) const {
  errno = 0;
  const bool done = ForEachPart(descriptor_, [&](const char* data, std::size_t bytes) {
    return static_cast<bool>(stream.write(data, static_cast<std::streamsize>(bytes)));
  });
  if (done && stream.flush()) return std::nullopt;
  if (Interrupted()) return Failed("interrupted");
  return Failed(errno != 0 ? WithSystemReason("cannot write " + shown_) : "cannot write " + shown_);
}

MaybeExit OutputFile::CopyToDevice() const {
  const int device = OpenWaiting(target_.c_str(), O_WRONLY);
  bool done = device >= 0 && ForEachPart(descriptor_, [&](const char* data, std::size_t bytes) {
                return WriteWaiting(device, data, bytes);
              });
  const int reason = errno;
  if (device >= 0 && ::close(device) != 0) done = false;
  if (done) return std::nullopt;
  if (Interrupted()) return Failed("interrupted");
  if (reason != 0) errno = reason;
  return Failed(WithSystemReason("cannot write " + shown_));
}

bool OutputFile::LinkAs(const std::string& path) const {
  const std::string own = "/proc/self/fd/" + std::to_string(descriptor_);
  return ::linkat(AT_FDCWD, own.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

MaybeExit OutputFile::TakeName() {
  const auto failure = [&] { return Failed(WithSystemReason("cannot write " + shown_)); };
  if (isNameless_) {
    if (LinkAs(target_)) return std::nullopt;
    if (errno != EEXIST) return failure();
    if (!overwrite_) return Failed(shown_ + " exists by now; --overwrite replaces it");
    // Only a file that has a name can replace another.
    if (!MakeHidden()) return failure();
  }
  // Space that a network disk had promised may be missing only now.
  if (::close(std::exchange(descriptor_, -1)) != 0) return failure();
  if (!overwrite_) {
    // A link never replaces a file that came into being meanwhile; not every disk has links.
    if (::link(temporary_.c_str(), target_.c_str()) == 0) return std::nullopt;
    if (errno == EEXIST) return Failed(shown_ + " exists by now; --overwrite replaces it");
  }
  if (::rename(temporary_.c_str(), target_.c_str()) != 0) return failure();
  temporary_.clear();
  return std::nullopt;
}

}  // namespace korva
