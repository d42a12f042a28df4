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

// What libsndfile passes over is named, and what it carries stays while it is true.
TEST_F(KeptTest, NotesTagsPicturesAndLoopsAreKeptOrNamed) {
  for (const auto& [name, kind] : {std::pair("plain.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16),
                                   {"plain.mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III},
                                   {"plain.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},
                                   {"plain.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16}}) {
    PutSound(name, kind, 1, 4800);
  }
  constexpr std::size_t kAfterStreamInfo = 42;
  const std::string picture = "\6\0\0\x20"s + std::string(32, '\0');
  Put("picture.flac", Bytes("plain.flac").insert(kAfterStreamInfo, picture));
  Put("tagged.mp3", kId3 + Bytes("plain.mp3"));
  Put("tagged.wav", Bytes("plain.wav") + "id3 \x44\0\0\0"s + kId3);
  Put("tagged.aiff", Bytes("plain.aiff") + "ID3 \0\0\0\x44"s + kId3);
  const std::vector<double> samples(4800, 0.25);
  {
    SndfileHandle looped(Path("looped.wav"), SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 48000);
    SF_INSTRUMENT instrument{};
    instrument.loop_count = 1;
    instrument.loops[0] = {SF_LOOP_FORWARD, 1000, 3000, 0};
    looped.command(SFC_SET_INSTRUMENT, &instrument, sizeof instrument);
    looped.writef(samples.data(), 4800);
    SndfileHandle noted(Path("noted.wav"), SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 48000);
    noted.setString(SF_STR_TITLE, "A title");
    noted.setString(SF_STR_ALBUM, "An album");
    SF_CUES cues{};
    cues.cue_count = 1;
    cues.cue_points[0].sample_offset = 500;
    noted.command(SFC_SET_CUE, &cues, sizeof cues);
    SF_BROADCAST_INFO broadcast{};
    std::memcpy(broadcast.originator, "a studio", 8);
    noted.command(SFC_SET_BROADCAST_INFO, &broadcast, sizeof broadcast);
    noted.writef(samples.data(), 4800);
  }
  const struct {
    const char *in, *out, *chain, *lost, *title = "";
    int loops = 0, marks = 0;
  } rows[] = {
      {"noted.wav", "out.wav", "reverb", "", "A title", 0, 1},
      {"noted.wav", "out.wav", "time-stretch", "markers", "A title"},
      {"noted.wav", "out.flac", "reverb", "the broadcast record, markers", "A title"},
      {"noted.wav", "out.au", "reverb", "title, album, the broadcast record, markers"},
      {"plain.flac", "out.flac", "reverb", ""},
      {"picture.flac", "out.flac", "reverb", "a picture"},
      {"tagged.mp3", "out.wav", "reverb", "a picture", "A title"},
      {"tagged.wav", "out.wav", "reverb", "ID3 tags"},
      {"tagged.aiff", "out.aiff", "reverb", "ID3 tags"},
      {"looped.wav", "out.wav", "reverb", "", "", 1},
      {"looped.wav", "out.wav", "time-stretch --set percent=150", "loops"},
      {"looped.wav", "out.flac", "reverb", "loops"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.in) + " " + row.out + " " + row.chain);
    const Run run = Render(std::string("@") + row.in + " @" + row.out + " " + row.chain);
    const std::string lost = *row.lost != '\0' ? std::string("not kept from the input: ") + row.lost + "\n" : "";
    EXPECT_NE(run.err.find(lost), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find("not kept") != std::string::npos, !lost.empty()) << run.err;
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
