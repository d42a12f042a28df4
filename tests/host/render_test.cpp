#include <algorithm>
#include <cstring>

#include "rig.h"

namespace korva {
namespace {

class RenderTest : public HostTest {};

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
      const Run run = KorvaLine("render @" + std::string(c.input) + " @" + c.output +
                                " chorus --set bypass=on simple-delay --set bypass=1 --overwrite");
      ASSERT_EQ(run.exitCode, 0) << run.err;
      EXPECT_NE(run.err.find(std::string(", ") + c.told + ","), std::string::npos) << run.err;
      const Sound in = Read(c.input), out = Read(c.output);
      EXPECT_EQ(out.samples, in.samples) << c.output << " " << channels;
      EXPECT_EQ(out.info.samplerate, 22050);
      EXPECT_EQ(out.info.channels, channels);
    }
  }
}

TEST_F(RenderTest, TheCutOfTheStreamChangesNothing) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 9000);
  for (const char* chain :
       {"chorus --preset 7", "reverb --set decay=1", "simple-delay --set multiple-delays=on --set decay=0.6",
        "multi-tap-delay --preset 12", "pitch-shift --set semitones=3", "time-stretch --set percent=140",
        "pitch-shift --set semitones=-2 --set preserve-duration=on chorus simple-delay"}) {
    std::string first;
    for (const char* block : {"1", "7", "64", "4096", "1000000"}) {
      const Run run = KorvaLine("render @in.wav - " + std::string(chain) + " --quiet --block " + block);
      ASSERT_EQ(run.exitCode, 0) << run.err;
      EXPECT_EQ(run.err, "");
      if (first.empty()) first = run.out;
      EXPECT_TRUE(run.out == first) << chain << " in blocks of " << block;
    }
    EXPECT_GT(first.size(), 9000U * 2);
  }
}

TEST_F(RenderTest, TailsRingThroughTheRestOfTheChain) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 4800);
  struct Case {
    const char* chain;
    int frames;
  };
  const char* const echo = "simple-delay --set delay=100 --set multiple-delays=off";
  const std::string twice = std::string(echo) + " " + echo;
  const std::string stopped = twice + " --no-tail";
  for (const Case& c : {Case{echo, 9600},
                        {twice.c_str(), 14400},
                        {stopped.c_str(), 4800},
                        {"reverb --set decay=2", 100800},
                        {"time-stretch --set percent=200", 9600},
                        {"pitch-shift --set preserve-duration=on", 4800}}) {
    const Run run = KorvaLine("render @in.wav @out.wav --overwrite " + std::string(c.chain));
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(Read("out.wav").info.frames, c.frames) << c.chain;
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
  const std::string chain = "simple-delay --set delay=900 --set multiple-delays=on --set decay=6 --overwrite";
  ASSERT_EQ(KorvaLine("render @in.wav @float.wav --format f32 " + chain).exitCode, 0);
  const Sound wanted = Read("float.wav");
  for (const char* format : {"u8", "s16", "s32", "f64"}) {
    ASSERT_EQ(KorvaLine("render @in.wav @out.wav " + chain + " --format " + format).exitCode, 0);
    const Sound out = Read("out.wav");
    ASSERT_EQ(out.samples.size(), wanted.samples.size()) << format;
    double worst = 0;
    for (std::size_t i = 0; i < out.samples.size(); ++i) {
      worst = std::max(worst, std::fabs(out.samples[i] - wanted.samples[i]));
    }
    EXPECT_LE(worst, format == std::string("u8") ? 0.008 : 4e-5) << format;
  }
}

TEST_F(RenderTest, StreamsComeAndGoThroughPipes) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 5000);
  ASSERT_EQ(KorvaLine("render @in.wav @out.wav chorus").exitCode, 0);
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

TEST_F(RenderTest, PresetThenRecordThenSettings) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 100);
  ASSERT_EQ(KorvaLine("render @in.wav @a.wav chorus --set delay=12.5 --preset 2 --save-state @a.state").exitCode, 0);
  const std::string state = KorvaLine("state @a.state").out;
  EXPECT_NE(state.find("chorus, current form, 84 bytes"), std::string::npos) << state;
  EXPECT_NE(state.find("delay                  12.5 ms"), std::string::npos) << state;
  EXPECT_NE(state.find("feedback               32 %"), std::string::npos) << state;
  // The record replaces what the preset said, and the setting what both did, wherever they stand.
  const Run again = KorvaLine(
      "render @in.wav @b.wav chorus --set feedback=7 --state @a.state --preset 14 --save-state @b.state --set "
      "mod-rate=3");
  ASSERT_EQ(again.exitCode, 0) << again.err;
  const std::string changed = KorvaLine("state @b.state").out;
  EXPECT_NE(changed.find("delay                  12.5 ms"), std::string::npos) << changed;
  EXPECT_NE(changed.find("feedback               7 %"), std::string::npos) << changed;
  EXPECT_NE(changed.find("mod-rate               3 Hz"), std::string::npos) << changed;
}

TEST_F(RenderTest, EveryRecordFormIsRecognised) {
  for (const EffectRow& effect : EffectTable()) {
    for (const RecordForm& form : effect.description.forms) {
      std::string record(form.size, '\0');
      std::memcpy(record.data(), &form.size, 4);
      std::memcpy(record.data() + 4, &form.id, 16);
      Put("x.state", record);
      const Run run = KorvaLine("state @x.state");
      EXPECT_EQ(run.exitCode, 0) << run.err;
      EXPECT_EQ(run.out.find(effect.description.name), 0U) << run.out;
      Put("x.state", record + "x");
      EXPECT_EQ(KorvaLine("state @x.state").exitCode, 1);
      record.pop_back();
      Put("x.state", record);
      EXPECT_EQ(KorvaLine("state @x.state").exitCode, 1);
    }
  }
}

TEST_F(RenderTest, AnEmptySoundGivesAnEmptySound) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 0);
  for (const EffectRow& effect : EffectTable()) {
    for (const char* ending : {"wav", "flac", "aiff", "caf"}) {
      const std::string out = std::string("out.") + ending;
      const Run run = KorvaLine(std::string("render @in.wav @") + out + " --overwrite " + effect.description.name);
      EXPECT_EQ(run.exitCode, 0) << run.err;
      EXPECT_NE(run.err.find("no audio"), std::string::npos);
      EXPECT_EQ(Read(out).info.frames, 0) << effect.description.name << " " << out;
    }
  }
}

/// Seconds between upward passages of the frequency of a tone through its mean.
std::vector<double> SwingPeriods(const std::vector<double>& samples, double rate) {
  std::vector<std::pair<double, double>> frequency;  // time, Hz
  double last = -1;
  for (std::size_t i = 1; i < samples.size(); ++i) {
    if (!(samples[i - 1] < 0 && samples[i] >= 0)) continue;
    const double at = static_cast<double>(i) - samples[i] / (samples[i] - samples[i - 1]);
    if (last >= 0) frequency.emplace_back(at / rate, rate / (at - last));
    last = at;
  }
  constexpr std::size_t kSmooth = 40;
  std::vector<double> periods;
  double before = 0, passed = -1;
  for (std::size_t i = kSmooth; i < frequency.size(); ++i) {
    double mean = -1000;
    for (std::size_t k = i - kSmooth; k < i; ++k) mean += frequency[k].second / kSmooth;
    if (before < 0 && mean >= 0) {
      if (passed >= 0) periods.push_back(frequency[i].first - passed);
      passed = frequency[i].first;
    }
    before = mean;
  }
  return periods;
}

// A voice whose delay swings turns a tone into vibrato, and the vibrato keeps the song's time.
TEST_F(RenderTest, TempoAndAutomationMoveTheSwing) {
  constexpr int kRate = 48000;
  std::vector<double> tone(kRate * 8);
  for (std::size_t i = 0; i < tone.size(); ++i)
    tone[i] = 0.5 * std::sin(2 * M_PI * 1000 * static_cast<double>(i) / kRate);
  SF_INFO info{};
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  info.channels = 1;
  info.samplerate = kRate;
  SNDFILE* const file = sf_open(Path("tone.wav").c_str(), SFM_WRITE, &info);
  sf_writef_double(file, tone.data(), static_cast<sf_count_t>(tone.size()));
  sf_close(file);
  const std::string voice =
      "render @tone.wav @out.wav --overwrite chorus --set chorus-size=1 --set dry-out=-60 --set chorus-out=0 --set "
      "delay=20 --set mod-depth=30 --set feedback=0 ";
  struct Case {
    const char* options;
    double first, last;  // seconds of a swing
  };
  for (const Case& c : {Case{"--set mod-rate=2", 0.5, 0.5},
                        {"--set tempo-sync=on --set mod-period-note=half-note --tempo 120", 1.0, 1.0},
                        {"--set tempo-sync=on --set mod-period-note=18 --tempo 240 --meter 3/4", 0.75, 0.75},
                        {"--set mod-rate=1 --automate mod-rate:3:4:4:4:jump", 1.0, 0.25}}) {
    const Run run = KorvaLine(voice + c.options);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::vector<double> periods = SwingPeriods(Read("out.wav").samples, kRate);
    ASSERT_GE(periods.size(), 5U) << c.options;
    EXPECT_NEAR(periods[1], c.first, 0.01) << c.options;
    EXPECT_NEAR(periods.back(), c.last, 0.01) << c.options;
  }
  EXPECT_NE(KorvaLine(voice + "--tempo 120").err.find("no effect of this chain follows the tempo"), std::string::npos);
}

TEST_F(RenderTest, ListingsNameEverything) {
  const std::string effects = KorvaLine("effects").out, doc = KorvaLine("docs").out;
  std::ifstream page(KORVA_SOURCE_DIR "/docs/effects.md", std::ios::binary);
  const std::string written{std::istreambuf_iterator<char>(page), {}};
  EXPECT_TRUE(written == doc) << "docs/effects.md is not what `korva docs` writes; write it anew";
  EXPECT_EQ(std::count(effects.begin(), effects.end(), '\n'), std::ssize(EffectTable()));
  for (const EffectRow& effect : EffectTable()) {
    const std::string name = effect.description.name;
    EXPECT_NE(effects.find(name), std::string::npos);
    const std::string params = KorvaLine("params " + name).out;
    const std::string presets = KorvaLine("presets " + name).out;
    EXPECT_EQ(std::count(presets.begin(), presets.end(), '\n'), effect.description.presets.count());
    for (const ParamDescriptor& row : effect.description.rows) {
      EXPECT_NE(params.find(std::string("\n") + row.name + " "), std::string::npos) << row.name;
      EXPECT_NE(doc.find(std::string("`") + row.name + "`"), std::string::npos) << row.name;
    }
  }
  for (const char* line :
       {"--help", "render --help", "render -h", "help render", "params --help", "docs --help", "--version"}) {
    const Run run = KorvaLine(line);
    EXPECT_EQ(run.exitCode, 0) << line;
    EXPECT_EQ(run.err, "") << line;
    EXPECT_FALSE(run.out.empty()) << line;
  }
}

}  // namespace
}  // namespace korva
