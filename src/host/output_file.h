#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "host/outcome.h"

namespace korva {

/// A file in the making. It has no name, or a hidden one where the disk knows no files without, and takes its own at
/// `Commit`; without that it goes away. What is no plain file (a device, a pipe, standard output) gets the whole at
/// `Commit`. A file that is replaced leaves its permissions to the new one.
class OutputFile {
 public:
  /// For the file `path`; fails where it exists and `overwrite` is not set.
  static Outcome<OutputFile> Create(const std::string& path, bool overwrite);
  /// For a stream that cannot be moved in.
  static Outcome<OutputFile> CreateFor(std::ostream& stream);

  OutputFile(OutputFile&& other) noexcept;
  OutputFile& operator=(OutputFile&&) = delete;
  ~OutputFile();

  /// Open for reading and writing, at its start. Stays this object's own.
  int descriptor() const noexcept { return descriptor_; }
  MaybeExit Write(const void* data, std::size_t bytes);
  /// Gives the file its name. Everything has been written to the descriptor.
  MaybeExit Commit();

 private:
  OutputFile() = default;
  MaybeExit CopyTo(std::ostream& stream) const;
  MaybeExit CopyToDevice() const;
  bool MakeHidden();
  MaybeExit TakeName();
  bool LinkAs(const std::string& path) const;

  std::string shown_;      // as the user named it
  std::string target_;     // what takes the new content, behind any links
  std::string temporary_;  // a hidden name; empty where there is none
  bool isNameless_ = false;
  std::ostream* stream_ = nullptr;
  bool overwrite_ = false;
  int descriptor_ = -1;
};

/// Opens a file without a name, gone with its last descriptor; -1 with `errno` when there can be none.
int OpenNameless();
/// Writes all of `data` to a descriptor; false with `errno` when it takes no more.
bool WriteAll(int descriptor, const void* data, std::size_t bytes);
/// Whether two paths lead to the same file, or would once it is there.
bool SameFile(const std::string& left, const std::string& right);
/// The content of a file or a pipe, cut off after `most` bytes.
Outcome<std::vector<char>> ReadFile(const std::string& path, std::size_t most);

/// The ending of a file's name in small letters, without its dot.
std::string ExtensionOf(const std::string& path);

/// `text` and what the system says of `errno`.
std::string WithSystemReason(const std::string& text);

}  // namespace korva
