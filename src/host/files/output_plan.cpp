#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>

#include "host/nearest.h"
#include "host/number_text.h"
#include "host/sound_file.h"

namespace korva {
namespace {

struct Container {
  const char* extension;
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
  FileBits bits;
  const char* text;
  std::uint32_t bytes;
};
// The first of two that hold the same is taken where the container has it.
constexpr SampleType kTypes[] = {
    {SF_FORMAT_PCM_U8, FileBits::k8, "8-bit", 1},
    {SF_FORMAT_PCM_S8, FileBits::k8, "8-bit", 1},
    {SF_FORMAT_PCM_16, FileBits::k16, "16-bit", 2},
    {SF_FORMAT_PCM_24, FileBits::k24, "24-bit", 3},
    {SF_FORMAT_PCM_32, FileBits::k32, "32-bit", 4},
    {SF_FORMAT_FLOAT, FileBits::kFloat, "32-bit float", 4},
    {SF_FORMAT_DOUBLE, FileBits::kDouble, "64-bit float", 8},
};

/// What compressing containers hold, whatever goes in.
constexpr SampleType kPacked[] = {{SF_FORMAT_VORBIS, FileBits::kDouble, "Vorbis", 0},
                                  {SF_FORMAT_OPUS, FileBits::kDouble, "Opus", 0},
                                  {SF_FORMAT_MPEG_LAYER_III, FileBits::kDouble, "MP3", 0}};

bool IsDevice(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_other(std::filesystem::status(path, error));
}

/// Encoders refuse other rates only when the file is opened.
bool EncodesAt(int format, std::uint32_t rate) {
  constexpr std::uint32_t kOpus[] = {8000, 12000, 16000, 24000, 48000};
  constexpr std::uint32_t kMp3[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
  const auto isIn = [&](const auto& rates) {
    return std::find(std::begin(rates), std::end(rates), rate) != std::end(rates);
  };
  const int type = format & SF_FORMAT_SUBMASK;
  return type == SF_FORMAT_OPUS ? isIn(kOpus) : type != SF_FORMAT_MPEG_LAYER_III || isIn(kMp3);
}

bool Fits(int format, std::uint32_t channels, std::uint32_t rate) {
  if (!EncodesAt(format, rate)) return false;
  SF_INFO info{};
  info.channels = static_cast<int>(channels);
  info.samplerate = static_cast<int>(rate);
  info.format = format;
  return sf_format_check(&info) != 0;
}

std::string ListOfExtensions() {
  std::vector<std::string> extensions;
  for (const Container& container : kContainers) {
    const int type = container.format == SF_FORMAT_OGG    ? SF_FORMAT_VORBIS
                     : container.format == SF_FORMAT_MPEG ? SF_FORMAT_MPEG_LAYER_III
                                                          : SF_FORMAT_PCM_16;
    if (Fits(container.format | type, 1, 48000)) extensions.push_back(std::string(".") + container.extension);
  }
  return Joined(extensions, ", ");
}

/// How many frames a container can count. The library would write on past the end of a 32-bit count.
std::int64_t MostFrames(int container, const SampleType& type, std::uint32_t channels) {
  const bool counts32Bits = container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX || container == SF_FORMAT_AIFF;
  if (!counts32Bits) return std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kMostBytes = 0xFFFFFFFF - 4096;  // with room for the other chunks
  return kMostBytes / (std::int64_t{type.bytes} * channels);
}

/// The rates to try: the stream's, and where the container demands another, the next above it or else below.
std::vector<std::uint32_t> RatesFor(const OutputWish& wish) {
  std::vector<std::uint32_t> rates{wish.rate};
  if (wish.rateIsAsked) return rates;
  constexpr std::uint32_t kUsual[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};
  for (const std::uint32_t rate : kUsual) {
    if (rate > wish.rate) rates.push_back(rate);
  }
  for (auto rate = std::rbegin(kUsual); rate != std::rend(kUsual); ++rate) {
    if (*rate < wish.rate) rates.push_back(*rate);
  }
  return rates;
}

/// The sample types to try, the best first, and whether each holds what was wished for.
std::vector<std::pair<SampleType, bool>> TypesFor(const OutputWish& wish, int container, bool isOpus) {
  std::vector<std::pair<SampleType, bool>> types;
  for (const FileBits bits : wish.bits) {
    for (const SampleType& type : kTypes) {
      if (type.bits == bits) types.emplace_back(type, true);
    }
  }
  if (wish.onlyThese) return types;
  // 24 bits are the most that compressing without loss holds.
  types.emplace_back(kTypes[3], false);
  for (const SampleType& packed : kPacked) {
    if (container != SF_FORMAT_OGG || isOpus == (packed.format == SF_FORMAT_OPUS)) types.emplace_back(packed, true);
  }
  return types;
}

}  // namespace

Outcome<SoundPlan> PlanOutput(const OutputWish& wish, const SoundTraits& input) {
  const std::string extension = wish.path == "-" || IsDevice(wish.path) ? "wav" : ExtensionOf(wish.path);
  const auto* const container =
      std::find_if(std::begin(kContainers), std::end(kContainers),
                   [&](const Container& candidate) { return extension == candidate.extension; });
  if (container == std::end(kContainers) && !wish.raw) {
    return BadCall(wish.path + ": the name's ending says what file to write; it can be " + ListOfExtensions());
  }
  int base = wish.raw ? SF_FORMAT_RAW : container->format;
  const bool isEncoded = base == SF_FORMAT_FLAC || base == SF_FORMAT_OGG || base == SF_FORMAT_MPEG;
  if (wish.quality && !isEncoded) {
    return BadCall("--quality goes with an encoder, that of .flac, .ogg, .opus or .mp3; " +
                   (wish.raw ? "a file without a header" : "." + extension) + " has none");
  }
  const bool isWave = base == SF_FORMAT_WAV;
  if (isWave && (input.isExtensible || input.channels > 2)) base = SF_FORMAT_WAVEX;
  for (const auto& [type, holds] : TypesFor(wish, base, extension == "opus")) {
    for (const std::uint32_t rate : RatesFor(wish)) {
      if (!Fits(base | type.format, input.channels, rate)) continue;
      SoundPlan plan;
      plan.traits = input;
      plan.format = wish.stream;
      plan.sndfileFormat = base | type.format;
      plan.bits = type.bits;
      plan.sampleText = type.text;
      plan.traits.rate = rate;
      plan.narrowed = !holds;
      plan.dither = wish.dither;
      plan.mostFrames = MostFrames(base, type, input.channels);
      plan.quality = wish.quality;
      plan.holdsFloat = Fits(base | SF_FORMAT_FLOAT, input.channels, rate);
      return plan;
    }
  }
  const std::string what = wish.raw ? "a file without a header" : "." + extension + " files";
  if (wish.onlyThese) {
    std::vector<std::string> names;
    for (const SampleType& type : kTypes) {
      if (!Fits(base | type.format, input.channels, wish.rate)) continue;
      const char* const name = kFileBits[static_cast<std::size_t>(type.bits)].name;
      if (names.empty() || names.back() != name) names.emplace_back(name);
    }
    return BadCall(what + " cannot hold such samples; " +
                   (names.empty() ? "they have their own, without --bits" : "--bits can be " + Joined(names, ", ")));
  }
  if (wish.rateIsAsked) {
    OutputWish free = wish;
    free.rateIsAsked = false;
    if (const Outcome<SoundPlan> other = PlanOutput(free, input)) {
      return Failed(what + " cannot hold " + CountText(input.channels, "channel") + " at " + std::to_string(wish.rate) +
                    " Hz; --rate " + std::to_string(other->traits.rate) + " is one that they can");
    }
  }
  return Failed(what + " cannot hold " + CountText(input.channels, "channel") + " at " + std::to_string(wish.rate) +
                " Hz" + (wish.rateIsAsked ? "" : " in any way"));
}

EarlyExit TooLong(const SoundPlan& plan, const std::string& name) {
  const double seconds = static_cast<double>(plan.mostFrames) / plan.traits.rate;
  return Failed(name + ": this kind of file ends at 4 GiB, which is " + DurationText(seconds) +
                " of this sound; .w64, .rf64, .caf and .flac go on");
}

}  // namespace korva
