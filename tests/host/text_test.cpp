#include <cmath>

#include "frame/row_values.h"
#include "host/number_text.h"
#include "host/parameter_text.h"
#include "host/pitchtime_habits.h"
#include "pitchtime/pitchs_params.h"
#include "pitchtime/time_params.h"
#include "pitchtime/time_text.h"
#include "rig.h"

namespace korva {
namespace {

const EffectRow& Effect(const char* name) {
  return **FindEffect(name);
}

TEST(NumberText, WholeFiniteNumbersAndDurationsAreTaken) {
  for (const char* bad : {"", "+", "+-1", "1x", " 1", "nan", "inf", "1e999", "0,8", "0x10", "--1"}) {
    EXPECT_FALSE(ParseNumber(bad)) << bad;
  }
  EXPECT_EQ(ParseNumber("+3"), 3);
  EXPECT_EQ(ParseNumber("-2.5e3"), -2500);
  struct Case {
    const char* text;
    double seconds;
    const char* shown;
  };
  for (const auto& [text, seconds, shown] : {Case{"0.0125", 0.0125, "12.5 ms"},
                                             {"59.25", 59.25, "59.25 s"},
                                             {"90", 90, "1:30.00"},
                                             {"1:02:03", 3723, "1:02:03.00"},
                                             {"59:59.999", 3599.999, "1:00:00.00"}}) {
    EXPECT_EQ(ParseDuration(text), seconds) << text;
    EXPECT_EQ(DurationText(seconds), shown);
  }
  for (const char* bad : {"", ":", "1:", ":30", "1:60", "1.5:30", "-1", "-1:30", "1:2:3:4", "1:99:00", "nan"}) {
    EXPECT_FALSE(ParseDuration(bad)) << bad;
  }
}

// Everything that is shown may be typed, and gives the same block again.
TEST(ParameterText, EveryPresetOfEveryEffectComesBackFromItsText) {
  for (const EffectRow& effect : EffectTable()) {
    const EffectDescription& description = effect.description;
    for (std::int32_t preset = 0; preset < description.presets.count(); ++preset) {
      const auto* const first = static_cast<const std::uint8_t*>(description.presets.Block(preset));
      const ParameterBlock wanted(first, first + description.blockSize);
      const auto* const start = static_cast<const std::uint8_t*>(description.presets.Block(0));
      ParameterBlock typed(start, start + description.blockSize);
      for (const ParamDescriptor& row : description.rows) {
        const std::string text = ValueText(row, wanted.data());
        const MaybeExit check = ApplySetting(effect, std::string(row.name) + "=" + text, {}, typed.data());
        // Some presets hold values that no setter would take; the row says so and leaves the block alone.
        if (check) {
          EXPECT_NE(check->text.find(" takes "), std::string::npos) << check->text;
          StoreField(row, typed.data(), LoadField(row, wanted.data()));
        }
      }
      EXPECT_EQ(typed, wanted) << description.name << " preset " << preset;
      for (const std::string& name : {std::to_string(preset), PresetName(description, preset)}) {
        const Outcome<std::int32_t> found = FindPreset(effect, name);
        ASSERT_TRUE(found) << name;
        EXPECT_EQ(PresetName(description, *found), PresetName(description, preset));
      }
    }
  }
}

TEST(ParameterText, BothEndsOfEveryRangeAreTakenAndNothingBeyond) {
  for (const EffectRow& effect : EffectTable()) {
    for (const ParamDescriptor& row : effect.description.rows) {
      if (row.info.mpType == MPT_BOOL) continue;
      const std::string range = RangeText(row);
      const std::size_t middle = range.find(" to ");
      const std::string low = range.substr(0, middle);
      const std::string high = range.substr(middle + 4, range.find(' ', middle + 4) - middle - 4);
      for (const auto& [text, outward] : {std::pair(low, -1.0), std::pair(high, 1.0)}) {
        EXPECT_TRUE(ParseValue(row, text)) << effect.description.name << " " << row.name << " " << text;
        EXPECT_FALSE(ParseValue(row, NumberText(*ParseNumber(text) * 1.001 + outward))) << row.name << " " << text;
      }
    }
  }
}

TEST(ParameterText, PitchAndTimeAreSetByWhatIsHeard) {
  PitchsParams pitch{};
  for (const auto& [setting, transposition] : {std::pair("semitones=4", TranspositionOf(4, 0)),
                                               {"cents=-10.5", TranspositionOf(4, -105)},
                                               {"transposition=1.5", 1.5}}) {
    EXPECT_FALSE(ApplySetting(Effect("pitch-shift"), setting, {}, &pitch));
    EXPECT_EQ(pitch.transposition, transposition) << setting;
  }
  const EffectRow& stretch = Effect("time-stretch");
  const MaterialLength minute{60.0 * 44100, 44100};
  struct Case {
    const char* setting;
    double percentTimes100;  // 0: refused
  };
  for (const auto& [setting, percent] : {Case{"percent=150", 15000},
                                         {"tempo=120:60", 20000},
                                         {"duration=1:30", 15000},
                                         {"duration=90", 15000},
                                         {"tempo=120:10", 0},
                                         {"tempo=120:0", 0},
                                         {"tempo=120:nan", 0},
                                         {"duration=1", 0},
                                         {"duration=10:00", 0},
                                         // To the millisecond, as on the page.
                                         {"duration=0:59.9999", FramesOfTime(59999, 44100) / 2646000 * 10000},
                                         {"duration=soon", 0},
                                         {"percent=49", 0}}) {
    TimeParams time{10000.0, 0, 12000, 2646000.0, 0, 0};
    const MaybeExit check = ApplySetting(stretch, setting, minute, &time);
    EXPECT_EQ(check.has_value(), percent == 0) << setting;
    EXPECT_EQ(time.percentTimes100, percent == 0 ? 10000 : percent) << setting;
    EXPECT_EQ(check.value_or(BadCall("")).exitCode, kBadCall);
  }
  TimeParams time{};
  EXPECT_TRUE(ApplySetting(stretch, "duration=10", {}, &time)) << "an empty input has no length to change";
}

}  // namespace
}  // namespace korva
