#include "reverb/reverb_params.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

namespace korva {
namespace {

TEST(ReverbParams, RowsCoverTheBlockAndPresetsLieWithinThem) {
  std::set<std::uint32_t> offsets;
  for (const ParamDescriptor& row : kReverbEffect.rows) {
    SCOPED_TRACE(row.name);
    EXPECT_LE(row.blockOffset + 4, sizeof(ReverbParams));
    EXPECT_TRUE(offsets.insert(row.blockOffset).second);
    // The store converts without an offset, so the minima must stand in the ratio of the ranges.
    const float ratio =
        static_cast<float>(row.externalMax - row.externalMin) / (row.info.mpdMaxValue - row.info.mpdMinValue);
    EXPECT_FLOAT_EQ(row.info.mpdMinValue * ratio, static_cast<float>(row.externalMin));
    for (std::int32_t i = 0; i < kReverbEffect.presets.count(); ++i) {
      std::int32_t value = 0;
      std::memcpy(&value, static_cast<const char*>(kReverbEffect.presets.Block(i)) + row.blockOffset, sizeof value);
      EXPECT_GE(value, row.externalMin) << "preset " << i;
      EXPECT_LE(value, row.externalMax) << "preset " << i;
    }
  }
  EXPECT_EQ(offsets.size() * 4, sizeof(ReverbParams));
  EXPECT_EQ(kReverbEffect.presets.count(), 13);
  EXPECT_EQ(kReverbEffect.rows[kReverbBypass].blockOffset, offsetof(ReverbParams, bypass));
}

}  // namespace
}  // namespace korva
