#include <cstring>

#include "rig.h"

namespace korva {
namespace {

class RefusalTest : public HostTest {
 protected:
  RefusalTest() {
    PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 2000);
    Put("kept.wav", "kept");
  }

  /// What is said, and the calls that are answered with it.
  struct Answer {
    const char* part;
    std::vector<std::string> calls;
  };
};

TEST_F(RefusalTest, WrongCallsAreAnsweredWithWhatIsRight) {
  for (const auto& [part, calls] : {
           Answer{"effects, params, presets, render, ", {""}},
           {"did you mean render?", {"rendr"}},
           {"korva params EFFECT", {"params"}},
           {"did you mean chorus?", {"params chrus"}},
           {"the effects are chorus", {"params qqqqqqqq"}},
           {"IN, OUT and at least one effect", {"render"}},
           {"at least one effect", {"render @in.wav @out.wav"}},
           {"behind the name of an effect", {"render @in.wav @out.wav --preset 1 chorus"}},
           {"cannot hold such samples", {"render @in.wav @out.flac chorus --bits float"}},
           {"read twice", {"render - @out.wav chorus --state -"}},
           {".wav, .flac", {"render @in.wav @out.txt chorus", "render @in.wav @out chorus"}},
           {"has no automation", {"render @in.wav @out.wav multi-tap-delay --automate wet-out:0:1:0:0"}},
           {"can be reached", {"render @in.wav @out.wav time-stretch --set duration=10"}},
           {"down to -12", {"render @in.wav @out.wav pitch-shift --set preserve-duration=on --set semitones=-13"}},
           {"no dry signal", {"render @in.wav @out.wav time-stretch --wet"}},
       }) {
    for (const std::string& call : calls) ExpectRefused(call, 2, part);
  }
  // What follows an effect.
  for (const auto& [part, calls] : {
           Answer{"there is no effect \"dealy\"", {"dealy"}},
           {"no option \"-x\"", {"-x"}},
           {"--preset needs a value", {"--preset", "--preset="}},
           {"told twice", {"--preset 1 --preset 2"}},
           {"presets 0 to 23", {"--preset 99", "--preset -1"}},
           {"did you mean Fast flange 1", {"--preset fast-flang-1"}},
           {"two results", {"--save-state out.state reverb --save-state out.state", "--save-state @./out.wav"}},
           {"is what is read", {"--save-state @./in.wav --overwrite"}},
           {"takes no value", {"--quiet=1"}},
           {"NAME=VALUE", {"--set delay", "--set =4"}},
           {"did you mean delay?", {"--set delya=4"}},
           {"is no number", {"--set delay=", "--set delay=nan", "--set delay=4s"}},
           {"0.1 to 100 ms", {"--set delay=100.1", "--set delay=-1e300", "--automate delay:0:1:5:101"}},
           {"whole numbers", {"--set chorus-size=1.5"}},
           {"on or off", {"--set bypass=maybe", "--set bypass=2", "--set bypass=-1"}},
           {"did you mean Quarter Note", {"--set mod-period-note=quater-note", "--set mod-period-note=quater"}},
           {"0 to 18", {"--set mod-period-note=19"}},
           {"cannot ramp", {"--automate bypass:0:1:0:1"}},
           {"begins after the sound", {"--no-tail --automate delay:1:2:5:6", "--automate delay:1:2:5:6"}},
           {"has rung out by 2.", {"reverb --automate decay:9:10:2:2"}},
           {"goes with an encoder", {"--quality 1"}},
           {"NAME:T0:T1:V0:V1", {"--automate delay:0:1:5"}},
           {"T1 must come after T0", {"--automate delay:1:1:5:6"}},
           {"times are seconds", {"--automate delay:nan:1:5:6", "--automate delay:0:1e300:5:6"}},
           {"there is no curve", {"--automate delay:0:1:5:6:sine"}},
           {"overlaps", {"--automate delay:0:2:5:6 --automate delay:1:3:5:6"}},
           {"8, 16, 24, 32, float, double", {"--bits 12"}},
           {"-144 to 144 dB", {"--gain loud"}},
           {"FROM:TO", {"--trim 2:1"}},
           {"RATE:CHANNELS:TYPE", {"--raw-in 48000:2"}},
           {"the opposite", {"--tail 1 --no-tail"}},
           {"u8, s16, s32, f32, f64", {"--format s24"}},
           {"1 to 16777216", {"--block 0", "--block 1e3", "--block 99999999999999999999"}},
           {"beats per minute", {"--tempo 0"}},
           {"such as 4/4", {"--meter 4/5", "--meter 4"}},
           {"cannot stand beside", {"--tempo-map @in.wav --tempo 90"}},
       }) {
    for (const std::string& call : calls) ExpectRefused("render @in.wav @out.wav chorus " + call, 2, part);
  }
}

TEST_F(RefusalTest, WorkThatFailsSaysWhyAndHarmsNothing) {
  const std::string good = Bytes("in.wav");
  Put("empty", "");
  Put("text", std::string(5000, 'a'));
  Put("header.wav", good.substr(0, 30));
  Put("nodata.wav", good.substr(0, 44));
  PutSound("whole.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 1, 20000);
  Put("cut.flac", Bytes("whole.flac").substr(0, 15000));
  PutSound("whole.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 1, 2000);
  Put("cut.aiff", Bytes("whole.aiff").substr(0, 2000));
  PutSound("c33.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 33, 10);
  // More than a header of 32 bits can count once it is float; the file is a hole with a header.
  std::string huge = good.substr(0, 44);
  constexpr std::uint32_t kHugeData = 2'200'000'000;
  for (const auto& [offset, size] : {std::pair(4, kHugeData + 36), std::pair(40, kHugeData)}) {
    std::memcpy(huge.data() + offset, &size, sizeof size);
  }
  Put("huge.wav", huge);
  std::filesystem::resize_file(Path("huge.wav"), huge.size() + kHugeData);
  std::filesystem::create_symlink("nowhere.wav", Path("link.wav"));
  Put("short.state", "abc");
  ASSERT_EQ(KorvaLine("render @in.wav @x.wav reverb --save-state @reverb.state").exitCode, 0);
  Put("size.state", Bytes("reverb.state").replace(0, 1, 1, '\x28'));
  Put("bad.preset", "effect = chorus\ndelay = 5\nfeedbak = 3\n");
  for (const auto& [part, calls] : {
           Answer{"is empty", {"render @empty @out.wav chorus", "render - @out.wav chorus"}},
           {"cannot open @", {"render @ @out.wav chorus"}},
           {"no sound file", {"render @text @out.wav chorus", "render @header.wav @out.wav chorus"}},
           {"33 channels", {"render @c33.wav @out.wav chorus"}},
           {"is a directory", {"render / @out.wav chorus"}},
           {"leads nowhere", {"render @in.wav @link.wav chorus"}},
           {"4 GiB",
            {"render @huge.wav @out.wav chorus --format f32", "render @huge.wav @out.aiff chorus --format f32"}},
           {"only 3 bytes", {"render @in.wav @out.wav chorus --state @short.state"}},
           {"no record of any effect", {"render @in.wav @out.wav chorus --state @text", "state @text"}},
           {"a record of reverb, not of chorus", {"render @in.wav @out.wav chorus --state @reverb.state"}},
           {"wrong size", {"render @in.wav @out.wav reverb --state @size.state"}},
           {"line 3: ", {"render @in.wav @out.wav chorus --state @bad.preset"}},
           {"only 0 bytes", {"state @empty"}},
           {"no MIDI file", {"render @in.wav @out.wav chorus --tempo-map @in.wav"}},
           {"Is a directory", {"render @in.wav @out.wav chorus --tempo-map /"}},
           {"cut short",
            {"render @nodata.wav @out.wav chorus", "render @cut.flac @out.wav chorus",
             "render @cut.aiff @out.wav chorus", "render @cut.flac @kept.wav chorus --overwrite"}},
           {"--overwrite",
            {"render @in.wav @kept.wav chorus", "render @in.wav @out.wav chorus --save-state @kept.wav"}},
           {"No such file",
            {"render @none.wav @out.wav chorus", "render @in.wav @no/out.wav chorus", "state @none.state",
             "render @in.wav @out.wav chorus --state @none.state",
             "render @in.wav @out.wav chorus --tempo-map @none.mid"}},
       }) {
    for (const std::string& call : calls) {
      ExpectRefused(call, 1, part);
      EXPECT_EQ(Bytes("kept.wav"), "kept") << call;
    }
  }
  ExpectRefused("render - @out.wav chorus", 1, "no sound file", std::string(1000, 'x'));
  // What is replaced at last keeps its permissions.
  std::filesystem::permissions(Path("kept.wav"), std::filesystem::perms(0600));
  Render("@in.wav @kept.wav chorus");
  EXPECT_EQ(std::filesystem::status(Path("kept.wav")).permissions(), std::filesystem::perms(0600));
  EXPECT_EQ(Read("kept.wav").frames, 2000);
}

}  // namespace
}  // namespace korva
