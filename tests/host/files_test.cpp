#include <algorithm>
#include <set>

#include "rig.h"

namespace korva {
namespace {

class FilesTest : public HostTest {
 protected:
  /// A sound whose channel `c` holds the constant `values[c]`.
  void PutLevels(const std::string& name, int format, const std::vector<double>& values, int frames = 4800) const {
    std::vector<double> samples;
    for (int i = 0; i < frames; ++i) samples.insert(samples.end(), values.begin(), values.end());
    PutSamples(name, format, samples, static_cast<int>(values.size()));
  }
  double Level(const Sound& sound, std::size_t channel) const {
    const auto channels = static_cast<std::size_t>(sound.channels);
    return sound.samples[sound.samples.size() / channels / 2 * channels + channel];
  }
};

// The steady level of each channel tells where it went. Vorbis puts the center second and the low frequencies last.
TEST_F(FilesTest, ChannelsKeepTheirPlacesInEveryContainer) {
  const std::vector<double> wave = {0.1, -0.1, 0.2, 0.0, -0.3, 0.3};
  const std::vector<double> vorbis = {0.1, 0.2, -0.1, -0.3, 0.3, 0.0};
  // A constant is no sound to a codec: a slow square wave is.
  PutLevels("in.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, wave);
  Bypassed("@in.wav @out.ogg");
  Bypassed("@out.ogg @back.wav --bits float");
  const Sound packed = Read("out.ogg"), back = Read("back.wav");
  for (std::size_t c = 0; c < wave.size(); ++c) {
    EXPECT_NEAR(Level(packed, c), vorbis[c], 0.03) << c;
    EXPECT_NEAR(Level(back, c), wave[c], 0.03) << c;
  }
}

TEST_F(FilesTest, FilesWhoseLengthWasNeverToldAreReadToTheirEnd) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 2000);
  PutSound("in.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 1, 2000);
  const auto with = [&](const char* name, const char* chunk, const std::string& size) {
    std::string bytes = Bytes(name);
    bytes.replace(bytes.find(chunk) + 4, 4, size);
    return bytes;
  };
  Put("killed.wav", with("in.wav", "data", std::string(4, '\0')));
  Put("beyond.wav", with("in.wav", "data", std::string("\0\0\x10\0", 4)));
  Put("piped.aiff", with("in.aiff", "SSND", std::string("\x7F\0\0\x08", 4)));
  for (const char* name : {"killed.wav", "beyond.wav", "piped.aiff"}) {
    const Run run = Bypassed(std::string("@") + name + " @out.wav");
    EXPECT_NE(run.err.find("does not tell its length"), std::string::npos) << name << run.err;
    EXPECT_NEAR(static_cast<double>(Read("out.wav").frames), 2000, 2) << name;
  }
}

TEST_F(FilesTest, ClippingIsCountedWhereItHappens) {
  PutLevels("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, {0.9});
  PutLevels("loud.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, {1.5});
  const std::string echo = "simple-delay --set dry-out=0 --set delay-out=0 --set delay=5 --set decay=5";
  const std::string pass = "chorus --set bypass=on";
  const std::string in = "@in.wav @out.wav ";
  struct Case {
    std::string call, said, unsaid;
  };
  for (const Case& c : {Case{in + echo + " --format s16 " + pass, "simple-delay drove ", "chorus drove"},
                        {in + pass + " --format s16 --gain 6", "4800 samples are clipped in front", "drove"},
                        {in + pass + " --format s16 --gain 6", "which --gain takes beyond", "drove"},
                        {in + pass + " --format s16 --gain 6", "--gain 0.9 or less", "drove"},
                        {in + pass + " --format s16 --gain 0.9", "wrote", "clipped"},
                        {"@loud.wav @out.wav " + pass + " --format s16", "which the input takes beyond", "drove"},
                        {in + echo, "clipped in the file", "--gain:"},
                        {in + echo, "simple-delay: ", "chorus:"},
                        {in + pass + " --gain 6", "by up to 5.1 dB (driven there by --gain: 4800)", "chorus:"},
                        {in + echo + " --normalize 0", "wrote", "clipped"},
                        {in + echo + " --normalize 0 --rate 44100", "wrote", "clipped"}}) {
    const std::string err = Render(c.call).err;
    EXPECT_NE(err.find(c.said), std::string::npos) << c.call << "\n" << err;
    EXPECT_EQ(err.find(c.unsaid), std::string::npos) << c.call << "\n" << err;
  }
}

// What lies on the file's grid stays as it is; anything else is narrowed with noise of a least significant bit.
TEST_F(FilesTest, NarrowingDithersAndLeavesTheGridAlone) {
  PutLevels("in.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, {0.25, 0.3 / 32768, 0});
  Bypassed("@in.wav @out.wav --bits 16");
  const Sound out = Read("out.wav");
  std::set<double> middle;
  double sum = 0;
  for (std::size_t i = 0; i < out.samples.size(); i += 3) {
    EXPECT_EQ(out.samples[i], 0.25);
    EXPECT_EQ(out.samples[i + 2], 0);
    middle.insert(out.samples[i + 1] * 32768);
    sum += out.samples[i + 1] * 32768;
  }
  EXPECT_EQ(middle, (std::set<double>{-1, 0, 1}));
  EXPECT_NEAR(sum / 4800, 0.3, 0.05) << "the mean is kept";
  Bypassed("@in.wav @out.wav --bits 16 --no-dither");
  EXPECT_EQ(Read("out.wav").samples[1], 0);
}

TEST_F(FilesTest, TheSoundIsShapedBeforeAndAfterTheChain) {
  PutLevels("mono.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, {0.25});
  PutLevels("two.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, {0.5, -0.25});
  struct Case {
    const char *input, *options;
    int rate, channels, frames;
    double level;
  };
  for (const Case& c : {Case{"mono", "--gain -6.0206", 48000, 1, 4800, 0.125},
                        {"mono", "--normalize -6.0206", 48000, 1, 4800, 0.5},
                        {"mono", "--channels 2", 48000, 2, 4800, 0.25},
                        {"two", "--channels 1", 48000, 1, 4800, 0.125},
                        {"mono", "--rate 24000", 24000, 1, 2400, 0.25},
                        {"mono", "--trim 0.02:0.05", 48000, 1, 1440, 0.25},
                        {"mono", "--trim 0.05:", 48000, 1, 2400, 0.25}}) {
    Bypassed(std::string("@") + c.input + ".wav @out.wav " + c.options);
    const Sound out = Read("out.wav");
    EXPECT_EQ(std::tuple(out.rate, out.channels, out.frames), std::tuple(c.rate, c.channels, c.frames)) << c.options;
    EXPECT_NEAR(Level(out, 0), c.level, 1e-4) << c.options;
  }
  // Opus has no 44100 Hz, and no sound of its own below 8000.
  PutSound("cd.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 44100, 44100);
  const Run run = Bypassed("@cd.wav @out.opus");
  EXPECT_NE(run.err.find("from 44100 to 48000 Hz"), std::string::npos) << run.err;
  EXPECT_NEAR(static_cast<double>(Read("out.opus").frames), 48000, 10);
}

TEST_F(FilesTest, RawSoundsComeAndGo) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 1000);
  Bypassed("@in.wav @raw.bin --raw-out");
  EXPECT_EQ(Bytes("raw.bin"), Bytes("in.wav").substr(44));
  Bypassed("@raw.bin @out.wav --raw-in 48000:2:s16");
  EXPECT_EQ(Read("out.wav").samples, Read("in.wav").samples);
}

}  // namespace
}  // namespace korva
