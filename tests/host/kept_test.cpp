#include "rig.h"

namespace korva {
namespace {

std::string Sized(const char* id, std::string content, bool bigEndian) {
  std::string size(4, '\0');
  for (std::size_t i = 0; i < 4; ++i) size[bigEndian ? 3 - i : i] = static_cast<char>(content.size() >> (8 * i));
  return id + size + content;
}

/// ID3v2.3 with a title and a picture.
std::string Id3() {
  const std::string flags(2, '\0');
  const auto frame = [&](const char* id, const std::string& content) {
    return Sized(id, content, true).insert(8, flags);
  };
  const std::string none(1, '\0');
  const std::string frames =
      frame("TIT2", none + "A title") + frame("APIC", none + "image/png" + none + '\3' + none + "no picture really");
  return std::string("ID3\3\0\0\0\0\0", 9) + static_cast<char>(frames.size()) + frames;
}

using KeptTest = HostTest;

// What libsndfile passes over is named, and what it carries stays while it is true.
TEST_F(KeptTest, TagsPicturesAndLoopsAreKeptOrNamed) {
  PutSound("plain.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, 4800);
  PutSound("plain.mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 1, 4800);
  PutSound("plain.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 4800);
  PutSound("plain.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 1, 4800);
  constexpr std::size_t kAfterStreamInfo = 42;
  std::string flac = Bytes("plain.flac");
  flac.insert(kAfterStreamInfo, std::string("\6\0\0\x20", 4) + std::string(32, '\0'));
  Put("picture.flac", flac);
  Put("tagged.mp3", Id3() + Bytes("plain.mp3"));
  Put("tagged.wav", Bytes("plain.wav") + Sized("id3 ", Id3(), false));
  Put("tagged.aiff", Bytes("plain.aiff") + Sized("ID3 ", Id3(), true));
  SF_INFO info{};
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  info.channels = 1;
  info.samplerate = 48000;
  SNDFILE* const looped = sf_open(Path("looped.wav").c_str(), SFM_WRITE, &info);
  SF_INSTRUMENT instrument{};
  instrument.loop_count = 1;
  instrument.loops[0] = {SF_LOOP_FORWARD, 1000, 3000, 0};
  ASSERT_EQ(sf_command(looped, SFC_SET_INSTRUMENT, &instrument, sizeof instrument), SF_TRUE);
  sf_writef_double(looped, std::vector<double>(4800, 0.25).data(), 4800);
  sf_close(looped);
  const struct {
    const char *in, *out, *chain, *lost, *title;
    int loops;
  } rows[] = {
      {"plain.flac", "out.flac", "reverb", "", "", 0},
      {"picture.flac", "out.flac", "reverb", "a picture", "", 0},
      {"tagged.mp3", "out.wav", "reverb", "a picture", "A title", 0},
      {"tagged.wav", "out.wav", "reverb", "ID3 tags", "", 0},
      {"tagged.aiff", "out.aiff", "reverb", "ID3 tags", "", 0},
      {"looped.wav", "out.wav", "reverb", "", "", 1},
      {"looped.wav", "out.wav", "time-stretch --set percent=150", "loops", "", 0},
      {"looped.wav", "out.flac", "reverb", "loops", "", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.in) + " " + row.chain);
    const Run run = KorvaLine(std::string("render @") + row.in + " @" + row.out + " --overwrite " + row.chain);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::string lost = *row.lost != '\0' ? std::string("not kept from the input: ") + row.lost + "\n" : "";
    EXPECT_NE(run.err.find(lost), std::string::npos) << run.err;
    EXPECT_EQ(run.err.find("not kept") != std::string::npos, !lost.empty()) << run.err;
    SF_INFO got{};
    SNDFILE* const out = sf_open(Path(row.out).c_str(), SFM_READ, &got);
    const char* const title = sf_get_string(out, SF_STR_TITLE);
    EXPECT_STREQ(title != nullptr ? title : "", row.title);
    SF_INSTRUMENT kept{};
    sf_command(out, SFC_GET_INSTRUMENT, &kept, sizeof kept);
    EXPECT_EQ(kept.loop_count, row.loops);
    EXPECT_EQ(kept.loops[0].start, row.loops != 0 ? 1000U : 0U);
    sf_close(out);
  }
}

// A better lossy file is larger, a smaller lossless one says the same.
TEST_F(KeptTest, QualityIsTheEncoders) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 48000);
  const struct {
    const char* out;
    bool lossy;
  } rows[] = {{"out.ogg", true}, {"out.mp3", true}, {"out.flac", false}};
  for (const auto& row : rows) {
    std::vector<std::size_t> sizes;
    std::vector<std::vector<double>> sounds;
    for (const char* const quality : {"0", "1"}) {
      const Run run = KorvaLine(std::string("render @in.wav @") + row.out +
                                " chorus --set bypass=on --overwrite --quality " + quality);
      ASSERT_EQ(run.exitCode, 0) << run.err;
      sizes.push_back(Bytes(row.out).size());
      sounds.push_back(Read(row.out).samples);
    }
    EXPECT_EQ(sizes[1] > sizes[0], row.lossy) << row.out << " " << sizes[0] << " " << sizes[1];
    EXPECT_EQ(sounds[0] == sounds[1], !row.lossy) << row.out;
  }
}

}  // namespace
}  // namespace korva
