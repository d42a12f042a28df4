#include "host/files/unread_notes.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <iterator>

#include "host/nearest.h"

namespace korva {
namespace {

/// What is larger is no note that a person wrote.
constexpr std::size_t kMostBytes = std::size_t{16} << 20U;

std::string BytesAt(int descriptor, off_t at, std::size_t count) {
  std::string bytes(std::min(count, kMostBytes), '\0');
  const ssize_t got = ::pread(descriptor, bytes.data(), bytes.size(), at);
  bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return bytes;
}

/// A number of `count` bytes; 0 where there are fewer. ID3 keeps `bits` of a byte's eight.
std::uint64_t Number(std::string_view bytes, std::size_t at, std::size_t count, bool isBig, unsigned bits = 8) {
  if (at > bytes.size() || bytes.size() - at < count) return 0;
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < count; ++i) {
    number = number << bits | static_cast<unsigned char>(bytes[at + (isBig ? i : count - 1 - i)]);
  }
  return number;
}

/// A tag by each of its names.
struct TagName {
  int text;  // the library's number
  std::string_view comment, wave, id3, oldId3;
};
constexpr TagName kTags[] = {
    {SF_STR_TITLE, "title", "INAM", "TIT2", "TT2"},       {SF_STR_ARTIST, "artist", "IART", "TPE1", "TP1"},
    {SF_STR_ALBUM, "album", "IPRD", "TALB", "TAL"},       {SF_STR_GENRE, "genre", "IGNR", "TCON", "TCO"},
    {SF_STR_DATE, "date", "ICRD", "TDRC", "TYE"},         {SF_STR_DATE, "", "", "TYER", ""},
    {SF_STR_COMMENT, "comment", "ICMT", "COMM", "COM"},   {SF_STR_TRACKNUMBER, "tracknumber", "ITRK", "TRCK", "TRK"},
    {SF_STR_COPYRIGHT, "copyright", "ICOP", "", ""},      {SF_STR_LICENSE, "license", "", "", ""},
    {SF_STR_SOFTWARE, "software", "ISFT", "TSSE", "TSS"}, {SF_STR_SOFTWARE, "encoder", "", "TENC", "TEN"},
};

class Search {
 public:
  Search(int descriptor, SoundNotes& notes) : descriptor_(descriptor), notes_(notes) {}

  void Look() {
    const std::string head = BytesAt(descriptor_, 0, 4);
    for (const ChunkForm& form : kForms) {
      if (head == form.magic) return LookAtChunks(form);
    }
    off_t at = 0;
    if (head.starts_with("ID3")) at = LookAtId3();
    if (head == "OggS") LookAtComments(SecondPacket());
    if (BytesAt(descriptor_, at, 4) == "fLaC") LookAtBlocks(at + 4);
  }

  void Tell() {
    if (picture_) found_.emplace_back("a picture");
    const auto list = [&](const char* what, const std::vector<std::string>& names) {
      if (!names.empty()) found_.push_back(std::string(what) + " (" + Joined(names, ", ") + ")");
    };
    list("other tags", tags_);
    list("other chunks", chunks_);
    notes_.beyond = std::move(found_);
  }

 private:
  /// Files that are made of chunks: an identifier of four letters, a size, and so many bytes.
  struct ChunkForm {
    std::string_view magic;
    off_t first;
    std::size_t sizeBytes;
    bool isBig, isPadded;
    std::string_view read;  // what the library reads, and what tells nothing
  };
  static constexpr std::string_view kWave = "fmt |fact|data|ds64|bext|cart|cue |smpl|LIST|PEAK|JUNK|junk|FLLR|PAD ";
  static constexpr ChunkForm kForms[] = {
      {"RIFF", 12, 4, false, true, kWave},
      {"RF64", 12, 4, false, true, kWave},
      {"FORM", 12, 4, true, true, "COMM|SSND|NAME|AUTH|(c) |ANNO|APPL|MARK|INST|CHAN|PEAK|FVER"},
      {"caff", 8, 8, true, false, "desc|data|info|chan|free|kuki|pakt|peak"}};

  static bool IsIn(std::string_view list, std::string_view id) {
    for (std::size_t at = 0; at < list.size(); at += 5) {
      if (list.substr(at, 4) == id) return true;
    }
    return false;
  }
  static void Add(std::vector<std::string>& names, std::string name) {
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(std::move(name));
  }

  /// Calls `look` with each chunk's identifier, and where its bytes are.
  template <class Look>
  void EachChunk(const ChunkForm& form, off_t at, off_t end, Look look) {
    constexpr int kMostChunks = 10000;
    std::uint64_t audio = 0;
    for (int i = 0; i < kMostChunks && at < end; ++i) {
      const std::string head = BytesAt(descriptor_, at, 4 + form.sizeBytes);
      if (head.size() < 4 + form.sizeBytes) return;
      const std::string id = head.substr(0, 4);
      if (!std::all_of(id.begin(), id.end(), [](char c) { return c >= ' ' && c <= '~'; })) return;
      std::uint64_t size = Number(head, 4, form.sizeBytes, form.isBig);
      at += static_cast<off_t>(head.size());
      if (id == "ds64") audio = Number(BytesAt(descriptor_, at, 16), 8, 8, false);
      if (id == "data" && form.magic == "RF64" && audio != 0) size = audio;
      if (size > static_cast<std::uint64_t>(kEnd)) return;  // to the end of the file
      look(id, at, size);
      at += static_cast<off_t>(size + (form.isPadded ? size % 2 : 0));
    }
  }

  void LookAtChunks(const ChunkForm& form) {
    EachChunk(form, form.first, kEnd, [&](const std::string& id, off_t at, std::uint64_t size) {
      if (id == "LIST" && size >= 4) return LookAtList(at, size);
      const auto unread = [&](std::string_view one, std::size_t least, const std::vector<char>& record,
                              const char* words) {
        if (id == one && size > least && record.empty()) Add(found_, words);
      };
      constexpr std::size_t kNoMarks = 4, kNoLoops = 36;
      unread("bext", 0, notes_.broadcast, "the broadcast record");
      unread("cart", 0, notes_.cart, "the cart record");
      unread("cue ", kNoMarks, notes_.cues, "markers");
      unread("MARK", kNoMarks, notes_.cues, "markers");
      unread("smpl", kNoLoops, notes_.instrument, "loops");
      if (IsIn(form.read, id)) return;
      const std::string carried = id == "ID3 " ? "id3 " : id;
      for (const CarriedChunk& chunk : kCarriedChunks) {
        if (chunk.id != carried) continue;
        std::string bytes = BytesAt(descriptor_, at, static_cast<std::size_t>(size));
        const bool isWhole = bytes.size() == size && size != 0;
        if (isWhole) notes_.chunks[carried] = std::move(bytes);
        return isWhole ? void() : Add(found_, chunk.words);
      }
      Add(chunks_, id);
    });
  }

  void LookAtList(off_t at, std::uint64_t size) {
    const std::string type = BytesAt(descriptor_, at, 4);
    if (type != "INFO" && type != "adtl") return Add(chunks_, "LIST " + type);
    EachChunk(kForms[0], at + 4, at + static_cast<off_t>(size),
              [&](const std::string& id, off_t text, std::uint64_t bytes) {
                if (type == "INFO") return AddWaveTag(id, BytesAt(descriptor_, text, bytes), bytes);
                if (id == "note") Add(found_, "the notes of markers");
                if (id == "ltxt" && Number(BytesAt(descriptor_, text, 8), 4, 4, false) != 0) {
                  Add(found_, "the lengths of regions");
                }
              });
  }

  /// A tag that is told: one that the library has read is no news.
  void AddTag(std::string_view TagName::*kind, const std::string& name, bool holdsText) {
    const auto* const known = std::find_if(std::begin(kTags), std::end(kTags),
                                           [&](const TagName& tag) { return !name.empty() && tag.*kind == name; });
    // Which program made the input's file says nothing of the output's.
    const bool isRead = known != std::end(kTags) &&
                        (known->text == SF_STR_SOFTWARE || notes_.texts.find(known->text) != notes_.texts.end());
    if (!isRead && holdsText) Add(tags_, name);
  }

  /// The library reads short texts only, and none behind a longer one.
  void AddWaveTag(const std::string& id, const std::string& text, std::uint64_t bytes) {
    const auto* const known =
        std::find_if(std::begin(kTags), std::end(kTags), [&](const TagName& tag) { return tag.wave == id; });
    if (known != std::end(kTags) && text.size() == bytes && !text.empty() && text[0] != '\0') {
      notes_.texts.emplace(known->text, text.c_str());
    }
    AddTag(&TagName::wave, id, bytes > 1);
  }

  /// The blocks of FLAC's head.
  void LookAtBlocks(off_t at) {
    constexpr unsigned kApplication = 2, kComments = 4, kCueSheet = 5, kPicture = 6, kLast = 0x80;
    for (;;) {
      const std::string head = BytesAt(descriptor_, at, 4);
      if (head.size() < 4) return;
      const auto type = static_cast<unsigned char>(head[0]);
      const auto size = static_cast<std::size_t>(Number(head, 1, 3, true));
      at += 4;
      switch (type & ~kLast) {
        case kApplication:
          Add(chunks_, BytesAt(descriptor_, at, 4));
          break;
        case kComments:
          LookAtComments(BytesAt(descriptor_, at, size));
          break;
        case kCueSheet:
          Add(found_, "the cue sheet");
          break;
        case kPicture:
          picture_ = true;
          break;
        default:
          break;
      }
      if ((type & kLast) != 0) return;
      at += static_cast<off_t>(size);
    }
  }

  /// The second packet of an Ogg stream, which has the comments (RFC 3533; RFC 7845, 5.2), without its name.
  std::string SecondPacket() {
    constexpr std::size_t kPageHead = 27;
    std::string packet;
    int packets = 0;
    for (off_t at = 0; packet.size() < kMostBytes;) {
      const std::string head = BytesAt(descriptor_, at, kPageHead + 255);
      if (!head.starts_with("OggS") || head.size() < kPageHead) break;
      const auto segments = static_cast<std::size_t>(Number(head, kPageHead - 1, 1, false));
      at += static_cast<off_t>(kPageHead + segments);
      for (std::size_t i = 0; i < segments; ++i) {
        const auto size = static_cast<std::size_t>(Number(head, kPageHead + i, 1, false));
        if (packets == 1) packet += BytesAt(descriptor_, at, size);
        at += static_cast<off_t>(size);
        if (size < 255 && ++packets == 2) return packet.substr(std::min(packet.size(), NameBytes(packet)));
      }
    }
    return {};
  }
  static std::size_t NameBytes(std::string_view packet) {
    return packet.starts_with("OpusTags") ? 8 : packet.starts_with("\3vorbis") ? 7 : packet.size();
  }

  /// Vorbis comments: who made the file, then NAME=text again and again.
  void LookAtComments(std::string_view bytes) {
    std::vector<std::string> names;
    std::size_t at = 4 + static_cast<std::size_t>(Number(bytes, 0, 4, false));
    std::uint64_t left = Number(bytes, at, 4, false);
    for (at += 4; left != 0 && at < bytes.size() && bytes.size() - at > 4; --left) {
      const auto size = static_cast<std::size_t>(Number(bytes, at, 4, false));
      const std::string_view comment = bytes.substr(at + 4, size);
      at += 4 + size;
      std::string name(comment.substr(0, comment.find('=')));
      for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      if (name == "metadata_block_picture" || name == "coverart") {
        picture_ = true;
      } else if (name == "waveformatextensible_channel_mask") {
        Add(found_, "the places of the channels");
      } else if (std::find(names.begin(), names.end(), name) != names.end()) {
        Add(tags_, "another " + name);
      } else {
        names.push_back(name);
        AddTag(&TagName::comment, name, comment.size() > name.size() + 1);
      }
    }
  }

  /// The frames of an ID3 tag (id3.org, ID3v2.2 to 2.4). Answers where it ends.
  off_t LookAtId3() {
    constexpr std::size_t kTagHead = 10;
    const std::string head = BytesAt(descriptor_, 0, kTagHead);
    const auto size = static_cast<std::size_t>(Number(head, 6, 4, true, 7));
    const std::string tag = BytesAt(descriptor_, kTagHead, size);
    const auto version = Number(head, 3, 1, true);
    const bool isOld = version == 2, hasMore = (Number(head, 5, 1, true) & 0x40U) != 0 && !isOld;
    const std::size_t idBytes = isOld ? 3 : 4, frameHead = isOld ? 6 : 10;
    const unsigned bits = version >= 4 ? 7 : 8;
    std::size_t at = 0;
    if (hasMore) at = static_cast<std::size_t>(Number(tag, 0, 4, true, bits)) + (version >= 4 ? 0 : 4);
    while (at < tag.size() && tag.size() - at > frameHead) {
      const std::string id = tag.substr(at, idBytes);
      if (std::isalnum(static_cast<unsigned char>(id[0])) == 0) break;
      const auto bytes = static_cast<std::size_t>(Number(tag, at + idBytes, idBytes, true, bits));
      if (id == "APIC" || id == "PIC") {
        picture_ = true;
      } else {
        AddTag(isOld ? &TagName::oldId3 : &TagName::id3, id, bytes > 1);
      }
      at += frameHead + bytes;
    }
    return static_cast<off_t>(kTagHead + size);
  }

  static constexpr off_t kEnd = off_t{1} << 62;

  const int descriptor_;
  SoundNotes& notes_;
  std::vector<std::string> found_, tags_, chunks_;
  bool picture_ = false;
};

}  // namespace

void ReadUnreadNotes(int descriptor, SoundNotes& notes) {
  if (descriptor < 0) return;
  Search search(descriptor, notes);
  search.Look();
  search.Tell();
}

}  // namespace korva
