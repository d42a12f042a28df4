#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "pitchtime/pitchs_params.h"
#include "pitchtime/stretch_modes.h"
#include "pitchtime/time_params.h"

namespace korva {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(PitchTimeParams, BlocksAreHeldToTheirRanges) {
  PitchsParams pitch{51, -1001, 9, 5, 99, 0, -3.0, 7, 0, kNan};
  EXPECT_FALSE(HoldRanges(pitch));
  EXPECT_EQ(pitch.semitones, 50);
  EXPECT_EQ(pitch.centTenths, -1000);
  EXPECT_EQ(pitch.initialSamples, 0.0);
  EXPECT_EQ(pitch.transposition, -3.0);
  EXPECT_TRUE(HoldRanges(pitch));

  const std::pair<double, double> percents[] = {{4000, 5000}, {1e9, 50000}, {kNan, 5000}, {12345, 12345}};
  for (const auto& [given, held] : percents) {
    TimeParams time{given, 0, 50001, 1e12, 0, 0};
    EXPECT_FALSE(HoldRanges(time));
    EXPECT_EQ(time.percentTimes100, held);
    EXPECT_EQ(time.tempoTimes100, 50000U);
    EXPECT_EQ(time.initialSamples, 793800000.0);
    EXPECT_TRUE(HoldRanges(time));
  }
}

TEST(PitchTimeParams, WhatAUserSaysBecomesWhatTheEnginesRead) {
  EXPECT_EQ(TranspositionOf(12, 0), 2.0);
  EXPECT_NEAR(TranspositionOf(0, -1000), std::exp2(-1.0 / 12), 1e-15);
  EXPECT_NEAR(TranspositionOf(7, 10), 1.4983 * std::exp2(0.01 / 12), 1e-5);
  EXPECT_EQ(HoldPercentTimes100(PercentTimes100ForTempo(12000, 60)), 20000.0);
  EXPECT_EQ(HoldPercentTimes100(PercentTimes100ForTempo(12000, 0)), 50000.0);
  EXPECT_EQ(HoldPercentTimes100(PercentTimes100ForTempo(0, 0)), 5000.0);
  EXPECT_EQ(PercentTimes100ForFrames(2646000, FramesOfTime(90000, 44100)), 15000.0);
  EXPECT_EQ(HoldPercentTimes100(PercentTimes100ForFrames(0, 1)), 50000.0);
  EXPECT_EQ(FramesOfTime(0.5, 44100), 23.0);
}

TEST(PitchTimeParams, OlderRecordsComeInTenths) {
  TimeParams block{1000.0, 3, 1200, 5.0, 2, 77};
  kTimeEffect.forms[1].bringUpToDate(&block);
  EXPECT_EQ(block.percentTimes100, 10000.0);
  EXPECT_EQ(block.tempoTimes100, 12000U);
  EXPECT_EQ(block.padding0, 77);
}

TEST(PitchTimeParams, PresetsLieInRangeAndNearTheirNames) {
  for (std::int32_t i = 0; i < kPitchsEffect.presets.count(); ++i) {
    PitchsParams block = *static_cast<const PitchsParams*>(kPitchsEffect.presets.Block(i));
    EXPECT_TRUE(HoldRanges(block));
    EXPECT_NEAR(block.transposition, TranspositionOf(block.semitones, block.centTenths), 1e-4);
  }
  for (std::int32_t i = 0; i < kTimeEffect.presets.count(); ++i) {
    TimeParams block = *static_cast<const TimeParams*>(kTimeEffect.presets.Block(i));
    EXPECT_TRUE(HoldRanges(block));
  }
}

TEST(PitchTimeParams, RowsConvertExactlyAtTheirEnds) {
  for (const EffectDescription* effect : {&kPitchsEffect, &kTimeEffect}) {
    for (const ParamDescriptor& row : effect->rows) {
      const double factor = (static_cast<double>(row.externalMax) - row.externalMin) /
                            (static_cast<double>(row.info.mpdMaxValue) - static_cast<double>(row.info.mpdMinValue));
      EXPECT_EQ(static_cast<double>(row.info.mpdMaxValue) * factor, row.externalMax) << row.name;
      EXPECT_EQ(static_cast<double>(row.info.mpdMinValue) * factor, row.externalMin) << row.name;
      EXPECT_LE(row.blockOffset + (row.storage == Storage::kDouble ? 8 : 4), effect->blockSize);
    }
  }
}

TEST(PitchTimeParams, ModesOutsideTheTableReadAsTheNearest) {
  EXPECT_EQ(&FindStretchMode(-5), &StretchModeTable.front());
  EXPECT_EQ(&FindStretchMode(19), &StretchModeTable.back());
  EXPECT_EQ(FindStretchMode(1).matchPercent, 10000);
}

}  // namespace
}  // namespace korva
