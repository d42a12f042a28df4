#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "delay/echomt/echomt_params.h"
#include "delay/echos/echos_params.h"

namespace korva {
namespace {

TEST(DelayParams, RowsCoverEveryFieldOnceAndPresetsLieInRange) {
  for (const EffectDescription* effect : {&kEchosEffect, &kEchomtEffect}) {
    SCOPED_TRACE(effect->name);
    std::set<std::uint32_t> offsets;
    std::set<std::string> names;
    for (const ParamDescriptor& row : effect->rows) {
      offsets.insert(row.blockOffset);
      names.insert(row.name);
      EXPECT_LE(row.info.mpdMinValue, row.info.mpdNeutralValue) << row.name;
      EXPECT_GE(row.info.mpdMaxValue, row.info.mpdNeutralValue) << row.name;
      // No offset between the two ranges, only a ratio.
      const float ratio =
          static_cast<float>(row.externalMax - row.externalMin) / (row.info.mpdMaxValue - row.info.mpdMinValue);
      EXPECT_NEAR(row.info.mpdMinValue * ratio, static_cast<float>(row.externalMin), 0.5F) << row.name;
      for (std::int32_t i = 0; i < effect->presets.count(); ++i) {
        std::int32_t value = 0;
        std::memcpy(&value, static_cast<const char*>(effect->presets.Block(i)) + row.blockOffset, sizeof value);
        EXPECT_TRUE(value >= row.externalMin && value <= row.externalMax) << row.name << " of preset " << i;
      }
    }
    EXPECT_EQ(offsets.size() * sizeof(std::int32_t), effect->blockSize);
    EXPECT_EQ(*offsets.rbegin() + sizeof(std::int32_t), effect->blockSize);
    EXPECT_EQ(names.size(), effect->rows.size());
    for (const RecordForm& form : effect->forms) EXPECT_EQ(form.size, form.bodySize + 20);
  }
}

TEST(DelayParams, ValidationClampsAllButTheLowPassSwitch) {
  EchomtParams params{};
  std::memcpy(&params, kEchomtEffect.presets.Block(16), sizeof params);
  EXPECT_TRUE(ValidateParams(params));
  params.lowPassEnabled = -7;
  EXPECT_TRUE(ValidateParams(params));
  params.tapDelayMs[7] = 2501;
  params.tapPan[3] = -101;
  params.graphResolution = 4;
  EXPECT_FALSE(ValidateParams(params));
  EXPECT_EQ(params.tapDelayMs[7], 2500);
  EXPECT_EQ(params.tapPan[3], -100);
  EXPECT_EQ(params.graphResolution, 3);
  EXPECT_EQ(params.lowPassEnabled, -7);
}

}  // namespace
}  // namespace korva
