#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/effect_table.h"
#include "host/outcome.h"
#include "platform/media_params.h"

namespace korva {

/// One automated span: the row and its segment, in the row's own display units and units of 100 ns.
struct AutomatedSpan {
  std::size_t row;
  MP_ENVELOPE_SEGMENT segment;
};

/// "NAME:T0:T1:V0:V1[:CURVE]" with times in seconds and values as `--set` takes them. With no curve a row that can ramp
/// does so in a straight line, and any other jumps.
Outcome<AutomatedSpan> ParseAutomation(const EffectRow& effect, std::string_view text);

/// Adds the spans to the effect's envelopes and answers them. With `closesRamps` a ramp ends on its very last value,
/// where the stream alone would rest short of it. `kBadCall` for an effect without automation, and for spans of one
/// parameter that overlap.
Outcome<std::vector<AutomatedSpan>> ApplyAutomation(const EffectRow& effect, EffectInstance& instance,
                                                    const std::vector<std::string>& texts, bool closesRamps);

}  // namespace korva
