#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>

#include "host/nearest.h"
#include "host/number_text.h"
#include "host/sound_file.h"

namespace korva {
namespace {

struct Container {
  const char* ending;
  int format;
};

constexpr Container kContainers[] = {
    {"wav", SF_FORMAT_WAV},   {"flac", SF_FORMAT_FLAC}, {"aiff", SF_FORMAT_AIFF}, {"aif", SF_FORMAT_AIFF},
    {"au", SF_FORMAT_AU},     {"snd", SF_FORMAT_AU},    {"caf", SF_FORMAT_CAF},   {"w64", SF_FORMAT_W64},
    {"rf64", SF_FORMAT_RF64}, {"ogg", SF_FORMAT_OGG},   {"oga", SF_FORMAT_OGG},   {"opus", SF_FORMAT_OGG},
    {"mp3", SF_FORMAT_MPEG},
};

struct SampleType {
  int format;
  const char* text;
  std::uint32_t bytes;
};
constexpr SampleType kU8{SF_FORMAT_PCM_U8, "8-bit", 1}, kS8{SF_FORMAT_PCM_S8, "8-bit", 1},
    k16{SF_FORMAT_PCM_16, "16-bit", 2}, k24{SF_FORMAT_PCM_24, "24-bit", 3}, k32{SF_FORMAT_PCM_32, "32-bit", 4},
    kFloat{SF_FORMAT_FLOAT, "32-bit float", 4}, kDouble{SF_FORMAT_DOUBLE, "64-bit float", 8};

/// What compressing containers hold, whatever goes in.
constexpr SampleType kPacked[] = {
    {SF_FORMAT_VORBIS, "Vorbis", 0}, {SF_FORMAT_OPUS, "Opus", 0}, {SF_FORMAT_MPEG_LAYER_III, "MP3", 0}};

/// The sample types that hold a stream of a format, the equal one first.
std::vector<SampleType> TypesFor(SampleFormat format, bool keep24Bits) {
  switch (format) {
    case SampleFormat::kPcm8:
      return {kU8, kS8};
    case SampleFormat::kPcm16:
      return {k16};
    case SampleFormat::kPcm32:
      return {k32, k24};
    case SampleFormat::kFloat32:
      if (keep24Bits) return {k24};
      return {kFloat, k24};
    case SampleFormat::kFloat64:
      break;
  }
  return {kDouble, k24};
}

std::string EndingOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::size_t dot = name.rfind('.');
  std::string ending = dot == std::string::npos ? std::string() : name.substr(dot + 1);
  for (char& c : ending) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ending;
}

bool IsDevice(const std::string& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  return std::filesystem::is_other(status);
}

bool Fits(int format, const SoundTraits& traits) {
  SF_INFO info{};
  info.channels = static_cast<int>(traits.channels);
  info.samplerate = static_cast<int>(traits.rate);
  info.format = format;
  return sf_format_check(&info) != 0;
}

std::string ListOfEndings() {
  std::vector<std::string> endings;
  for (const Container& container : kContainers) {
    SF_INFO info{};
    info.channels = 1;
    info.samplerate = 48000;
    info.format = container.format | (container.format == SF_FORMAT_OGG    ? SF_FORMAT_VORBIS
                                      : container.format == SF_FORMAT_MPEG ? SF_FORMAT_MPEG_LAYER_III
                                                                           : SF_FORMAT_PCM_16);
    if (sf_format_check(&info) != 0) endings.push_back(std::string(".") + container.ending);
  }
  return Joined(endings, ", ");
}

/// How many frames a container can count. The library would write on past the end of a 32-bit count.
std::int64_t MostFrames(int container, const SampleType& type, std::uint32_t channels) {
  const bool counts32Bits = container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX || container == SF_FORMAT_AIFF;
  if (!counts32Bits) return std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMostBytes = 0xFFFFFFFF - 4096;  // with room for the other chunks
  return kMostBytes / (std::int64_t{type.bytes} * channels);
}

/// The nearest 24-bit value in the upper bits of a word.
std::int32_t To24Bits(double value) {
  return ClampAndRound(value * 8388608.0, -8388608.0, 8388607.0) * 256;
}

}  // namespace

Outcome<SoundPlan> PlanOutput(const std::string& path, const SoundTraits& input, SampleFormat format, bool keep24Bits) {
  const std::string ending = path == "-" || IsDevice(path) ? "wav" : EndingOf(path);
  const auto* const container = std::find_if(std::begin(kContainers), std::end(kContainers),
                                             [&](const Container& candidate) { return ending == candidate.ending; });
  if (container == std::end(kContainers)) {
    return Wrong(path + ": the name's ending says what file to write; it can be " + ListOfEndings());
  }
  int base = container->format;
  if (base == SF_FORMAT_WAV && (input.isExtensible || input.channels > 2)) base = SF_FORMAT_WAVEX;
  std::vector<SampleType> types = TypesFor(format, keep24Bits);
  for (const SampleType& packed : kPacked) {
    const bool isOpus = packed.format == SF_FORMAT_OPUS;
    if (base != SF_FORMAT_OGG || isOpus == (ending == "opus")) types.push_back(packed);
  }
  for (const SampleType& type : types) {
    if (!Fits(base | type.format, input)) continue;
    const bool narrowed = type.format == k24.format && !keep24Bits;
    return SoundPlan{input, format, base | type.format, type.text, narrowed, MostFrames(base, type, input.channels)};
  }
  return Failed("." + ending + " files cannot hold " + std::to_string(input.channels) + " channels at " +
                std::to_string(input.rate) + " Hz in this sample format");
}

Ending TooLong(const SoundPlan& plan, const std::string& name) {
  const double seconds = static_cast<double>(plan.mostFrames) / plan.traits.rate;
  return Failed(name + ": this kind of file ends at 4 GiB, which is " + DurationText(seconds) +
                " of this sound; .w64, .rf64, .caf and .flac go on");
}

Outcome<SoundWriter> SoundWriter::Open(const OutputFile& output, const SoundPlan& plan, std::string name) {
  SoundWriter writer;
  writer.plan_ = plan;
  writer.name_ = std::move(name);
  SF_INFO info{};
  info.channels = static_cast<int>(plan.traits.channels);
  info.samplerate = static_cast<int>(plan.traits.rate);
  info.format = plan.sndfileFormat;
  const int own = ::dup(output.descriptor());
  SNDFILE* const file = own >= 0 ? sf_open_fd(own, SFM_WRITE, &info, SF_TRUE) : nullptr;
  if (file == nullptr) return Failed("cannot write " + writer.name_ + ": " + LibraryReason(nullptr));
  writer.file_.reset(file);
  // That chunk holds the time of day, and the same run is to give the same file.
  sf_command(file, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
  std::vector<int> map = plan.traits.channelMap;
  const int mapBytes = static_cast<int>(map.size() * sizeof(int));
  if (!map.empty()) sf_command(file, SFC_SET_CHANNEL_MAP_INFO, map.data(), mapBytes);
  return writer;
}

Check SoundWriter::Write(const void* data, std::size_t frames) {
  SNDFILE* const file = file_.get();
  const std::size_t samples = frames * plan_.traits.channels;
  const auto count = static_cast<sf_count_t>(frames);
  if (count > plan_.mostFrames - written_) return TooLong(plan_, name_);
  const bool to24 = (plan_.sndfileFormat & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_24;
  errno = 0;
  const sf_count_t written = VisitFormat(plan_.format, [&](auto policy) -> sf_count_t {
    using Policy = decltype(policy);
    const auto* const in = static_cast<const typename Policy::Sample*>(data);
    constexpr SampleFormat kFormat = Policy::kFormat;
    if constexpr (kFormat == SampleFormat::kPcm8) {
      shorts_.resize(samples);
      for (std::size_t i = 0; i < samples; ++i) shorts_[i] = static_cast<std::int16_t>((in[i] - 128) * 256);
      return sf_writef_short(file, shorts_.data(), count);
    } else if constexpr (kFormat == SampleFormat::kPcm16) {
      return sf_writef_short(file, in, count);
    } else {
      if (to24) {
        wholes_.resize(samples);
        for (std::size_t i = 0; i < samples; ++i) wholes_[i] = To24Bits(Policy::Read(in[i]));
        return sf_writef_int(file, wholes_.data(), count);
      }
      if constexpr (kFormat == SampleFormat::kPcm32) return sf_writef_int(file, in, count);
      if constexpr (kFormat == SampleFormat::kFloat32) return sf_writef_float(file, in, count);
      if constexpr (kFormat == SampleFormat::kFloat64) return sf_writef_double(file, in, count);
    }
  });
  if (written != count) return Failure();
  written_ += count;
  return std::nullopt;
}

Ending SoundWriter::Failure() const {
  // The compressing parts of the library lose the system's reason on the way.
  return Failed("cannot write " + name_ + ": " + (errno != 0 ? std::strerror(errno) : LibraryReason(file_.get())));
}

Check SoundWriter::Close() {
  if (written_ == 0 && (plan_.sndfileFormat & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG) {
    return Failed("cannot write " + name_ + ": this kind of file cannot hold a sound of no length");
  }
  errno = 0;
  // Some kinds of file get their header with the first frame; one without frames needs it all the same.
  if (written_ == 0) sf_command(file_.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);
  if (sf_error(file_.get()) != SF_ERR_NO_ERROR) return Failure();
  const int result = sf_close(file_.release());
  // What a compressor writes at the very end fails in silence.
  const bool lost = errno == ENOSPC || errno == EFBIG || errno == EDQUOT || errno == EIO;
  if (result == SF_ERR_NO_ERROR && !lost) return std::nullopt;
  return Failed("cannot write " + name_ + ": " + (lost ? std::strerror(errno) : sf_error_number(result)));
}

}  // namespace korva
