#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "host/parameter_text.h"
#include "rig.h"

namespace korva {
namespace {

class CallTest : public HostTest {
 protected:
  CallTest() { PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 48000); }
};

TEST_F(CallTest, WhatIsUnderstoodOtherwiseIsTold) {
  struct Case {
    const char *line, *told;
  };
  for (const Case& c : {Case{"simple-delay --set delay=333.37", "delay=333.37 is kept as 333 ms"},
                        {"chorus --set mod-rate=0.8", ""},
                        {"time-stretch --set mode=speech", "mode=speech is "},
                        {"chorus --set mod-period-note=13", ""}}) {
    ExpectSaid(Render("@in.wav @out.wav --dry-run " + std::string(c.line)), c.told);
  }
  EXPECT_FALSE(Exists("out.wav"));
}

// A ramp comes to rest on the value that was typed, wherever the stream is cut.
TEST_F(CallTest, ARampEndsOnItsEndValue) {
  PutSamples("one.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, std::vector<double>(24000, 0.5));
  Render("@one.wav @out.wav reverb --set reverb-out=-80 --set early-out=-80 --automate dry-out:0:0.1:-40:0 --no-tail");
  EXPECT_NEAR(Read("out.wav").samples[20000], 0.5, 1e-6);
}

TEST_F(CallTest, ALengthThatIsAskedForIsKeptToTheFrame) {
  struct Case {
    const char* chain;
    int frames;
  };
  for (const Case& c : {Case{"time-stretch --set duration=1.5", 72000},
                        {"time-stretch --set duration=0.6", 28800},
                        {"time-stretch --set tempo=120:90", 64000},
                        {"reverb --set decay=0.5 --tail 0.25", 60000},
                        {"simple-delay --tail 0", 48000}}) {
    for (const char* format : {"", " --format s16"}) {
      Render("@in.wav @out.wav " + std::string(c.chain) + format);
      EXPECT_EQ(Read("out.wav").info.frames, c.frames) << c.chain << format;
    }
  }
}

TEST_F(CallTest, WetLeavesTheDrySignalOut) {
  Render("@in.wav @out.wav simple-delay --wet --set delay=500 --set multiple-delays=off");
  const Sound out = Read("out.wav");
  EXPECT_TRUE(std::all_of(out.samples.begin(), out.samples.begin() + 24000, [](double x) { return x == 0; }));
  EXPECT_EQ(KorvaLine("render @in.wav @b.wav time-stretch --wet").exitCode, 2);
}

TEST_F(CallTest, ATextOfAStateIsReadBackWhole) {
  for (const EffectRow& effect : EffectTable()) {
    const std::string name = effect.description.name;
    Render("@in.wav @o.wav " + name + " --preset 1 --save-state @a.state");
    const Run text = KorvaLine("state @a.state --text");
    Put("a.preset", text.out);
    Render("@in.wav @o.wav " + name + " --state @a.preset --save-state @b.state");
    EXPECT_EQ(Bytes("b.state"), Bytes("a.state")) << text.out;
  }
  Put("bad.preset", "effect = chorus\ndelay = 5\nfeedbak = 3\n");
  const Run bad = KorvaLine("render @in.wav @o.wav chorus --state @bad.preset --overwrite");
  EXPECT_NE(bad.err.find("line 3: "), std::string::npos) << bad.err;
  EXPECT_EQ(bad.exitCode, 1);
}

TEST_F(CallTest, ManyFilesGoTheirOwnWays) {
  std::filesystem::create_directory(Path("wet"));
  PutSound("b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 5000);
  Put("c.wav", "nothing");
  const Run run = KorvaLine("render @in.wav @b.wav @c.wav --out-dir @wet --ending flac --jobs 2 chorus --preset 2");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("1 of 3 files failed"), std::string::npos) << run.err;
  EXPECT_EQ(Read("wet/b.flac").info.channels, 2);
  EXPECT_EQ(Read("wet/in.flac").info.frames, 48000);
  EXPECT_FALSE(Exists("wet/c.flac"));
}

TEST_F(CallTest, EverythingSpeaksJson) {
  using Json = nlohmann::json;
  EXPECT_EQ(Json::parse(KorvaLine("effects --json").out).size(), EffectTable().size());
  for (const EffectRow& effect : EffectTable()) {
    const std::string name = effect.description.name;
    const Json params = Json::parse(KorvaLine("params --json " + name).out);
    ASSERT_EQ(params.size(), effect.description.rows.size());
    EXPECT_EQ(params[0]["name"], effect.description.rows[0].name);
    EXPECT_EQ(Json::parse(KorvaLine("presets --json " + name).out).size(),
              static_cast<std::size_t>(effect.description.presets.count()));
  }
  const Run run = KorvaLine("render @in.wav @out.wav reverb --json --quiet --save-state @a.state");
  const Json result = Json::parse(run.out);
  EXPECT_EQ(result["frames_in"], 48000);
  EXPECT_EQ(result["effects"], Json::array({"reverb"}));
  EXPECT_EQ(Json::parse(KorvaLine("state @a.state --json").out)["effect"], "reverb");
}

// The manual page and the completion are whole, and the tools that read them find nothing wrong.
TEST_F(CallTest, TheManualPageAndTheCompletionAreWellFormed) {
  Put("korva.1", KorvaLine("docs --man").out);
  Put("korva.bash", KorvaLine("docs --bash").out);
  EXPECT_EQ(std::system(("LC_ALL=C.UTF-8 MANROFFSEQ= man --warnings -E UTF-8 -l -Tutf8 -Z " + Path("korva.1") +
                         " >/dev/null 2>" + Path("warnings"))
                            .c_str()),
            0);
  EXPECT_EQ(Bytes("warnings"), "");
  EXPECT_EQ(std::system(("bash -n " + Path("korva.bash")).c_str()), 0);
  const auto completes = [&](const std::string& words, const std::string& reply) {
    const std::string script =
        ". " + Path("korva.bash") + "; COMP_WORDS=(" + words +
        "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _korva; printf '%s\\n' \"${COMPREPLY[@]}\" | grep -qxF -- '" +
        reply + "'";
    Put("try.bash", script);
    return std::system(("bash " + Path("try.bash")).c_str()) == 0;
  };
  for (const auto& [words, reply] : {std::pair("korva rend", "render"),
                                     {"korva params rev", "reverb"},
                                     {"korva render a.wav b.wav cho", "chorus"},
                                     {"korva render a.wav b.wav chorus --pre", "--preset"},
                                     {"korva render a.wav b.wav chorus --set feed", "feedback="},
                                     {"korva render a.wav b.wav chorus --set bypass = o", "on"},
                                     {"korva render a.wav b.wav reverb --preset cath", "Cathedral"}}) {
    EXPECT_TRUE(completes(words, reply)) << words;
  }
  for (const OptionText& option : RenderOptions()) {
    EXPECT_NE(Bytes("korva.bash").find(option.name), std::string::npos) << option.name;
  }
}

}  // namespace
}  // namespace korva
