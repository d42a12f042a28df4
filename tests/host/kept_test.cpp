#include <cstring>

#include "rig.h"

namespace korva {
namespace {

using namespace std::string_literals;

/// ID3v2.3 with a title and a picture.
const std::string kId3 =
    "ID3\3\0\0\0\0\0\x3A"s
    "TIT2\0\0\0\x08\0\0\0A title"
    "APIC\0\0\0\x1E\0\0\0image/png\0\3\0no picture really";

using KeptTest = HostTest;

// What stays true goes along where the file can hold it, and the rest is named.
TEST_F(KeptTest, NotesTagsPicturesAndLoopsAreKeptOrNamed) {
  PutSound("plain.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, 4800);
  PutSound("plain.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 4800);
  PutSound("plain.mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 1, 4800);
  PutSound("plain.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 1, 4800);
  const auto chunk = [](const std::string& id, const std::string& body) {
    return id + std::string{static_cast<char>(body.size()), static_cast<char>(body.size() >> 8), 0, 0} + body;
  };
  const auto zeros = [](std::size_t count) { return std::string(count, '\0'); };
  constexpr std::size_t kAfterStreamInfo = 42;
  Put("picture.flac", Bytes("plain.flac").insert(kAfterStreamInfo, "\6\0\0\x20"s + zeros(32)));
  Put("tagged.flac", Bytes("plain.flac").insert(kAfterStreamInfo, "\4\0\0\x18\0\0\0\0\1\0\0\0\x0C\0\0\0LABEL=a firm"s));
  Put("wordy.wav", Bytes("plain.wav") + chunk("LIST", "INFO" + chunk("INAM", "Gr\xFC\xDF\0\0"s) +
                                                          chunk("ICMT", std::string(60000, 'c'))));
  Put("tagged.mp3", kId3 + Bytes("plain.mp3"));
  Put("tagged.aiff", Bytes("plain.aiff") + "ID3 \0\0\0\x44"s + kId3);
  // A title and an album, a mark with a name, a record that starts at frame 96000, a loop, and ID3.
  Put("noted.wav",
      Bytes("plain.wav") + chunk("LIST", "INFO" + chunk("INAM", "A title\0"s) + chunk("IPRD", "An album\0\0"s)) +
          chunk("cue ", "\1\0\0\0\1\0\0\0\0\0\0\0data"s + zeros(8) + "\xF4\1\0\0"s) +
          chunk("LIST", "adtl" + chunk("labl", "\1\0\0\0verse\0"s)) +
          chunk("bext", zeros(338) + "\0\x77\1\0"s + zeros(260)) +
          chunk("smpl", zeros(28) + "\1"s + zeros(15) + "\xE8\3\0\0\xB8\x0B"s + zeros(10)) + chunk("id3 ", kId3));
  SndfileHandle placed(Path("placed.wav"), SFM_WRITE, SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, 2, 48000);
  int places[] = {SF_CHANNEL_MAP_SIDE_LEFT, SF_CHANNEL_MAP_SIDE_RIGHT};
  placed.command(SFC_SET_CHANNEL_MAP_INFO, places, sizeof places);
  placed.writef(std::vector<double>(9600).data(), 4800);
  placed = SndfileHandle();
  const struct {
    const char *in, *out, *chain, *lost, *title, *holds = "";
    int loops = 0, marks = 0;
    unsigned start = 0;
  } rows[] = {
      {"noted.wav", "out.wav", "reverb", "", "A title", "verse", 1, 1, 96000},
      {"noted.wav", "out.wav", "--trim 0.01: --rate 24000 reverb", "markers, loops", "A title", "APIC", 0, 0, 48240},
      {"noted.wav", "out.wav", "time-stretch", "markers, loops", "A title", "APIC", 0, 0, 96000},
      {"noted.wav", "out.aiff", "reverb", "album, the broadcast record, loops", "A title", "verse", 0, 1},
      {"noted.wav", "out.flac", "reverb", "the broadcast record, markers, loops, ID3 tags", "A title"},
      {"noted.wav", "out.au", "reverb", "title, album, the broadcast record, markers, loops, ID3 tags", ""},
      {"picture.flac", "out.flac", "reverb", "a picture", ""},
      {"tagged.flac", "out.flac", "reverb", "other tags (label)", ""},
      {"tagged.mp3", "out.wav", "reverb", "a picture", "A title"},
      {"tagged.aiff", "out.aiff", "reverb", "", "", "APIC"},
      {"wordy.wav", "out.aiff", "reverb", "comment", "Gr\xFC\xDF"},
      {"wordy.wav", "out.flac", "reverb", "", "Gr\xC3\xBC\xC3\x9F"},
      {"wordy.wav", "out.mp3", "reverb", "", "Gr\xC3\xBC\xC3\x9F", "Gr\xFC\xDF"},
      {"placed.wav", "out.wav", "reverb", "", ""},
      {"placed.wav", "out.caf", "reverb", "the places of the channels", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.in) + " " + row.out + " " + row.chain);
    const Run run = Render(std::string("@") + row.in + " @" + row.out + " " + row.chain);
    const std::string lost = *row.lost != '\0' ? std::string("not kept from the input: ") + row.lost + "\n" : "";
    EXPECT_NE(run.err.find(lost), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find("not kept") != std::string::npos, !lost.empty()) << run.err;
    EXPECT_NE(Bytes(row.out).find(row.holds), std::string::npos);
    SndfileHandle out(Path(row.out));
    const char* const title = out.getString(SF_STR_TITLE);
    EXPECT_STREQ(title != nullptr ? title : "", row.title);
    SF_INSTRUMENT kept{};
    out.command(SFC_GET_INSTRUMENT, &kept, sizeof kept);
    EXPECT_EQ(kept.loop_count, row.loops);
    EXPECT_EQ(kept.loops[0].start, row.loops != 0 ? 1000U : 0U);
    int marks = 0;
    out.command(SFC_GET_CUE_COUNT, &marks, sizeof marks);
    EXPECT_EQ(marks, row.marks);
    SF_BROADCAST_INFO told{};
    out.command(SFC_GET_BROADCAST_INFO, &told, sizeof told);
    EXPECT_EQ(told.time_reference_low, row.start);
    EXPECT_EQ(told.loudness_value, row.start != 0 ? 0x7FFF : 0) << "not the input's";
  }
}

// A better lossy file is larger, a smaller lossless one says the same.
TEST_F(KeptTest, QualityIsTheEncoders) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 48000);
  for (const auto& [out, lossy] : {std::pair("out.ogg", true), {"out.mp3", true}, {"out.flac", false}}) {
    Bypassed(std::string("@in.wav --quality 0 @") + out);
    const std::size_t size = Bytes(out).size();
    const std::vector<double> samples = Read(out).samples;
    Bypassed(std::string("@in.wav --quality 1 @") + out);
    EXPECT_EQ(Bytes(out).size() > size, lossy) << out;
    EXPECT_EQ(Read(out).samples == samples, !lossy) << out;
  }
}

}  // namespace
}  // namespace korva
