#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

#include "host/outcome.h"

namespace korva {

/// A file in the making. It is written under a hidden name beside its own, and takes its own name at `Commit`; without
/// one it goes away. What is no plain file (a device, a pipe, standard output) gets the whole at `Commit`.
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
  Check Write(const void* data, std::size_t bytes);
  /// Gives the file its name. Everything has been written to the descriptor.
  Check Commit();

 private:
  OutputFile() = default;
  Check CopyTo(std::ostream& stream) const;
  Check CopyToDevice() const;
  Check Rename();

  std::string shown_;      // as the user named it
  std::string target_;     // what takes the new content, behind any links
  std::string temporary_;  // empty where there is no file to move
  std::ostream* stream_ = nullptr;
  bool overwrite_ = false;
  int descriptor_ = -1;
};

/// Opens a file without a name, gone with its last descriptor; -1 with `errno` when there can be none.
int OpenNameless();
/// Writes all of `data` to a descriptor; false with `errno` when it takes no more.
bool WriteAll(int descriptor, const char* data, std::size_t bytes);

/// `text` and what the system says of `errno`.
std::string WithSystemReason(const std::string& text);

}  // namespace korva
