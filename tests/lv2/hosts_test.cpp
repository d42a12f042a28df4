#include <cstdlib>

#include "host/rig.h"
#include "live/live_text.h"
#include "lv2/lv2_ports.h"
#include "lv2/plugin_host.h"
#include "qvkit/language_locales.h"

namespace korva {
namespace {

/// The bundle in hosts that are there, each a program of its own.
class Lv2Hosts : public HostTest {
 protected:
  Lv2Hosts() {
    std::filesystem::create_directory(Path("lv2"));
    std::filesystem::create_directory_symlink(KORVA_BUNDLE, Path("lv2/korva.lv2"));
  }
  static bool IsThere(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
  }
  /// Runs a line of the shell; what it said is in the file "said".
  int Shell(const std::string& line) const {
    return std::system(("cd '" + Path("") + "' && LV2_PATH='" + Path("lv2") + ":/usr/lib/lv2' LC_ALL=C " + line +
                        " >said 2>&1 </dev/null")
                           .c_str());
  }
  /// The command's samples of "in.wav" for these words.
  std::vector<double> Rendered(const std::string& words) const {
    Render("@in.wav @own.wav " + words);
    return Read("own.wav").samples;
  }
  /// Whether what a host wrote, `late` frames late, is `wanted`, as far as it goes.
  bool Same(const std::string& file, const std::vector<double>& wanted, std::size_t late = 0) const {
    const Sound sound = Read(file);
    const std::size_t skip = late * static_cast<std::size_t>(sound.channels);
    return sound.samples.size() > skip && wanted.size() + skip >= sound.samples.size() &&
           std::equal(sound.samples.begin() + static_cast<std::ptrdiff_t>(skip), sound.samples.end(), wanted.begin());
  }
};

#define KORVA_NEEDS(program) \
  if (!IsThere(program)) GTEST_SKIP() << program << " is not installed"

TEST_F(Lv2Hosts, TheDataFilesAreValid) {
  KORVA_NEEDS("lv2_validate");
  EXPECT_EQ(Shell("lv2_validate lv2/korva.lv2/*.ttl"), 0) << Bytes("said");
  EXPECT_NE(Bytes("said").find("Found 0 errors"), std::string::npos) << Bytes("said");
}

TEST_F(Lv2Hosts, EveryPresetEqualsTheCommand) {
  KORVA_NEEDS("lv2file");
  for (const Lv2Plugin& plugin : Lv2Plugins()) {
    PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, static_cast<int>(plugin.channels),
             plugin.hasLatency ? 60000 : 9000);
    const EffectDescription& effect = plugin.kind->description;
    std::size_t late = 0;
    if (plugin.hasLatency) {
      PluginHost host(plugin, 48000);
      std::vector<float> silence(1);
      host.Run({silence.data(), silence.data()}, 1);
      late = static_cast<std::size_t>(host.values[plugin.latencyIndex()]);
      EXPECT_GT(late, 20000U);
    }
    for (std::int32_t i = 0; i < effect.presets.count(); ++i) {
      const std::vector<double> wanted = Rendered(effect.name + std::string(" --preset ") + std::to_string(i) +
                                                  (plugin.hasLatency ? " --set preserve-duration=on --keep-pace" : ""));
      const std::string preset = PresetNameIn(kEnglish, effect, i);
      ASSERT_EQ(Shell("lv2file --ignore-clipping -P '" + preset + "' -i in.wav -o out.wav " + plugin.uri()), 0)
          << Bytes("said");
      EXPECT_TRUE(Same("out.wav", wanted, late)) << plugin.uri() << " " << preset;
    }
  }
}

TEST_F(Lv2Hosts, ASavedRecordBecomesAPreset) {
  KORVA_NEEDS("lv2file");
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 9000);
  const std::vector<double> wanted = Rendered("reverb --preset 5 --set pre-delay=33 --save-state @my_own.state");
  std::filesystem::rename(Path("my_own.state"), Path("my own.state"));
  const std::vector<std::string> call{"state", "@my own.state", "--lv2", "@lv2/mine.lv2"};
  EXPECT_EQ(Korva(call).exitCode, 0);
  EXPECT_NE(Korva(call).exitCode, 0) << "what is there stays";
  EXPECT_EQ(Shell("lv2_validate lv2/*/*.ttl"), 0) << Bytes("said");
  ASSERT_EQ(Shell("lv2file --ignore-clipping -P 'my own' -i in.wav -o out.wav urn:korva:reverb"), 0) << Bytes("said");
  EXPECT_TRUE(Same("out.wav", wanted));
  Rendered("pitch-shift --set semitones=24 --save-state @high.state");
  EXPECT_NE(KorvaLine("state @high.state --lv2 @lv2/high.lv2").err.find("up to 12"), std::string::npos);
}

// Other hosts, one of which gives one frame a call; a tail comes with silence behind the input.
TEST_F(Lv2Hosts, OtherHostsEqualTheCommand) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 9000);
  const std::string ffmpeg = "ffmpeg -y -i in.wav -c:a pcm_f32le -af ";
  const struct {
    const char* program;
    std::string call;
    const char* words;
  } cases[] = {
      {"lv2apply", "lv2apply -i in.wav -o out.wav -c feedback 40 -c delay 20 urn:korva:chorus",
       "chorus --set feedback=40 --set delay=20"},
      {"ffmpeg", ffmpeg + R"('lv2=p=urn\\:korva\\:chorus:c=feedback=40|delay=20' out.wav)",
       "chorus --set feedback=40 --set delay=20"},
      {"ffmpeg",
       ffmpeg + R"('apad=pad_len=48000,lv2=p=urn\\:korva\\:reverb:c=reverb_out=-24|reverb_mode=8|early_style=5)"
                "|decay=3|pre_delay=70|high_hz=7000' out.wav",
       "reverb --preset Cathedral"},
  };
  for (const auto& [program, call, words] : cases) {
    if (!IsThere(program)) {
      std::printf("%s is not installed: left out\n", program);
      continue;
    }
    ASSERT_EQ(Shell(call), 0) << Bytes("said");
    EXPECT_TRUE(Same("out.wav", Rendered(words))) << call;
  }
}

}  // namespace
}  // namespace korva
