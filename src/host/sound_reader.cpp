#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
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

/// How a sample type of the library stands to the stream formats.
struct OwnFormat {
  SampleFormat format;
  bool isWhole, has24Bits;
};

OwnFormat OwnFormatOf(int sndfileFormat) {
  switch (sndfileFormat & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
      return {SampleFormat::kPcm8, true, false};
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ALAC_16:
      return {SampleFormat::kPcm16, true, false};
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
      return {SampleFormat::kFloat32, true, true};
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
      return {SampleFormat::kPcm32, true, false};
    case SF_FORMAT_DOUBLE:
      return {SampleFormat::kFloat64, false, false};
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
    case SF_FORMAT_IMA_ADPCM:
    case SF_FORMAT_MS_ADPCM:
    case SF_FORMAT_GSM610:
      return {SampleFormat::kPcm16, true, false};  // they unpack to 16 bits
    default:
      return {SampleFormat::kFloat32, false, false};
  }
}

/// Whether the library had to correct the length of the audio downwards when it opened the file. It reads such files
/// without a word, and says so only in its log. Programs that write into a pipe promise the most that can be said.
bool IsCutShort(SNDFILE* file) {
  std::array<char, 16384> log{};
  sf_command(file, SFC_GET_LOG_INFO, log.data(), static_cast<int>(log.size()));
  std::istringstream lines(log.data());
  for (std::string line; std::getline(lines, line);) {
    if (line.find("File ended unexpectedly") != std::string::npos) return true;
    const std::size_t first = line.find_first_not_of(' ');
    if (first == std::string::npos) continue;
    const bool isData = line.compare(first, 4, "data") == 0 || line.compare(first, 4, "SSND") == 0 ||
                        line.compare(first, 9, "Data Size") == 0;
    const std::size_t colon = line.find(':');
    const std::size_t should = line.find("(should be ");
    if (!isData || colon == std::string::npos || should == std::string::npos) continue;
    const std::int64_t promised = std::strtoll(line.c_str() + colon + 1, nullptr, 10);
    const std::int64_t there = std::strtoll(line.c_str() + should + 11, nullptr, 10);
    constexpr std::int64_t kLeastPlaceholder = 0x7FFF0000;
    if (promised > there && promised < kLeastPlaceholder) return true;
  }
  return false;
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

Outcome<SoundReader> SoundReader::Adopt(SNDFILE* file, const SF_INFO& info, std::string name) {
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
  if (IsCutShort(file))
    return Failed(reader.name_ + " is cut short: it ends before the audio that its header promises");
  const OwnFormat own = OwnFormatOf(info.format);
  reader.ownFormat_ = own.format;
  reader.isWhole_ = own.isWhole;
  reader.traits_.rate = static_cast<std::uint32_t>(info.samplerate);
  reader.traits_.channels = static_cast<std::uint32_t>(info.channels);
  reader.traits_.has24Bits = own.has24Bits;
  reader.traits_.isExtensible = (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_WAVEX;
  const bool known = info.frames >= 0 && info.frames != std::numeric_limits<sf_count_t>::max();
  reader.frames_ = known ? info.frames : -1;
  std::vector<int> map(reader.traits_.channels);
  const int mapBytes = static_cast<int>(map.size() * sizeof(int));
  if (sf_command(file, SFC_GET_CHANNEL_MAP_INFO, map.data(), mapBytes) != 0) reader.traits_.channelMap = std::move(map);
  return reader;
}

Outcome<SoundReader> SoundReader::Open(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) return Failed(path + " is a directory");
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    const int pipe = OpenWaiting(path.c_str(), O_RDONLY);
    if (pipe < 0) return Interrupted() ? Failed("interrupted") : Failed(WithSystemReason("cannot open " + path));
    const DescriptorCloser closer{pipe};
    return Spool(path, [&](char* part, std::size_t bytes) { return ReadWaiting(pipe, part, bytes); });
  }
  if (!fs::exists(status)) return Failed("cannot open " + path + ": " + (error ? error.message() : "no such file"));
  if (::access(path.c_str(), R_OK) != 0) return Failed(WithSystemReason("cannot open " + path));
  if (fs::file_size(path, error) == 0 && !error) return Failed(path + " is empty");
  SF_INFO info{};
  SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
  return Adopt(file, info, path);
}

Outcome<SoundReader> SoundReader::OpenStream(std::istream& stream) {
  return Spool("the input stream", [&](char* part, std::size_t bytes) -> ssize_t {
    stream.read(part, static_cast<std::streamsize>(bytes));
    return stream.bad() ? -1 : stream.gcount();
  });
}

Outcome<SoundReader> SoundReader::Spool(std::string name, const std::function<ssize_t(char*, std::size_t)>& read) {
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
  const int own = ::dup(spool);
  if (own < 0 || ::lseek(own, 0, SEEK_SET) != 0) return Failed(WithSystemReason("cannot read " + name));
  SF_INFO info{};
  SNDFILE* const file = sf_open_fd(own, SFM_READ, &info, SF_TRUE);
  return Adopt(file, info, std::move(name));
}

template <class Policy>
std::int64_t SoundReader::ReadAs(typename Policy::Sample* target, std::int64_t frames) {
  SNDFILE* const file = file_.get();
  const std::size_t samples = static_cast<std::size_t>(frames) * traits_.channels;
  constexpr SampleFormat kFormat = Policy::kFormat;
  if constexpr (kFormat == SampleFormat::kFloat64) return sf_readf_double(file, target, frames);
  if constexpr (kFormat == SampleFormat::kFloat32) return sf_readf_float(file, target, frames);
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
    return ReadAs<Policy>(static_cast<typename Policy::Sample*>(target), static_cast<std::int64_t>(frames));
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
