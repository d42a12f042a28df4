#ifdef KORVA_PLOT

#include <algorithm>
#include <cstdlib>

#include "host/plot/plot_command.h"
#include "rig.h"

namespace korva {
namespace {

class PlotTest : public HostTest {
 protected:
  /// What the picture of a call is drawn from.
  Picture Made(const std::string& line) const {
    std::istringstream words(line + " x.png"), in;
    std::vector<std::string> told{std::istream_iterator<std::string>(words), {}}, remarks;
    for (std::string& word : told) {
      if (word[0] == '@') word = Path(word.substr(1));
    }
    const Outcome<PlotRequest> request = ParsePlot(told);
    EXPECT_TRUE(request) << line << ": " << request.earlyExit().text;
    if (!request) return {};
    Outcome<Picture> picture = MakePicture(*request, in, remarks);
    EXPECT_TRUE(picture) << line << ": " << picture.earlyExit().text;
    return picture ? *picture : Picture();
  }
};

double At(const Curve& curve, double x) {
  const auto after =
      std::find_if(curve.points.begin(), curve.points.end(), [&](const PlotPoint& p) { return p.x > x; });
  return after == curve.points.begin() ? after->y : (after - 1)->y;
}

// An impulse of 0 dB comes back when and as loud as its parameters say, in the units of the axes.
TEST_F(PlotTest, BarsStandWhereEchoesComeBack) {
  struct Case {
    const char* line;
    double at, height, tolerance;  // tolerance of the height
  };
  for (const Case& c : {
           Case{"simple-delay --set delay=250 --set delay-out=-12 --set dry-out=-3", 0, -3, 0.05},
           {"simple-delay --set delay=250 --set delay-out=-12 --set dry-out=-3", 250, -12, 0.05},
           {"simple-delay --set delay=250 --gain -20 --set dry-out=-3 --rate 44100", 0, -23, 0.05},
           {"simple-delay --set delay=1500 --set delay-out=-12 --channels 1 --format s16", 1500, -12, 0.05},
           {"chorus --set delay=20 --set mod-depth=1 --set chorus-size=1 --set feedback=0 --channels 1", 20, -6, 4},
           {"multi-tap-delay --set wet-out=0 --set tap-delay-1=300 --set tap-gain-1=-50", 300, -50, 0.1},
           {"multi-tap-delay --set wet-out=0 --set tap-delay-1=300 --set tap-gain-1=50 --set tap-pan-1=-100", 300, 50,
            0.1},
           {"multi-tap-delay --set wet-out=0 --set tap-delay-1=100 --set feedback=50 --channels 1", 200, 50, 0.1},
           {"time-stretch --set percent=100", 250, 0, 0.1},
       }) {
    const Picture picture = Made(c.line);
    ASSERT_FALSE(picture.panels.empty()) << c.line;
    const std::vector<Bar>& bars = picture.panels[0].bars;
    const auto bar =
        std::find_if(bars.begin(), bars.end(), [&](const Bar& one) { return std::fabs(one.at - c.at) < 0.6; });
    ASSERT_NE(bar, bars.end()) << c.line;
    EXPECT_NEAR(bar->to, c.height, c.tolerance) << c.line;
  }
  EXPECT_EQ(Made("multi-tap-delay --set tap-pan-1=-100").panels.size(), 2U) << "channels that differ are apart";
}

TEST_F(PlotTest, CurvesSayWhatTheChainDoes) {
  // A copy 1 ms later takes 500 Hz away and leaves 1000 Hz.
  const Curve comb =
      Made("--response multi-tap-delay --set tap-delay-1=1 --set wet-out=-6 --set dry-out=-6").panels[0].curves[0];
  EXPECT_GT(At(comb, 1000) - At(comb, 500), 12);
  EXPECT_NEAR(At(comb, 1000), 0, 0.5);
  EXPECT_EQ(Made("--response chorus").panels[0].curves.size(), 3U) << "a swing is looked at three times";
  // A low-pass of one pole loses 3 dB at its corner, two of them lose 6.
  for (const auto& [chain, poles] :
       {std::pair(
            "chorus --wet --set chorus-size=1 --set mod-depth=1 --set attenuate-high=on --set attenuation-hz=1000", 1),
        {"multi-tap-delay --wet --set low-pass-enabled=on --set low-pass-hz=1000", 2}}) {
    const Curve low = Made(std::string("--response --rate 96000 ") + chain).panels[0].curves[0];
    EXPECT_NEAR(At(low, 1000) - At(low, 50), -3 * poles, 0.2) << chain;
    EXPECT_NEAR(At(low, 8000) - At(low, 4000), -5.8 * poles, 0.3) << chain;
  }
  // A loud line goes an octave up.
  const auto loudest = [](const Panel& panel) {
    const Heat& heat = *panel.heat;
    const auto column = heat.levels.begin() + static_cast<std::ptrdiff_t>(heat.columns / 2 * heat.rows);
    const auto row = std::max_element(column, column + static_cast<std::ptrdiff_t>(heat.rows)) - column;
    return panel.y.from *
           std::pow(panel.y.to / panel.y.from, static_cast<double>(row) / static_cast<double>(heat.rows - 1));
  };
  const Picture sweep = Made("--spectrogram pitch-shift --set semitones=12 --set preserve-duration=on --tail 0");
  EXPECT_NEAR(loudest(sweep.panels[0]), 632, 25);  // the middle of 20 Hz to 20 kHz
  EXPECT_NEAR(loudest(sweep.panels[1]), 1265, 260);
  // A ramp is taken in steps of 20 ms at most, and rests on its last value.
  const Picture ramp = Made("--automation chorus --automate delay:1:2:10:50 --block 1000");
  const Curve &sampled = ramp.panels[0].curves[0], &told = ramp.panels[0].curves[1];
  EXPECT_NEAR(At(told, 1.5), 30, 1);
  EXPECT_NEAR(At(sampled, 1.5), 30, 1);
  EXPECT_NEAR(sampled.points.back().y, 50, 0.01);
  for (std::size_t i = 1; i < sampled.points.size(); ++i) {
    EXPECT_LE(sampled.points[i].x - sampled.points[i - 1].x, 0.021) << i;
  }
}

TEST_F(PlotTest, TheSameCallGivesTheSameBytesAndBadOnesNothing) {
  PutSound("in.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 9000);
  Put("kept.png", "kept");
  const auto draw = [&](const std::string& environment, const std::string& words) {
    return std::system((environment + " '" KORVA_BINARY "' plot --quiet --overwrite " + words).c_str());
  };
  for (const std::string line :
       {"chorus ", "chorus --response --dark --scale 2 ", "--spectrogram --compare 3 Plate reverb "}) {
    for (const std::string ending : {"png", "svg"}) {
      ASSERT_EQ(draw("", line + Path("one." + ending)), 0) << line;
      ASSERT_EQ(draw("env -u DISPLAY -u HOME LC_ALL=de_DE.UTF-8 TZ=Asia/Tokyo", line + Path("two." + ending)), 0)
          << line;
      EXPECT_TRUE(Bytes("one." + ending) == Bytes("two." + ending)) << line;
      EXPECT_EQ(Bytes("one." + ending).substr(1, 3), ending == "png" ? "PNG" : "?xm") << line;
    }
  }
  const struct {
    const char *line, *part;
    int code = 2;
  } refusals[] = {
      {"plot", "OUT.png or OUT.svg"},
      {"plot @out.png", "plot takes an effect"},
      {"plot chorus @out.jpg", "ends in .png or .svg"},
      {"plot chorus @out.png --set delay=1", "in front of OUT"},
      {"plot chorus --dork @out.png", "did you mean --dark"},
      {"plot chorus --bits 16 @out.png", "no option \"--bits\""},
      {"plot chorus --impulse --response @out.png", "one of --impulse"},
      {"plot chorus --automation @out.png", "moves nothing"},
      {"plot chorus --size 10x10 @out.png", "320x200"},
      {"plot chorus --scale 9 @out.png", "1 to 4"},
      {"plot chorus --in @in.wav @out.png", "goes with --spectrogram"},
      {"plot chorus --trim 0:1 @out.png", "goes with --in"},
      {"plot chorus --save-state @s @out.png", "goes with render"},
      {"plot --compare chorus @in.wav @out.png", "is no effect"},
      {"plot --compare @in.wav @in.wav --gain 3 @out.png", "is for effects"},
      {"plot --automation --size 320x200 chorus --automate delay:0:1:1:2 --automate feedback:0:1:1:2 --automate "
       "mod-depth:0:1:1:2 --automate mod-rate:0:1:1:2 --automate dry-out:0:1:-2:-1 --automate chorus-out:0:1:-2:-1 "
       "@out.png",
       "need more room", 1},
      {"plot --compare 1 2 chorus --preset 3 @out.png", "cannot stand beside"},
      {"plot chorus @kept.png", "--overwrite", 1},
      {"plot chorus --state @in.wav @kept.png --overwrite", "no record of any effect", 1},
      {"plot chorus @no/out.png", "No such file", 1},
      {"plot --compare @none.wav @in.wav @out.png", "No such file", 1},
      {"plot --spectrogram --in @kept.png chorus @out.png", "no sound file", 1},
  };
  for (const auto& [line, part, code] : refusals) {
    ExpectRefused(line, code, part);
    EXPECT_EQ(Bytes("kept.png"), "kept") << line;
  }
}

// The pictures that the pages show were drawn from what the effects do now. `make docs` draws them anew.
TEST_F(PlotTest, PicturesOfThePagesAreUpToDate) {
  const std::filesystem::path source = KORVA_SOURCE_DIR, plots = source / "docs/images/plots";
  std::ifstream file(plots / "numbers.txt");
  std::istringstream now(KorvaLine("docs --numbers").out);
  for (std::string was, is; now >> is;) {
    ASSERT_TRUE(file >> was) << is;
    if (is.ends_with(':')) {
      ASSERT_EQ(is, was);
      EXPECT_TRUE(std::filesystem::exists(plots / (is.substr(0, is.size() - 1) + ".png"))) << is;
    } else {
      // Other C libraries have other last places.
      EXPECT_NEAR(std::stod(is), std::stod(was), 0.25 + std::fabs(std::stod(was)) * 0.01) << is;
    }
  }
  std::string more;
  EXPECT_FALSE(file >> more) << more;
  const std::string picture = "src=\"images/";
  for (const auto& page : std::filesystem::directory_iterator(source / "src/resources/help")) {
    const std::string text = Bytes(page.path());
    for (std::size_t at = 0; (at = text.find(picture, at)) != std::string::npos;) {
      at += picture.size();
      const std::string name = text.substr(at, text.find('"', at) - at);
      EXPECT_TRUE(std::filesystem::exists(source / "docs/images" / name)) << page.path() << name;
    }
  }
}

}  // namespace
}  // namespace korva

#endif
