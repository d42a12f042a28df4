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
};

TEST_F(RefusalTest, WrongCallsAreAnsweredWithWhatIsRight) {
  struct Case {
    const char *line, *part;
  };
  for (const Case& c : {
           Case{"", "effects, params, presets, render, "},
           {"rendr", "did you mean render?"},
           {"params", "korva params EFFECT"},
           {"params chrus", "did you mean chorus?"},
           {"params qqqqqqqq", "the effects are chorus"},
           {"presets chorus reverb", "korva presets EFFECT"},
           {"effects --all", "no option --all"},
           {"render", "IN, OUT and at least one effect"},
           {"render @in.wav @out.wav", "at least one effect"},
           {"render @in.wav @out.wav revreb", "did you mean reverb?"},
           {"render @in.wav @out.wav chorus dealy", "there is no effect \"dealy\""},
           {"render @in.wav @out.wav chorus --prset 1", "did you mean --preset"},
           {"render @in.wav @out.wav chorus -x", "no option \"-x\""},
           {"render @in.wav @out.wav chorus --preset", "--preset needs a value"},
           {"render @in.wav @out.wav --preset 1 chorus", "behind the name of an effect"},
           {"render @in.wav @out.wav chorus --preset 1 --preset 2", "told twice"},
           {"render @in.wav @out.wav chorus --preset=", "--preset needs a value"},
           {"render @in.wav @out.wav chorus --save-state out.state reverb --save-state out.state", "two results"},
           {"render @in.wav @out.wav chorus --save-state @./in.wav --overwrite", "is what is read"},
           {"render @in.wav @out.wav chorus --save-state @./out.wav", "two results"},
           {"render @in.wav @out.wav chorus --quiet=1", "takes no value"},
           {"render @in.wav @out.wav chorus --set bypass=-1", "on or off"},
           {"render @in.wav @out.wav chorus --preset 99", "presets 0 to 23"},
           {"render @in.wav @out.wav chorus --preset -1", "presets 0 to 23"},
           {"render @in.wav @out.wav chorus --preset fast-flang-1", "did you mean Fast flange 1"},
           {"render @in.wav @out.wav chorus --set delay", "NAME=VALUE"},
           {"render @in.wav @out.wav chorus --set =4", "NAME=VALUE"},
           {"render @in.wav @out.wav chorus --set delya=4", "did you mean delay?"},
           {"render @in.wav @out.wav chorus --set delay=", "is no number"},
           {"render @in.wav @out.wav chorus --set delay=nan", "is no number"},
           {"render @in.wav @out.wav chorus --set delay=inf", "is no number"},
           {"render @in.wav @out.wav chorus --set delay=4s", "is no number"},
           {"render @in.wav @out.wav chorus --set delay=100.1", "0.1 to 100 ms"},
           {"render @in.wav @out.wav chorus --set delay=-1e300", "0.1 to 100 ms"},
           {"render @in.wav @out.wav chorus --set chorus-size=1.5", "whole numbers"},
           {"render @in.wav @out.wav chorus --set bypass=maybe", "on or off"},
           {"render @in.wav @out.wav chorus --set bypass=2", "on or off"},
           {"render @in.wav @out.wav chorus --set mod-period-note=quater-note", "did you mean Quarter Note"},
           {"render @in.wav @out.wav chorus --set mod-period-note=quater", "did you mean Quarter Note"},
           {"render @in.wav @out.wav pitch-shift --set preserve-duration=on --set semitones=-13", "down to -12"},
           {"render @in.wav @out.wav chorus --automate bypass:0:1:0:1", "cannot ramp"},
           {"render @in.wav @out.wav chorus --no-tail --automate delay:1:2:5:6", "begins after the sound"},
           {"render @in.wav @out.wav chorus --bits 12", "8, 16, 24, 32, float, double"},
           {"render @in.wav @out.flac chorus --bits float", "cannot hold such samples"},
           {"render @in.wav @out.wav chorus --gain loud", "-144 to 144 dB"},
           {"render @in.wav @out.wav chorus --trim 2:1", "FROM:TO"},
           {"render @in.wav @out.wav chorus --raw-in 48000:2", "RATE:CHANNELS:TYPE"},
           {"render @in.wav @out.wav chorus --tail 1 --no-tail", "the opposite"},
           {"render - @out.wav chorus --state -", "read twice"},
           {"render @in.wav @out.wav chorus --set mod-period-note=19", "0 to 18"},
           {"render @in.wav @out.wav chorus --automate delay:0:1:5", "NAME:T0:T1:V0:V1"},
           {"render @in.wav @out.wav chorus --automate delay:1:1:5:6", "T1 must come after T0"},
           {"render @in.wav @out.wav chorus --automate delay:nan:1:5:6", "times are seconds"},
           {"render @in.wav @out.wav chorus --automate delay:0:1e300:5:6", "times are seconds"},
           {"render @in.wav @out.wav chorus --automate delay:0:1:5:101", "0.1 to 100 ms"},
           {"render @in.wav @out.wav chorus --automate delay:0:1:5:6:sine", "there is no curve"},
           {"render @in.wav @out.wav chorus --automate bypass:0:1:0:1:linear", "cannot ramp"},
           {"render @in.wav @out.wav chorus --automate delay:0:2:5:6 --automate delay:1:3:5:6", "overlaps"},
           {"render @in.wav @out.wav multi-tap-delay --automate wet-out:0:1:0:0", "has no automation"},
           {"render @in.wav @out.wav chorus --format s24", "u8, s16, s32, f32, f64"},
           {"render @in.wav @out.wav chorus --block 0", "1 to 16777216"},
           {"render @in.wav @out.wav chorus --block 1e3", "1 to 16777216"},
           {"render @in.wav @out.wav chorus --block 99999999999999999999", "1 to 16777216"},
           {"render @in.wav @out.wav chorus --tempo 0", "beats per minute"},
           {"render @in.wav @out.wav chorus --meter 4/5", "such as 4/4"},
           {"render @in.wav @out.wav chorus --meter 4", "such as 4/4"},
           {"render @in.wav @out.wav chorus --tempo-map @in.wav --tempo 90", "cannot stand beside"},
           {"render @in.wav @out.txt chorus", ".wav, .flac"},
           {"render @in.wav @out chorus", ".wav, .flac"},
           {"render @in.wav @out.wav time-stretch --set duration=10", "can be reached"},
       }) {
    ExpectRefused(c.line, 2, c.part);
  }
}

TEST_F(RefusalTest, WorkThatFailsSaysWhyAndHarmsNothing) {
  const std::string good = Bytes("in.wav");
  Put("empty.wav", "");
  Put("text.wav", std::string(5000, 'a'));
  Put("header.wav", good.substr(0, 30));
  Put("nodata.wav", good.substr(0, 44));
  Put("cut.wav", good.substr(0, good.size() / 2));
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
  Put("random.state", std::string("T\0\0\0 no record at all, but long", 30));
  Put("short.state", "abc");
  ASSERT_EQ(KorvaLine("render @in.wav @x.wav reverb --save-state @reverb.state").exitCode, 0);
  std::string wrongSize = Bytes("reverb.state");
  wrongSize[0] = 40;
  Put("size.state", wrongSize);
  struct Case {
    const char *line, *part;
  };
  for (const Case& c : {
           Case{"render @none.wav @out.wav chorus", "No such file"},
           {"render @ @out.wav chorus", "cannot open @"},
           {"render @empty.wav @out.wav chorus", "is empty"},
           {"render @text.wav @out.wav chorus", "no sound file"},
           {"render @header.wav @out.wav chorus", "no sound file"},
           {"render @nodata.wav @out.wav chorus", "cut short"},
           {"render @cut.flac @out.wav chorus", "cut short"},
           {"render @cut.aiff @out.wav chorus", "cut short"},
           {"render @c33.wav @out.wav chorus", "33 channels"},
           {"render / @out.wav chorus", "is a directory"},
           {"render @in.wav @kept.wav chorus", "--overwrite"},
           {"render @cut.flac @kept.wav chorus --overwrite", "cut short"},
           {"render @in.wav @no/out.wav chorus", "No such file"},
           {"render @in.wav @link.wav chorus", "leads nowhere"},
           {"render @huge.wav @out.wav chorus --format f32", "4 GiB"},
           {"render @huge.wav @out.aiff chorus --format f32", "4 GiB"},
           {"render @in.wav @out.wav chorus --state @none.state", "No such file"},
           {"render @in.wav @out.wav chorus --state @short.state", "only 3 bytes"},
           {"render @in.wav @out.wav chorus --state @random.state", "no record of any effect"},
           {"render @in.wav @out.wav chorus --state @reverb.state", "a record of reverb, not of chorus"},
           {"render @in.wav @out.wav reverb --state @size.state", "wrong size"},
           {"render @in.wav @out.wav chorus --save-state @kept.wav", "--overwrite"},
           {"render @in.wav @out.wav chorus --tempo-map @none.mid", "No such file"},
           {"render @in.wav @out.wav chorus --tempo-map @in.wav", "no MIDI file"},
           {"render @in.wav @out.wav chorus --tempo-map /", "Is a directory"},
           {"render - @out.wav chorus", "is empty"},
           {"state @none.state", "No such file"},
           {"state @empty.wav", "only 0 bytes"},
           {"state @text.wav", "no record of any effect"},
       }) {
    ExpectRefused(c.line, 1, c.part);
    EXPECT_EQ(Bytes("kept.wav"), "kept") << c.line;
  }
  ExpectRefused("render - @out.wav chorus", 1, "no sound file", std::string(1000, 'x'));
  EXPECT_EQ(KorvaLine("render @in.wav @kept.wav chorus --overwrite").exitCode, 0);
  EXPECT_EQ(Read("kept.wav").info.frames, 2000);
}

}  // namespace
}  // namespace korva
