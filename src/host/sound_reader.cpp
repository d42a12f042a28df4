#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <limits>
#include <sstream>

#include "audio/format_record.h"
#include "host/interrupt.h"
#include "host/number_text.h"
#include "host/sound_file.h"

namespace korva {
namespace {

struct DescriptorCloser {
  ~DescriptorCloser() { ::close(descriptor); }
  const int descriptor;
};

/// How a sample type of the library stands to the stream formats and to the files that are written.
struct OwnFormat {
  SampleFormat format;
  bool isWhole;
  FileBits bits;
};

OwnFormat OwnFormatOf(int sndfileFormat) {
  switch (sndfileFormat & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
      return {SampleFormat::kPcm8, true, FileBits::k8};
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ALAC_16:
      return {SampleFormat::kPcm16, true, FileBits::k16};
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
      return {SampleFormat::kFloat32, true, FileBits::k24};
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
      return {SampleFormat::kPcm32, true, FileBits::k32};
    case SF_FORMAT_FLOAT:
      return {SampleFormat::kFloat32, false, FileBits::kFloat};
    case SF_FORMAT_DOUBLE:
      return {SampleFormat::kFloat64, false, FileBits::kDouble};
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
    case SF_FORMAT_IMA_ADPCM:
    case SF_FORMAT_MS_ADPCM:
    case SF_FORMAT_GSM610:
      return {SampleFormat::kPcm16, true, FileBits::k16};  // they unpack to 16 bits
    default:
      return {SampleFormat::kFloat32, false, FileBits::k16};
  }
}

enum class Length : std::uint8_t { kAsPromised, kCutShort, kNeverTold };

/// Whether the library had to correct the length of the audio when it opened the file. It reads such files without a
/// word, and says so only in its log. Programs that write into a pipe promise the most that can be said, and those that
/// were killed nothing.
Length ReadLength(SNDFILE* file) {
  std::array<char, 16384> log{};
  sf_command(file, SFC_GET_LOG_INFO, log.data(), static_cast<int>(log.size()));
  std::istringstream lines(log.data());
  for (std::string line; std::getline(lines, line);) {
    if (line.find("File ended unexpectedly") != std::string::npos) return Length::kCutShort;
    if (line.find("wasn't closed properly") != std::string::npos) return Length::kNeverTold;
    const std::size_t first = line.find_first_not_of(' ');
    if (first == std::string::npos) continue;
    const bool isData = line.compare(first, 4, "data") == 0 || line.compare(first, 4, "SSND") == 0 ||
                        line.compare(first, 9, "Data Size") == 0;
    const std::size_t colon = line.find(':');
    const std::size_t should = line.find("(should be ");
    if (!isData || colon == std::string::npos || should == std::string::npos) continue;
    const std::int64_t promised = std::strtoll(line.c_str() + colon + 1, nullptr, 10);
    const std::int64_t there = std::strtoll(line.c_str() + should + 11, nullptr, 10);
    // Some programs take the size of the rest of the file off what a pipe may hold.
    constexpr std::int64_t kLeastPlaceholder = 0x7F000000;
    if (promised > there) return promised < kLeastPlaceholder ? Length::kCutShort : Length::kNeverTold;
  }
  return Length::kAsPromised;
}

}  // namespace

std::string LibraryReason(SNDFILE* file) {
  std::string reason = sf_strerror(file);
  for (const char* const prefix : {"System error : ", "Error : ", "Internal error : "}) {
    if (reason.starts_with(prefix)) reason.erase(0, std::strlen(prefix));
  }
  while (!reason.empty() && (reason.back() == '.' || reason.back() == '\n')) reason.pop_back();
  return reason.empty() || reason == "No Error" ? "the reason is not told" : reason;
}

namespace {

/// A copy of a WAV file whose recorder never came to write the length of its audio, with that length; -1 for any other
/// file. The library reads such a file as an empty one.
int CopyWithLength(int descriptor) {
  const auto read = [&](off_t at, char* bytes, std::size_t count) {
    return ::pread(descriptor, bytes, count, at) == static_cast<ssize_t>(count);
  };
  std::array<char, 12> head{};
  struct stat status {};
  if (!read(0, head.data(), head.size()) || ::fstat(descriptor, &status) != 0) return -1;
  if (std::memcmp(head.data(), "RIFF", 4) != 0 || std::memcmp(head.data() + 8, "WAVE", 4) != 0) return -1;
  constexpr off_t kChunkHead = 8;
  for (off_t at = 12; read(at, head.data(), 8);) {
    std::uint32_t size = 0;
    std::memcpy(&size, head.data() + 4, sizeof size);
    const off_t after = at + kChunkHead;
    if (std::memcmp(head.data(), "data", 4) != 0) {
      at = after + size + (size & 1U);
      continue;
    }
    if (size != 0 || status.st_size <= after || status.st_size > 0xFFFFFFFF) return -1;
    const int copy = OpenNameless();
    std::vector<char> part(65536);
    ssize_t got = 0;
    for (off_t from = 0; copy >= 0 && (got = ::pread(descriptor, part.data(), part.size(), from)) > 0; from += got) {
      if (!WriteAll(copy, part.data(), static_cast<std::size_t>(got))) break;
    }
    const auto audio = static_cast<std::uint32_t>(status.st_size - after);
    const auto whole = static_cast<std::uint32_t>(status.st_size - kChunkHead);
    if (copy < 0 || got != 0 || ::pwrite(copy, &audio, 4, at + 4) != 4 || ::pwrite(copy, &whole, 4, 4) != 4) {
      if (copy >= 0) ::close(copy);
      return -1;
    }
    return copy;
  }
  return -1;
}

}  // namespace

Outcome<SoundReader> SoundReader::Adopt(int descriptor, const RawSound* raw, std::string name) {
  if (const int copy = raw == nullptr ? CopyWithLength(descriptor) : -1; copy >= 0) {
    const DescriptorCloser closer{copy};
    Outcome<SoundReader> reader = Adopt(copy, nullptr, std::move(name));
    if (reader) reader->remark_ = "the header of " + reader->name_ + " does not tell its length; read to its end";
    return reader;
  }
  SF_INFO info{};
  if (raw != nullptr) {
    info.format = SF_FORMAT_RAW | raw->sndfileType;
    info.samplerate = static_cast<int>(raw->rate);
    info.channels = static_cast<int>(raw->channels);
  }
  // The library closes it in every case.
  const int own = ::dup(descriptor);
  if (own < 0 || ::lseek(own, 0, SEEK_SET) != 0) return Failed(WithSystemReason("cannot read " + name));
  SNDFILE* const file = sf_open_fd(own, SFM_READ, &info, SF_TRUE);
  if (file == nullptr) {
    return Failed(name + " is no sound file that can be read: " + LibraryReason(nullptr));
  }
  SoundReader reader;
  reader.file_.reset(file);
  reader.name_ = std::move(name);
  if (info.channels > kMaxChannels) {
    return Failed(reader.name_ + " has " + std::to_string(info.channels) + " channels; the effects take 1 to " +
                  std::to_string(kMaxChannels));
  }
  if (info.channels < 1 || info.samplerate < 1) return Failed(reader.name_ + " has no channels or no sample rate");
  const int container = info.format & SF_FORMAT_TYPEMASK;
  const bool isWave = container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX;
  if (const Length length = ReadLength(file); length != Length::kAsPromised) {
    // A recorder that was killed leaves a WAV file that is good up to where it ends.
    if (length == Length::kCutShort && (!isWave || info.frames == 0)) {
      return Failed(reader.name_ + " is cut short: it ends before the audio that its header promises");
    }
    reader.remark_ = "the header of " + reader.name_ + " does not tell its length; read to its end";
  }
  const OwnFormat kind = OwnFormatOf(info.format);
  reader.ownFormat_ = kind.format;
  reader.isWhole_ = kind.isWhole;
  reader.bits_ = kind.bits;
  reader.order_ = FileOrder(info.format, static_cast<std::uint32_t>(info.channels));
  reader.traits_.rate = static_cast<std::uint32_t>(info.samplerate);
  reader.traits_.channels = static_cast<std::uint32_t>(info.channels);
  reader.traits_.isExtensible = container == SF_FORMAT_WAVEX;
  reader.notes_ = ReadNotes(file, descriptor);
  const bool known = info.frames >= 0 && info.frames != std::numeric_limits<sf_count_t>::max();
  reader.frames_ = known ? info.frames : -1;
  std::vector<int> map(reader.traits_.channels);
  const int mapBytes = static_cast<int>(map.size() * sizeof(int));
  // What is reordered has the stream's own places.
  if (reader.order_.empty() && sf_command(file, SFC_GET_CHANNEL_MAP_INFO, map.data(), mapBytes) != 0) {
    reader.traits_.channelMap = std::move(map);
  }
  return reader;
}

Outcome<SoundReader> SoundReader::Open(const std::string& path, const RawSound* raw) {
  struct stat status {};
  const int descriptor = OpenWaiting(path.c_str(), O_RDONLY);
  if (descriptor < 0) return Interrupted() ? Failed("interrupted") : Failed(WithSystemReason("cannot open " + path));
  const DescriptorCloser closer{descriptor};
  if (::fstat(descriptor, &status) != 0) return Failed(WithSystemReason("cannot open " + path));
  if (S_ISDIR(status.st_mode)) return Failed(path + " is a directory");
  if (!S_ISREG(status.st_mode)) {
    return Spool(path, raw, [&](char* part, std::size_t bytes) { return ReadWaiting(descriptor, part, bytes); });
  }
  if (status.st_size == 0) return Failed(path + " is empty");
  return Adopt(descriptor, raw, path);
}

Outcome<SoundReader> SoundReader::OpenStream(std::istream& stream, const RawSound* raw) {
  return Spool("the input stream", raw, [&](char* part, std::size_t bytes) -> ssize_t {
    stream.read(part, static_cast<std::streamsize>(bytes));
    return stream.bad() ? -1 : stream.gcount();
  });
}

Outcome<SoundReader> SoundReader::Spool(std::string name, const RawSound* raw,
                                        const std::function<ssize_t(char*, std::size_t)>& read) {
  // The length of a sound comes first in most files, and their readers go back and forth: a pipe cannot.
  const int spool = OpenNameless();
  if (spool < 0) return Failed(WithSystemReason("cannot make a temporary file"));
  const DescriptorCloser closer{spool};
  std::array<char, 65536> part;
  std::uint64_t total = 0;
  for (;;) {
    const ssize_t got = read(part.data(), part.size());
    if (Interrupted()) return Failed("interrupted");
    if (got < 0) return Failed(WithSystemReason("cannot read " + name));
    if (got == 0) break;
    if (!WriteAll(spool, part.data(), static_cast<std::size_t>(got))) {
      return Failed(WithSystemReason("cannot keep " + name));
    }
    total += static_cast<std::uint64_t>(got);
  }
  if (total == 0) return Failed(name + " is empty");
  return Adopt(spool, raw, std::move(name));
}

template <class Policy>
std::int64_t SoundReader::ReadAs(typename Policy::Sample* target, std::int64_t frames) {
  SNDFILE* const file = file_.get();
  const std::size_t samples = static_cast<std::size_t>(frames) * traits_.channels;
  constexpr SampleFormat kFormat = Policy::kFormat;
  if constexpr (kFormat == SampleFormat::kFloat64) return sf_readf_double(file, target, frames);
  if constexpr (kFormat == SampleFormat::kFloat32) {
    if (ownFormat_ != SampleFormat::kPcm16) return sf_readf_float(file, target, frames);
    // The library's values, without its call for each sample.
    shorts_.resize(samples);
    const sf_count_t got = sf_readf_short(file, shorts_.data(), frames);
    const std::size_t count = static_cast<std::size_t>(got) * traits_.channels;
    for (std::size_t i = 0; i < count; ++i) target[i] = static_cast<float>(shorts_[i]) * 0x1p-15F;
    return got;
  }
  if constexpr (kFormat == SampleFormat::kPcm32) {
    if (isWhole_) return sf_readf_int(file, target, frames);
  }
  if constexpr (kFormat == SampleFormat::kPcm16) {
    if (ownFormat_ == SampleFormat::kPcm16) return sf_readf_short(file, target, frames);
  }
  if constexpr (kFormat == SampleFormat::kPcm8) {
    if (ownFormat_ == SampleFormat::kPcm8) {
      shorts_.resize(samples);
      const sf_count_t got = sf_readf_short(file, shorts_.data(), frames);
      const std::size_t count = static_cast<std::size_t>(got) * traits_.channels;
      for (std::size_t i = 0; i < count; ++i) target[i] = static_cast<std::uint8_t>((shorts_[i] >> 8) ^ 0x80);
      return got;
    }
  }
  if constexpr (kFormat != SampleFormat::kFloat64 && kFormat != SampleFormat::kFloat32) {
    doubles_.resize(samples);
    const sf_count_t got = sf_readf_double(file, doubles_.data(), frames);
    const std::size_t count = static_cast<std::size_t>(got) * traits_.channels;
    for (std::size_t i = 0; i < count; ++i) target[i] = Policy::Write(doubles_[i]);
    return got;
  }
}

Outcome<std::size_t> SoundReader::Read(SampleFormat format, void* target, std::size_t frames) {
  const std::int64_t got = VisitFormat(format, [&](auto policy) {
    using Policy = decltype(policy);
    auto* const samples = static_cast<typename Policy::Sample*>(target);
    const std::int64_t read = ReadAs<Policy>(samples, static_cast<std::int64_t>(frames));
    if (read > 0) Reorder(order_, false, samples, sizeof *samples, static_cast<std::size_t>(read));
    return read;
  });
  const auto count = static_cast<std::size_t>(got > 0 ? got : 0);
  taken_ += static_cast<std::int64_t>(count);
  if (count == frames) return count;
  if (frames_ >= 0 && taken_ < frames_) {
    return Failed(name_ + " is cut short or damaged: it has " + std::to_string(taken_) + " of " +
                  CountText(frames_, "frame"));
  }
  if (sf_error(file_.get()) != SF_ERR_NO_ERROR)
    return Failed("cannot read " + name_ + ": " + LibraryReason(file_.get()));
  return count;
}

}  // namespace korva
