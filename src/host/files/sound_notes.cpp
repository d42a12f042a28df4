#include "host/files/sound_notes.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace korva {
namespace {

struct TextName {
  int number;
  const char* name;
};
constexpr TextName kTexts[] = {
    {SF_STR_TITLE, "title"},   {SF_STR_COPYRIGHT, "copyright"}, {SF_STR_SOFTWARE, "software"},
    {SF_STR_ARTIST, "artist"}, {SF_STR_COMMENT, "comment"},     {SF_STR_DATE, "date"},
    {SF_STR_ALBUM, "album"},   {SF_STR_LICENSE, "license"},     {SF_STR_TRACKNUMBER, "track number"},
    {SF_STR_GENRE, "genre"},
};

// The library takes no longer ones back.
constexpr std::size_t kLargestRecord = 16000;

std::vector<char> Record(SNDFILE* file, int command, std::size_t size) {
  std::vector<char> record(size);
  if (sf_command(file, command, record.data(), static_cast<int>(size)) != SF_TRUE) record.clear();
  return record;
}

/// Pictures stand in the head of a file: a FLAC block, a frame of ID3, a comment of Vorbis.
bool HasPicture(int descriptor) {
  // Not on the stack, whose growth cannot be refused in order.
  std::vector<char> head(131072);
  const ssize_t got = descriptor >= 0 ? ::pread(descriptor, head.data(), head.size(), 0) : 0;
  const std::string_view bytes(head.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
  if (bytes.starts_with("ID3")) return bytes.find("APIC") != std::string_view::npos;
  if (bytes.starts_with("OggS")) {
    return bytes.find("METADATA_BLOCK_PICTURE=") != std::string_view::npos ||
           bytes.find("metadata_block_picture=") != std::string_view::npos;
  }
  if (!bytes.starts_with("fLaC")) return false;
  constexpr std::size_t kBlockHead = 4;
  constexpr unsigned kPictureBlock = 6, kLastBlock = 0x80;
  const auto byte = [&](std::size_t i) { return static_cast<std::size_t>(static_cast<unsigned char>(bytes[i])); };
  for (std::size_t at = kBlockHead; at + kBlockHead <= bytes.size();) {
    const std::size_t type = byte(at);
    if ((type & ~std::size_t{kLastBlock}) == kPictureBlock) return true;
    if ((type & kLastBlock) != 0) break;
    at += kBlockHead + (byte(at + 1) << 16U | byte(at + 2) << 8U | byte(at + 3));
  }
  return false;
}

/// Whether a WAV or AIFF file has a chunk of ID3 tags, which the library passes over.
bool HasId3Chunk(int descriptor) {
  constexpr std::size_t kFileHead = 12, kChunkHead = 8;
  constexpr int kMostChunks = 1000;
  std::array<unsigned char, kFileHead> head{};
  if (descriptor < 0 || ::pread(descriptor, head.data(), kFileHead, 0) != ssize_t{kFileHead}) return false;
  const bool isAiff = std::memcmp(head.data(), "FORM", 4) == 0;
  if (!isAiff && std::memcmp(head.data(), "RIFF", 4) != 0) return false;
  off_t at = kFileHead;
  for (int i = 0; i < kMostChunks; ++i) {
    if (::pread(descriptor, head.data(), kChunkHead, at) != ssize_t{kChunkHead}) return false;
    if (std::memcmp(head.data(), "id3 ", 4) == 0 || std::memcmp(head.data(), "ID3 ", 4) == 0) return true;
    off_t size = 0;
    for (std::size_t k = 0; k < 4; ++k) size = size << 8U | head[isAiff ? 4 + k : kChunkHead - 1 - k];
    at += static_cast<off_t>(kChunkHead) + size + size % 2;
  }
  return false;
}

}  // namespace

SoundNotes ReadNotes(SNDFILE* file, int descriptor) {
  SoundNotes notes;
  for (const TextName& text : kTexts) {
    const char* const value = sf_get_string(file, text.number);
    if (value != nullptr && *value != '\0') notes.texts[text.number] = value;
  }
  notes.broadcast = Record(file, SFC_GET_BROADCAST_INFO, kLargestRecord);
  notes.cart = Record(file, SFC_GET_CART_INFO, kLargestRecord);
  std::uint32_t cueCount = 0;
  if (sf_command(file, SFC_GET_CUE_COUNT, &cueCount, sizeof cueCount) == SF_TRUE && cueCount > 0) {
    constexpr std::uint32_t kMostCues = 10000;
    cueCount = std::min(cueCount, kMostCues);
    notes.cues = Record(file, SFC_GET_CUE, sizeof(std::uint32_t) + cueCount * sizeof(SF_CUE_POINT));
  }
  notes.instrument = Record(file, SFC_GET_INSTRUMENT, sizeof(SF_INSTRUMENT));
  if (HasId3Chunk(descriptor)) notes.beyond.emplace_back("ID3 tags");
  if (HasPicture(descriptor)) notes.beyond.emplace_back("a picture");
  return notes;
}

std::vector<std::string> WriteNotes(SNDFILE* file, int sndfileFormat, const SoundNotes& notes, bool timesHold) {
  std::vector<std::string> lost;
  // Some kinds of file take a text and do not keep it; only these are known to.
  const int container = sndfileFormat & SF_FORMAT_TYPEMASK;
  const bool isWave = container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX || container == SF_FORMAT_RF64;
  const bool keepsTexts = isWave || container == SF_FORMAT_AIFF || container == SF_FORMAT_FLAC ||
                          container == SF_FORMAT_OGG || container == SF_FORMAT_CAF || container == SF_FORMAT_MPEG;
  for (const TextName& text : kTexts) {
    const auto found = notes.texts.find(text.number);
    if (found == notes.texts.end()) continue;
    // AIFF has four kinds of text only, and answers "kept" for all.
    const bool isKept = container != SF_FORMAT_AIFF || text.number == SF_STR_TITLE || text.number == SF_STR_COPYRIGHT ||
                        text.number == SF_STR_ARTIST || text.number == SF_STR_COMMENT || text.number == SF_STR_SOFTWARE;
    const bool isWaveGap = isWave && text.number == SF_STR_LICENSE;
    if (!keepsTexts || !isKept || isWaveGap || sf_set_string(file, text.number, found->second.c_str()) != 0) {
      lost.emplace_back(text.name);
    }
  }
  const auto keep = [&](const std::vector<char>& record, int command, bool allowed, const char* name) {
    if (record.empty()) return;
    std::vector<char> copy = record;
    if (!allowed || sf_command(file, command, copy.data(), static_cast<int>(copy.size())) != SF_TRUE) {
      lost.emplace_back(name);
    }
  };
  keep(notes.broadcast, SFC_SET_BROADCAST_INFO, isWave, "the broadcast record");
  keep(notes.cart, SFC_SET_CART_INFO, isWave, "the cart record");
  const bool keepsMarks = timesHold && (isWave || container == SF_FORMAT_AIFF);
  keep(notes.cues, SFC_SET_CUE, keepsMarks && container != SF_FORMAT_RF64, "markers");
  keep(notes.instrument, SFC_SET_INSTRUMENT, keepsMarks && container != SF_FORMAT_RF64, "loops");
  lost.insert(lost.end(), notes.beyond.begin(), notes.beyond.end());
  return lost;
}

}  // namespace korva
