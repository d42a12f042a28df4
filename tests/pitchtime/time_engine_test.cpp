#include <gtest/gtest.h>

#include "frame/record.h"
#include "frame/row_values.h"
#include "pitchtime/pitchtime_rig.h"

namespace korva {
namespace {

TEST(TimeStretch, LengthFollowsTheRatioAndShortStreamsAreExact) {
  for (const double percent : {50.0, 70.0, 100.0, 150.0, 263.7, 500.0}) {
    TimeRig rig(percent);
    const auto input = Music(600000, 1);
    rig.Run(input, 4096, 4096);
    // What is left at the end is less than half a block, but no last block is longer than a block.
    EXPECT_NEAR(static_cast<double>(rig.frames()), 600000 * percent / 100, std::max(6615 * percent / 100, 13230.0));
    // Half a block of row 0 is 6615 frames: what is below goes out in one block.
    for (const std::size_t frames : {0U, 1U, 2U, 1000U, 6614U}) {
      TimeRig few(percent);
      few.Run(Music(frames, 1), 100, 64);
      const double exact = std::floor(static_cast<double>(frames) * percent / 100);
      EXPECT_EQ(few.frames(), static_cast<std::size_t>(std::min(exact, 13230.0))) << frames << " at " << percent;
      EXPECT_FALSE(few.hung);
    }
  }
}

TEST(TimeStretch, StartsUnfadedAndKeepsThePitch) {
  const auto input = Sine(440, 300000);
  for (const double percent : {70.0, 100.0, 150.0, 300.0}) {
    TimeRig rig(percent, 6);
    rig.Run(input, 4096, 4096);
    for (std::size_t i = 1; i < 600; ++i) ASSERT_EQ(rig.output[i], static_cast<double>(static_cast<float>(input[i])));
    EXPECT_LT(std::abs(CentsBetween(FrequencyOf(rig.output, 2000, rig.frames() - 8000), 440)), 2) << percent;
    // A splice out of phase would dent the tone.
    for (std::size_t i = 4000; i + 8000 < rig.frames(); i += 400) {
      ASSERT_NEAR(LevelOf(rig.output, i, i + 401), 0.5 / std::sqrt(2), 0.03) << percent << " at " << i;
    }
  }
}

TEST(TimeStretch, RatioChangesDropNothingAndModeChangesFadeIn) {
  const auto tone = Sine(300, 120000);
  const auto part = [&](std::size_t n) { return std::span(tone).subspan(n * 40000, 40000); };
  TimeRig rig(100, 0);
  ASSERT_EQ(rig.Start(), 0);
  rig.Receive(part(0), 4096, ModeRestart);
  const std::size_t before = rig.frames();
  rig.store.block.percentTimes100 = 20000;
  rig.store.changed = true;
  rig.Receive(part(1), 4096);
  EXPECT_GT(rig.frames() - before, 60000U);
  for (std::size_t i = 1; i < rig.frames(); ++i) ASSERT_LT(std::abs(rig.output[i] - rig.output[i - 1]), 0.05) << i;

  // Another mode drops the blocks held and comes up from silence.
  const std::size_t held = rig.frames();
  rig.store.block.mode = 6;
  rig.Change();
  rig.Receive(part(2), 4096);
  ASSERT_GT(rig.frames(), held + 2000);
  EXPECT_EQ(rig.output[held], 0.0);
  EXPECT_LT(LevelOf(rig.output, held, held + 100), 0.06);
}

TEST(TimeStretch, AStreamMayGoOnAfterItsEnd) {
  const auto input = Music(30000, 1);
  for (const bool rebuilt : {false, true}) {
    TimeRig rig(150, 3);
    rig.Run(input, 1000, 1000);
    rig.output.clear();
    if (rebuilt) rig.Change();
    rig.Receive(input, 1000);
    EXPECT_EQ(rig.result, 0);
    rig.Drain(1000);
    EXPECT_EQ(rig.result, 1);
    // The last block comes too, not only whole ones.
    EXPECT_NEAR(static_cast<double>(rig.frames()), 45000, 5000) << rebuilt;
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
