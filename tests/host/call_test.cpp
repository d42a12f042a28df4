#include <algorithm>
#include <cstdlib>
#include <cstring>
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
    const Run run = Render("@in.wav @out.wav --dry-run " + std::string(c.line));
    EXPECT_NE(run.err.find(c.told), std::string::npos) << run.err;
    EXPECT_EQ(run.err.empty(), *c.told == '\0') << run.err;
  }
  EXPECT_FALSE(Exists("out.wav"));
}

TEST_F(CallTest, WetLeavesTheDrySignalOut) {
  Render("@in.wav @out.wav simple-delay --wet --set delay=500 --set multiple-delays=off");
  const Sound out = Read("out.wav");
  EXPECT_TRUE(std::all_of(out.samples.begin(), out.samples.begin() + 24000, [](double x) { return x == 0; }));
}

TEST_F(CallTest, PresetThenRecordThenSettings) {
  // The record replaces what the preset said, and the setting what both did, wherever they stand.
  Render("@in.wav @a.wav chorus --set delay=12.5 --preset 2 --save-state @a.state");
  Render("@in.wav @b.wav chorus --set feedback=7 --state @a.state --preset 14 --save-state @b.state --set mod-rate=3");
  const std::string first = KorvaLine("state @a.state").out, second = KorvaLine("state @b.state").out;
  for (const auto& [state, line] : {std::pair(first, "chorus, current form, 84 bytes"),
                                    {first, "delay                  12.5 ms"},
                                    {first, "feedback               32 %"},
                                    {second, "delay                  12.5 ms"},
                                    {second, "feedback               7 %"},
                                    {second, "mod-rate               3 Hz"}}) {
    EXPECT_NE(state.find(line), std::string::npos) << line << " in " << state;
  }
}

// The newest form of a record goes into a text and back; every older one is known by its head.
TEST_F(CallTest, RecordsAreRecognisedAndReadBackWhole) {
  for (const EffectRow& effect : EffectTable()) {
    const std::string name = effect.description.name;
    Render("@in.wav @o.wav " + name + " --preset 1 --save-state @a.state");
    const Run text = KorvaLine("state @a.state --text");
    Put("a.preset", text.out);
    Render("@in.wav @o.wav " + name + " --state @a.preset --save-state @b.state");
    EXPECT_EQ(Bytes("b.state"), Bytes("a.state")) << text.out;
    for (const RecordForm& form : effect.description.forms) {
      std::string record(form.size, '\0');
      std::memcpy(record.data(), &form.size, 4);
      std::memcpy(record.data() + 4, &form.id, 16);
      Put("x.state", record);
      EXPECT_EQ(KorvaLine("state @x.state").out.find(name), 0U) << form.size;
    }
  }
}

TEST_F(CallTest, ManyFilesGoTheirOwnWays) {
  std::filesystem::create_directory(Path("wet"));
  PutSound("b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 5000);
  Put("c.wav", "nothing");
  const Run run = KorvaLine("render @in.wav @b.wav @c.wav --out-dir @wet --ending flac --jobs 2 chorus --preset 2");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("1 of 3 files failed"), std::string::npos) << run.err;
  EXPECT_EQ(Read("wet/b.flac").channels, 2);
  EXPECT_EQ(Read("wet/in.flac").frames, 48000);
  EXPECT_FALSE(Exists("wet/c.flac"));
}

TEST_F(CallTest, ListingsNameEverythingInWordsAndInJson) {
  using Json = nlohmann::json;
  EXPECT_TRUE(Bytes(KORVA_SOURCE_DIR "/docs/effects.md") == KorvaLine("docs").out) << "`make docs` writes it anew";
  const std::string effects = KorvaLine("effects").out;
  EXPECT_EQ(Json::parse(KorvaLine("effects --json").out).size(), EffectTable().size());
  for (const EffectRow& effect : EffectTable()) {
    const std::string name = effect.description.name, words = KorvaLine("params " + name).out;
    EXPECT_NE(effects.find(name), std::string::npos);
    const Json params = Json::parse(KorvaLine("params --json " + name).out);
    ASSERT_EQ(params.size(), effect.description.rows.size());
    for (std::size_t i = 0; i < params.size(); ++i) {
      EXPECT_EQ(params[i]["name"], effect.description.rows[i].name);
      EXPECT_NE(words.find(std::string("\n") + effect.description.rows[i].name + " "), std::string::npos) << i;
    }
    const std::string presets = KorvaLine("presets " + name).out;
    EXPECT_EQ(std::count(presets.begin(), presets.end(), '\n'), effect.description.presets.count());
    EXPECT_EQ(std::ssize(Json::parse(KorvaLine("presets --json " + name).out)), effect.description.presets.count());
  }
  const Run run = KorvaLine("render @in.wav @out.wav reverb --json --quiet --save-state @a.state");
  const Json result = Json::parse(run.out);
  EXPECT_EQ(result["frames_in"], 48000);
  EXPECT_EQ(result["effects"], Json::array({"reverb"}));
  EXPECT_EQ(Json::parse(KorvaLine("state @a.state --json").out)["effect"], "reverb");
  for (const char* line : {"--help", "render -h", "help render", "params --help", "--version"}) {
    const Run help = KorvaLine(line);
    EXPECT_TRUE(help.exitCode == 0 && help.err.empty() && !help.out.empty()) << line;
  }
}

// The manual page and the completion are whole, and the tools that read them find nothing wrong.
TEST_F(CallTest, TheManualPageAndTheCompletionAreWellFormed) {
  Put("korva.1", KorvaLine("docs --man").out);
  Put("korva.bash", KorvaLine("docs --bash").out);
  const auto shell = [&](const std::string& line) {
    return std::system(("cd '" + Path("") + "' && LC_ALL=C.UTF-8 MANROFFSEQ= " + line).c_str());
  };
  EXPECT_EQ(shell("man --warnings -E UTF-8 -l -Tutf8 -Z ./korva.1 >/dev/null 2>warnings"), 0);
  EXPECT_EQ(Bytes("warnings"), "");
  EXPECT_EQ(shell("bash -n korva.bash"), 0);
  const auto completes = [&](const std::string& words, const std::string& reply) {
    Put("try.bash", ". ./korva.bash; COMP_WORDS=(" + words +
                        "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _korva; printf '%s\\n' \"${COMPREPLY[@]}\" | "
                        "grep -qxF -- '" +
                        reply + "'");
    return shell("bash try.bash") == 0;
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
