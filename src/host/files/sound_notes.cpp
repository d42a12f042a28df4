#include "host/files/sound_notes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

#include "host/files/unread_notes.h"

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

/// Whether a text is UTF-8, and if so, whether all of it lies below U+0100.
struct TextKind {
  bool isUtf8 = true, isLatin = true;
};
TextKind KindOf(std::string_view text) {
  TextKind kind;
  int left = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool follows = (byte & 0xC0U) == 0x80U;
    if (follows != (left > 0)) return {false, true};
    if (follows) {
      --left;
    } else if (byte >= 0x80U) {
      if (byte < 0xC2U || byte > 0xF4U) return {false, true};
      left = byte < 0xE0U ? 1 : byte < 0xF0U ? 2 : 3;
      kind.isLatin = kind.isLatin && byte < 0xC4U;
    }
  }
  kind.isUtf8 = left == 0;
  return kind;
}

/// Texts of old files are Latin-1.
std::string Utf8(const std::string& text) {
  if (KindOf(text).isUtf8) return text;
  std::string wide;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x80U) wide.push_back(static_cast<char>(0xC0U | byte >> 6U));
    wide.push_back(static_cast<char>(byte < 0x80U ? byte : 0x80U | (byte & 0x3FU)));
  }
  return wide;
}

/// Nothing where a letter is beyond Latin-1.
std::string Latin1(const std::string& text) {
  const TextKind kind = KindOf(text);
  if (!kind.isUtf8) return text;
  if (!kind.isLatin) return {};
  std::string narrow;
  unsigned upper = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0xC0U) {
      upper = (byte & 3U) << 6U;
    } else {
      narrow.push_back(static_cast<char>(byte < 0x80U ? byte : upper | (byte & 0x3FU)));
    }
  }
  return narrow;
}

/// One mark of a record, which lies anywhere.
SF_CUE_POINT Mark(const std::vector<char>& cues, std::size_t index) {
  SF_CUE_POINT mark{};
  const std::size_t at = sizeof(std::uint32_t) + index * sizeof mark;
  if (at + sizeof mark <= cues.size()) std::memcpy(&mark, cues.data() + at, sizeof mark);
  mark.name[sizeof mark.name - 1] = '\0';
  return mark;
}
std::size_t MarkCount(const std::vector<char>& cues) {
  return cues.size() / sizeof(SF_CUE_POINT);
}

std::string FourBytes(std::size_t number) {
  std::string bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<char>(number >> shift & 0xFFU));
  return bytes;
}

/// How much of a record's room is used: all but the zeros at its end.
std::size_t RecordBytes(const std::vector<char>& record) {
  const auto last = std::find_if(record.rbegin(), record.rend(), [](char c) { return c != 0; });
  return static_cast<std::size_t>(record.rend() - last);
}

/// The names of marks as WAV has them, in a list beside the marks; empty where none has one.
std::string MarkNames(const std::vector<char>& cues) {
  std::string names;
  for (std::size_t i = 0; i < MarkCount(cues); ++i) {
    const SF_CUE_POINT mark = Mark(cues, i);
    std::string text(mark.name);
    if (text.empty()) continue;
    // Whole words, with the zero at the end: the list has no room for anything else.
    text.resize((text.size() / 4 + 1) * 4);
    names += "labl" + FourBytes(4 + text.size()) + FourBytes(static_cast<std::uint32_t>(mark.indx)) + text;
  }
  return names.empty() ? names : "adtl" + names;
}

SF_INSTRUMENT Instrument(const std::vector<char>& record) {
  SF_INSTRUMENT instrument{};
  if (record.size() == sizeof instrument) std::memcpy(&instrument, record.data(), sizeof instrument);
  return instrument;
}

bool SameLoops(const SF_INSTRUMENT& one, const SF_INSTRUMENT& other) {
  constexpr int kMost = std::size(SF_INSTRUMENT{}.loops);
  for (int i = 0; i < std::min(one.loop_count, kMost); ++i) {
    if (one.loops[i].start != other.loops[i].start || one.loops[i].end != other.loops[i].end) return false;
  }
  return one.loop_count == other.loop_count;
}

/// The record of a sound that an effect has changed: how loud the old one was is no longer true, and where it starts
/// counts frames of the file (EBU Tech 3285).
std::vector<char> Brought(std::vector<char> broadcast, const NoteTimes& times) {
  constexpr std::int16_t kNotTold = 0x7FFF;
  SF_BROADCAST_INFO head{};
  constexpr std::size_t kBytes = offsetof(SF_BROADCAST_INFO, coding_history);
  if (broadcast.size() < kBytes) return broadcast;
  std::memcpy(&head, broadcast.data(), kBytes);
  for (std::int16_t* const value : {&head.loudness_value, &head.loudness_range, &head.max_true_peak_level,
                                    &head.max_momentary_loudness, &head.max_shortterm_loudness}) {
    *value = kNotTold;
  }
  if (times.skippedFrames != 0 || times.rateRatio != 1) {
    const double start = head.time_reference_low + std::ldexp(head.time_reference_high, 32);
    const auto frames = static_cast<std::uint64_t>(std::floor((start + times.skippedFrames) * times.rateRatio + 0.5));
    head.time_reference_low = static_cast<std::uint32_t>(frames);
    head.time_reference_high = static_cast<std::uint32_t>(frames >> 32U);
  }
  std::memcpy(broadcast.data(), &head, kBytes);
  return broadcast;
}

}  // namespace

bool SoundNotes::isEmpty() const noexcept {
  return texts.empty() && broadcast.empty() && cart.empty() && cues.empty() && instrument.empty() && chunks.empty() &&
         beyond.empty();
}

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
  ReadUnreadNotes(descriptor, notes);
  return notes;
}

void WriteNotes(SNDFILE* file, int sndfileFormat, const SoundNotes& notes, const NoteTimes& times) {
  const int container = sndfileFormat & SF_FORMAT_TYPEMASK;
  const bool isAiff = container == SF_FORMAT_AIFF;
  const bool isPlainWave = container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX;
  const bool isWave = isPlainWave || container == SF_FORMAT_RF64;
  // The library makes these heads in a small memory, and writes a broken file when they grow beyond it.
  const bool isSmall =
      isWave || isAiff || container == SF_FORMAT_CAF || (sndfileFormat & SF_FORMAT_SUBMASK) == SF_FORMAT_OPUS;
  std::size_t room = isSmall ? 50000 : std::numeric_limits<std::size_t>::max();
  // It does not read longer ones back, nor those behind them.
  const std::size_t mostText = isAiff ? 8000 : room;
  const auto fits = [&](std::size_t bytes) {
    if (bytes > room) return false;
    room -= bytes;
    return true;
  };
  for (const auto& [number, text] : notes.texts) {
    // WAV and AIFF do not say how their letters are to be read; MP3 and the rest do.
    const std::string own = container == SF_FORMAT_MPEG ? Latin1(text) : isWave || isAiff ? text : Utf8(text);
    if (!own.empty() && own.size() <= mostText && fits(own.size())) sf_set_string(file, number, own.c_str());
  }
  const auto keep = [&](std::vector<char> record, std::size_t bytes, int command) {
    if (!record.empty() && fits(bytes)) {
      sf_command(file, command, record.data(), static_cast<int>(record.size()));
    }
  };
  const auto keepChunk = [&](const std::string& id, std::string bytes) {
    // The library writes whole words, and reads as much.
    bytes.resize((bytes.size() + 3) / 4 * 4);
    if (bytes.empty() || !fits(bytes.size())) return;
    SF_CHUNK_INFO chunk{};
    std::copy(id.begin(), id.end(), chunk.id);
    chunk.id_size = static_cast<unsigned>(id.size());
    chunk.datalen = static_cast<unsigned>(bytes.size());
    chunk.data = bytes.data();
    sf_set_chunk(file, &chunk);
  };
  if (isWave) {
    keep(Brought(notes.broadcast, times), RecordBytes(notes.broadcast), SFC_SET_BROADCAST_INFO);
    keep(notes.cart, RecordBytes(notes.cart), SFC_SET_CART_INFO);
  }
  constexpr std::size_t kMarkBytes = 24;
  if (times.hold && (isPlainWave || isAiff)) keep(notes.cues, MarkCount(notes.cues) * kMarkBytes, SFC_SET_CUE);
  if (times.hold && isPlainWave) {
    keepChunk("LIST", MarkNames(notes.cues));
    // An AIFF file with loops would have neither them nor marks.
    keep(notes.instrument, notes.instrument.size(), SFC_SET_INSTRUMENT);
  }
  for (const CarriedChunk& chunk : kCarriedChunks) {
    const auto found = notes.chunks.find(std::string(chunk.id));
    if (found == notes.chunks.end() || (chunk.speaksOfTimes && !times.hold)) continue;
    if (isWave) keepChunk(found->first, found->second);
    if (isAiff && chunk.id == "id3 ") keepChunk("ID3 ", found->second);
  }
}

std::vector<std::string> NotKept(const SoundNotes& notes, const SoundNotes& kept) {
  std::vector<std::string> lost;
  for (const TextName& text : kTexts) {
    const auto was = notes.texts.find(text.number), is = kept.texts.find(text.number);
    if (was == notes.texts.end()) continue;
    // The library adds its own name to that of the software.
    if (is != kept.texts.end() && Utf8(is->second).starts_with(Utf8(was->second))) continue;
    lost.push_back(is == kept.texts.end() ? text.name : std::string("part of the ") + text.name);
  }
  const auto check = [&](bool isKept, const char* name) {
    if (!isKept) lost.emplace_back(name);
  };
  check(notes.broadcast.empty() || !kept.broadcast.empty(), "the broadcast record");
  check(notes.cart.empty() || !kept.cart.empty(), "the cart record");
  const std::size_t marks = MarkCount(notes.cues);
  bool sameMarks = marks == MarkCount(kept.cues), sameNames = true;
  for (std::size_t i = 0; i < marks; ++i) {
    const SF_CUE_POINT was = Mark(notes.cues, i), is = Mark(kept.cues, i);
    sameMarks = sameMarks && was.sample_offset == is.sample_offset;
    sameNames = sameNames && std::strcmp(was.name, is.name) == 0;
  }
  check(sameMarks, "markers");
  check(!sameMarks || sameNames, "the names of markers");
  const SF_INSTRUMENT was = Instrument(notes.instrument), is = Instrument(kept.instrument);
  check(SameLoops(was, is), "loops");
  check(notes.instrument.empty() || was.loop_count != 0 || !kept.instrument.empty(), "the key of the sample");
  for (const CarriedChunk& chunk : kCarriedChunks) {
    const std::string id(chunk.id);
    check(notes.chunks.find(id) == notes.chunks.end() || kept.chunks.find(id) != kept.chunks.end(), chunk.words);
  }
  lost.insert(lost.end(), notes.beyond.begin(), notes.beyond.end());
  return lost;
}

}  // namespace korva
