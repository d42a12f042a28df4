#pragma once

#include <sndfile.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "audio/sample_format.h"
#include "host/files/channel_order.h"
#include "host/files/dither.h"
#include "host/files/file_bits.h"
#include "host/files/sound_notes.h"
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
  bool isExtensible = false;    ///< the form of WAV that names its channels' places
  std::vector<int> channelMap;  ///< those places; empty where none are told
};

/// The samples of a file without a header.
struct RawSound {
  int sndfileType = 0;  ///< the library's number for the sample type
  std::uint32_t rate = 0, channels = 0;
};

/// Where a chain gets its samples.
class SampleInput {
 public:
  virtual ~SampleInput() = default;
  /// Reads up to `frames` frames as `format`; fewer, or none, at the end. `kFailed` when the file breaks off.
  virtual Outcome<std::size_t> Read(SampleFormat format, void* target, std::size_t frames) = 0;
};

/// Where its samples go.
class SampleOutput {
 public:
  virtual ~SampleOutput() = default;
  virtual MaybeExit Write(const void* data, std::size_t frames) = 0;
};

/// A sound file that is read from front to end. Each sample comes exactly, where the stream's format can hold it.
class SoundReader final : public SampleInput {
 public:
  /// `raw` null: a file that says itself what it is.
  static Outcome<SoundReader> Open(const std::string& path, const RawSound* raw = nullptr);
  /// Takes all of `stream` in first.
  static Outcome<SoundReader> OpenStream(std::istream& stream, const RawSound* raw = nullptr);
  /// A file that was just completed.
  static Outcome<SoundReader> OpenWritten(const OutputFile& file, std::string name) {
    return Adopt(file.descriptor(), nullptr, std::move(name));
  }

  const SoundTraits& traits() const noexcept { return traits_; }
  const SoundNotes& notes() const noexcept { return notes_; }
  /// -1 when the file does not say.
  std::int64_t frames() const noexcept { return frames_; }
  /// Whether the file's samples are plain whole numbers, none of them beyond full scale.
  bool isWhole() const noexcept { return isWhole_; }
  /// The type of the file's samples; 16 bits for what was packed with losses.
  FileBits bits() const noexcept { return bits_; }
  const std::string& name() const noexcept { return name_; }
  /// What is odd about the file, though it can be read; empty where nothing is.
  const std::string& remark() const noexcept { return remark_; }

  Outcome<std::size_t> Read(SampleFormat format, void* target, std::size_t frames) override;

 private:
  /// Keeps all that `read` gives, as the system call does, and reads it from there.
  static Outcome<SoundReader> Spool(std::string name, const RawSound* raw,
                                    const std::function<ssize_t(char*, std::size_t)>& read);
  static Outcome<SoundReader> Adopt(int descriptor, const RawSound* raw, std::string name);
  template <class Policy>
  std::int64_t ReadAs(typename Policy::Sample* target, std::int64_t frames);

  SoundFileHandle file_;
  SoundTraits traits_;
  SoundNotes notes_;
  std::string name_, remark_;
  std::int64_t frames_ = 0, taken_ = 0;
  SampleFormat ownFormat_ = SampleFormat::kFloat32;
  FileBits bits_ = FileBits::kFloat;
  std::span<const std::uint8_t> order_;
  bool isWhole_ = false;  // plain integer samples, whatever their size
  std::vector<std::int16_t> shorts_;
  std::vector<double> doubles_;
};

/// What is asked of an output.
struct OutputWish {
  std::string path;  ///< its ending names the container; WAV for standard output and devices
  SampleFormat stream = SampleFormat::kFloat32;
  std::vector<FileBits> bits;     ///< the sample types that will do, the best one first
  bool onlyThese = false;         ///< no other one will
  bool dither = false;            ///< where samples get narrower
  std::uint32_t rate = 0;         ///< of the stream
  bool rateIsAsked = false;       ///< the file must have this rate
  std::optional<double> quality;  ///< of an encoder, 0 to 1
  bool raw = false;               ///< no header, whatever the ending
};

/// What an output file is made of.
struct SoundPlan {
  SoundTraits traits;                            ///< of the file; its rate may be another than the stream's
  SampleFormat format = SampleFormat::kFloat32;  ///< of the stream that is written
  int sndfileFormat = 0;                         ///< container and sample type
  FileBits bits = FileBits::kFloat;              ///< of the file's samples; `kDouble` for what is packed with losses
  std::string sampleText;                        ///< "16-bit", "32-bit float"
  bool narrowed = false;                         ///< the container holds less than was wished for
  bool dither = false;
  bool holdsFloat = false;      ///< --bits float would do
  std::int64_t mostFrames = 0;  ///< that the container can count
  std::optional<double> quality;
};

/// The plan for an output like `input`. `kBadCall` for an unknown ending, or a sample type that it cannot hold.
Outcome<SoundPlan> PlanOutput(const OutputWish& wish, const SoundTraits& input);

/// What to tell of a sound that is longer than `plan.mostFrames`.
EarlyExit TooLong(const SoundPlan& plan, const std::string& name);

/// A sound file that is written from front to end.
class SoundWriter final : public SampleOutput {
 public:
  /// Writes into `output`, which the caller keeps and commits.
  static Outcome<SoundWriter> Open(const OutputFile& output, const SoundPlan& plan, std::string name);

  /// Before the first frame.
  void KeepNotes(const SoundNotes& notes, const NoteTimes& times) {
    WriteNotes(file_.get(), plan_.sndfileFormat, notes, times);
  }
  /// Frames of the stream's format.
  MaybeExit Write(const void* data, std::size_t frames) override;
  /// The same for doubles, 1.0 at full scale.
  MaybeExit WriteDoubles(const double* data, std::size_t frames);
  /// Completes the file. Nothing can be written after.
  MaybeExit Close();
  /// Samples that lay beyond what the file holds.
  std::int64_t clipped() const noexcept { return clipped_; }
  std::int64_t frames() const noexcept { return written_; }

 private:
  EarlyExit Failure() const;
  MaybeExit CheckRoom(std::size_t frames) const;
  MaybeExit Count(sf_count_t written, std::size_t frames);
  template <class Policy, class Word>
  void Narrow(const typename Policy::Sample* from, std::size_t samples, Word* to) noexcept;
  template <class Policy>
  sf_count_t WriteNarrowed(const typename Policy::Sample* data, std::size_t frames);

  SoundFileHandle file_;
  SoundPlan plan_;
  std::string name_;
  std::span<const std::uint8_t> order_;
  std::int64_t written_ = 0, clipped_ = 0;
  Dither dither_;
  std::vector<std::int16_t> shorts_;
  std::vector<std::int32_t> wholes_;
  std::vector<std::uint8_t> ordered_;
  std::vector<double> doubles_;
};

}  // namespace korva
