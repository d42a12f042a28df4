#pragma once

#include <sndfile.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "audio/sample_format.h"
#include "host/outcome.h"
#include "host/output_file.h"

namespace korva {

struct SoundFileCloser {
  void operator()(SNDFILE* file) const noexcept { sf_close(file); }
};
using SoundFileHandle = std::unique_ptr<SNDFILE, SoundFileCloser>;

/// What the library says of its last failure, on `file` or, with null, on none.
std::string LibraryReason(SNDFILE* file);

/// What a sound file holds, as far as an output should be like it.
struct SoundTraits {
  std::uint32_t rate = 0;
  std::uint32_t channels = 0;
  bool has24Bits = false;       ///< whole numbers of 17 to 24 bits, which no stream format has
  bool isExtensible = false;    ///< the form of WAV that names its channels' places
  std::vector<int> channelMap;  ///< those places; empty where none are told
};

/// A sound file that is read from front to end. Each sample comes exactly, where the stream's format can hold it.
class SoundReader {
 public:
  static Outcome<SoundReader> Open(const std::string& path);
  /// Takes all of `stream` in first.
  static Outcome<SoundReader> OpenStream(std::istream& stream);

  const SoundTraits& traits() const noexcept { return traits_; }
  /// -1 when the file does not say.
  std::int64_t frames() const noexcept { return frames_; }
  /// The stream format that is equal to the file's, or float where there is none.
  SampleFormat ownFormat() const noexcept { return ownFormat_; }
  const std::string& name() const noexcept { return name_; }

  /// Reads up to `frames` frames as `format`; fewer, or none, at the end. `kFailed` when the file breaks off.
  Outcome<std::size_t> Read(SampleFormat format, void* target, std::size_t frames);

 private:
  /// Keeps all that `read` gives, as the system call does, and reads it from there.
  static Outcome<SoundReader> Spool(std::string name, const std::function<ssize_t(char*, std::size_t)>& read);
  static Outcome<SoundReader> Adopt(SNDFILE* file, const SF_INFO& info, std::string name);
  template <class Policy>
  std::int64_t ReadAs(typename Policy::Sample* target, std::int64_t frames);

  SoundFileHandle file_;
  SoundTraits traits_;
  std::string name_;
  std::int64_t frames_ = 0, taken_ = 0;
  SampleFormat ownFormat_ = SampleFormat::kFloat32;
  bool isWhole_ = false;  // plain integer samples, whatever their size
  std::vector<std::int16_t> shorts_;
  std::vector<double> doubles_;
};

/// What an output file is made of.
struct SoundPlan {
  SoundTraits traits;
  SampleFormat format = SampleFormat::kFloat32;  ///< of the stream that is written
  int sndfileFormat = 0;                         ///< container and sample type
  std::string sampleText;                        ///< "16-bit", "32-bit float"
  bool narrowed = false;                         ///< the container holds less than the stream does
  std::int64_t mostFrames = 0;                   ///< that the container can count
};

/// The plan for an output: the container from `path`'s ending (WAV for standard output and devices), the sample
/// type from the stream's. `keep24Bits`: the input had 24 bits and no other format was asked for. `kWrong` for an
/// unknown ending.
Outcome<SoundPlan> PlanOutput(const std::string& path, const SoundTraits& input, SampleFormat format, bool keep24Bits);

/// What to tell of a sound that is longer than `plan.mostFrames`.
Ending TooLong(const SoundPlan& plan, const std::string& name);

/// A sound file that is written from front to end.
class SoundWriter {
 public:
  /// Writes into `output`, which the caller keeps and commits.
  static Outcome<SoundWriter> Open(const OutputFile& output, const SoundPlan& plan, std::string name);

  Check Write(const void* data, std::size_t frames);
  /// Completes the file. Nothing can be written after.
  Check Close();

 private:
  Ending Failure() const;

  SoundFileHandle file_;
  SoundPlan plan_;
  std::string name_;
  std::int64_t written_ = 0;  // frames
  std::vector<std::int16_t> shorts_;
  std::vector<std::int32_t> wholes_;
};

}  // namespace korva
