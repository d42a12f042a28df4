#include "frame/record.h"
#include "frame/row_values.h"
#include "pitchtime/pitchtime_rig.h"

namespace korva {
namespace {

TEST(TimeStretch, LengthFollowsTheRatioAndShortStreamsAreExact) {
  for (const double percent : {50.0, 70.0, 100.0, 150.0, 263.7, 500.0}) {
    const auto length = [&](std::size_t frames, std::size_t size) {
      return static_cast<double>(StretchRig(Stretched(percent, 0)).Run(Music(frames), size).size());
    };
    // What is left at the end is less than half a block, but no last block is longer than a block.
    EXPECT_NEAR(length(600000, 4096), 600000 * percent / 100, std::max(6615 * percent / 100, 13230.0));
    // Half a block of row 0 is 6615 frames: what is below goes out in one block.
    for (const std::size_t frames : {0U, 1U, 2U, 1000U, 6614U}) {
      const double exact = std::floor(static_cast<double>(frames) * percent / 100);
      EXPECT_EQ(length(frames, 100), std::min(exact, 13230.0)) << frames << " at " << percent;
    }
  }
}

TEST(TimeStretch, StartsUnfadedAndKeepsThePitch) {
  const auto input = Sine(440, 300000);
  for (const double percent : {70.0, 100.0, 150.0, 300.0}) {
    const auto output = StretchRig(Stretched(percent, 6)).Run(input);
    const std::span sound(output.begin() + 2000, output.end() - 8000);
    EXPECT_LT(LargestDifference(std::span(output).first(600), std::span(input).first(600)), 1e-7);
    EXPECT_LT(std::fabs(CentsOff(sound, 440)), 2) << percent;
    // A splice out of phase would dent the tone.
    for (std::size_t i = 2000; i + 401 < sound.size(); i += 400) {
      ASSERT_NEAR(LevelOf(sound.subspan(i, 401)), 0.5 / std::sqrt(2), 0.03) << percent << " at " << i;
    }
  }
}

TEST(TimeStretch, AStreamMayGoOnAfterItsEnd) {
  const auto input = Music(30000);
  for (const bool rebuilt : {false, true}) {
    StretchRig rig(Stretched(150, 3));
    ASSERT_EQ(rig.graph.Start(), S_OK);
    rig.Send(input, true);
    rig.End();
    if (rebuilt) rig.Set("mode=4 mode=3");
    // The last block comes too, not only whole ones.
    EXPECT_NEAR(static_cast<double>(rig.Send(input).size() + rig.End().size()), 45000, 5000) << rebuilt;
  }
}

TEST(TimeStretch, RecordsOfTheOlderFormHeldTenths) {
  const struct {
    TimeParams read, kept;
    bool within;
  } rows[] = {{{1500, 3, 900, 5.0, 2, 77}, {15000, 3, 9000, 5.0, 2, 77}, true},
              {{400, 3, 6000, 5.0, 2, 77}, {5000, 3, 50000, 5.0, 2, 77}, false},
              // A damaged tempo does not go round.
              {{1000, 0, 0x1999999AU, 0, 0, 0}, {10000, 0, 50000, 0, 0, 0}, false},
              {{1000, 0, 0xFFFFFFFFU, 0, 0, 0}, {10000, 0, 50000, 0, 0, 0}, false}};
  for (const auto& row : rows) {
    TimeParams block = row.read;
    kTimeEffect.forms[1].bringUpToDate(&block);
    EXPECT_EQ(HoldBlock(kTimeEffect, &block), row.within);
    for (const ParamDescriptor& field : kTimeEffect.rows) {
      EXPECT_TRUE(SameField(field, &block, &row.kept)) << row.read.percentTimes100 << ": " << field.name;
    }
  }
}

}  // namespace
}  // namespace korva
