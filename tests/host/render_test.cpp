#include <algorithm>
#include <cstring>

#include "rig.h"

namespace korva {
namespace {

using RenderTest = HostTest;

// Each sample type goes through the whole chain and back into its own kind of file without a bit of change.
TEST_F(RenderTest, EverySampleTypePassesABypassedChainExactly) {
  struct Case {
    int format;
    const char *input, *output, *told;
  };
  for (const Case& c : {Case{SF_FORMAT_WAV | SF_FORMAT_PCM_U8, "in.wav", "out.wav", "8-bit"},
                        {SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, "in.aiff", "out.flac", "8-bit"},
                        {SF_FORMAT_WAV | SF_FORMAT_PCM_16, "in.wav", "out.au", "16-bit"},
                        {SF_FORMAT_WAV | SF_FORMAT_PCM_24, "in.wav", "out.wav", "24-bit"},
                        {SF_FORMAT_FLAC | SF_FORMAT_PCM_24, "in.flac", "out.flac", "24-bit"},
                        {SF_FORMAT_WAV | SF_FORMAT_PCM_32, "in.wav", "out.w64", "32-bit"},
                        {SF_FORMAT_WAV | SF_FORMAT_FLOAT, "in.wav", "out.caf", "32-bit float"},
                        {SF_FORMAT_WAV | SF_FORMAT_DOUBLE, "in.wav", "out.rf64", "64-bit float"}}) {
    for (const int channels : {1, 2, 6}) {
      PutSound(c.input, c.format, channels, 10000, 22050);
      const Run run = Bypassed(std::string("@") + c.input + " @" + c.output + " simple-delay --set bypass=1");
      EXPECT_NE(run.err.find(std::string(", ") + c.told + ","), std::string::npos) << run.err;
      const Sound in = Read(c.input), out = Read(c.output);
      EXPECT_EQ(out.samples, in.samples) << c.output << " " << channels;
      EXPECT_EQ(std::pair(out.rate, out.channels), std::pair(22050, channels));
    }
  }
}

TEST_F(RenderTest, TheCutOfTheStreamChangesNothing) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 9000);
  for (const std::string chain :
       {"chorus --preset 7 multi-tap-delay --preset 12 time-stretch --set percent=140 reverb --set decay=1",
        "pitch-shift --set semitones=-2 --set preserve-duration=on chorus simple-delay --set decay=0.6"}) {
    std::string first;
    for (const char* block : {"1", "7", "4096", "1000000"}) {
      const Run run = Render("@in.wav - " + chain + " --quiet --block " + block);
      EXPECT_EQ(run.err, "");
      if (first.empty()) first = run.out;
      EXPECT_TRUE(run.out == first) << chain << " in blocks of " << block;
    }
    EXPECT_GT(first.size(), 9000U * 2);
  }
}

// Tails ring through the rest of the chain, and a length that is asked for is kept to the frame.
TEST_F(RenderTest, EveryChainIsAsLongAsItShould) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 48000);
  const std::string echo = "simple-delay --set delay=100 --set multiple-delays=off ";
  for (const auto& [chain, frames] : {std::pair(echo, 52800),
                                      {echo + echo, 57600},
                                      {echo + echo + "--no-tail", 48000},
                                      {echo + "--tail 0", 48000},
                                      {"reverb --set decay=2", 144000},
                                      {"reverb --set decay=0.5 --tail 0.25", 60000},
                                      {"pitch-shift --set preserve-duration=on", 48000},
                                      {"time-stretch --set percent=200", 96000},
                                      {"time-stretch --set duration=1.5", 72000},
                                      {"time-stretch --set duration=0.6", 28800},
                                      {"time-stretch --set tempo=120:90", 64000}}) {
    for (const char* format : {"", " --format s16"}) {
      Render("@in.wav @out.wav " + chain + format);
      EXPECT_EQ(Read("out.wav").frames, frames) << chain << format;
    }
  }
}

TEST_F(RenderTest, ATailBeyondWhatABufferHoldsIsTold) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 100, 192000);
  const std::string slow =
      "render @in.wav @out.flac simple-delay --set multiple-delays=on --set tempo-sync-decay=on --set "
      "decay-multiplier=32 --set decay-note=18 --set delay=1 --tempo 1 --meter 64/4 --overwrite --dry-run --format ";
  EXPECT_NE(KorvaLine(slow + "s32").err.find("with --format f32 it does not"), std::string::npos);
  EXPECT_EQ(KorvaLine(slow + "f32").err.find("may ring"), std::string::npos);
}

// The second echo of a tail is as loud in a whole-number stream, which gives its tail in one buffer, as in a float one.
TEST_F(RenderTest, ALongTailIsWholeInEveryFormat) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 4800);
  const std::string chain = "simple-delay --set delay=900 --set multiple-delays=on --set decay=6 --format ";
  Render("@in.wav @float.wav " + chain + "f32");
  const Sound wanted = Read("float.wav");
  for (const std::string format : {"u8", "s16", "s32", "f64"}) {
    Render("@in.wav @out.wav " + chain + format);
    EXPECT_LE(LargestDifference(Read("out.wav").samples, wanted.samples), format == "u8" ? 0.008 : 4e-5) << format;
  }
}

TEST_F(RenderTest, StreamsComeAndGoThroughPipes) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 5000);
  Render("@in.wav @out.wav chorus");
  const Run run = KorvaLine("render - - chorus", Bytes("in.wav"));
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_TRUE(run.out == Bytes("out.wav"));
  // Programs that write into a pipe cannot know the length, and promise all there can be.
  std::string streamed = Bytes("in.wav");
  const std::size_t data = streamed.find("data");
  streamed.replace(4, 4, "\xFF\xFF\xFF\xFF");
  streamed.replace(data + 4, 4, "\xFF\xFF\xFF\xFF");
  EXPECT_TRUE(KorvaLine("render - - chorus", streamed).out == run.out);
}

TEST_F(RenderTest, AnEmptySoundGivesAnEmptySound) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 0);
  for (const EffectRow& effect : EffectTable()) {
    for (const char* out : {"out.wav", "out.flac", "out.aiff", "out.caf"}) {
      const Run run = Render(std::string("@in.wav @") + out + " " + effect.description.name);
      EXPECT_NE(run.err.find("no audio"), std::string::npos);
      EXPECT_EQ(Read(out).frames, 0) << effect.description.name << " " << out;
    }
  }
}

// Echoes keep the song's time, and envelopes move what they are told to.
TEST_F(RenderTest, TempoAndAutomationAreHeard) {
  std::vector<double> click(48000);
  click[0] = 0.5;
  PutSamples("click.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, click);
  Put("song.mid", MidiFile(MidiTempo(0, 500000) + MidiMeter(0, 3, 2)));
  const std::string echo = "@click.wav @out.wav simple-delay --set delay=100 --set dry-out=0 --set delay-out=0 ";
  const std::string many = echo + "--set multiple-delays=on --set tempo-sync-decay=on --set decay-note=18 ";
  // Thirty decibels in half a second, by an envelope that is told in seconds.
  const std::string shorter = echo + "--set multiple-delays=on --set decay=4 --automate decay:0:1:0.5:0.5:jump";
  struct Case {
    std::string line;
    std::size_t frame;  // of the echo
    double level;       // of the echo, for a click of 1
  };
  // The second echo after a tenth of a second more: 30 dB are lost in a measure of three quarters, here at 240.
  const double second = std::pow(10, -1.5 * 0.1 / 0.75);
  for (const Case& c : {Case{echo, 4800, 1},
                        {echo + "--set tempo-sync-delay=on --set delay-note=half-note --tempo 120", 48000, 1},
                        {echo + "--set tempo-sync-delay=on --set delay-note=13 --tempo 90", 32000, 1},
                        {echo + "--set tempo-sync-delay=on --set delay-note=13 --tempo-map @song.mid", 24000, 1},
                        {many + "--tempo 240 --meter 3/4", 9600, second},
                        {many + "--tempo-map @song.mid", 9600, std::sqrt(second)},
                        {shorter, 9600, std::pow(10, -1.5 * 0.1 / 0.5)},
                        {echo + "--automate delay-out:0.05:1:-20:-20:jump", 4800, 0.1},
                        {echo + "--block 960 --automate delay-out:0:0.2:-40:0", 4800, 0.1},
                        {echo + "--block 960 --automate delay-out:0:0.2:-40:0:square", 4800, std::pow(10, -1.5)}}) {
    Render(c.line);
    const std::vector<double> out = Read("out.wav").samples;
    ASSERT_GT(out.size(), c.frame) << c.line;
    EXPECT_NEAR(out[c.frame] / out[0], c.level, 1e-4) << c.line;
  }
  EXPECT_NE(Render("@click.wav @out.wav reverb --tempo 120").err.find("no effect of this chain follows the tempo"),
            std::string::npos);
}

}  // namespace
}  // namespace korva
