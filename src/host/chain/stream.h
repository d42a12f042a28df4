#pragma once

#include "host/chain.h"
#include "host/chain/gauge.h"
#include "host/chain/prepare.h"

namespace korva {

/// The effects of a call, set up, with how the stream through them is to be cut.
struct PreparedChain {
  std::vector<PreparedEffect> effects;
  StreamCut cut;
};
/// `material` is the sound with any silence behind it. `remarks` gets what the user should know.
Outcome<PreparedChain> PrepareChain(const RenderRequest& request, MaterialLength material, const FormatRecord& format,
                                    std::istream& in, std::vector<std::string>& remarks);

/// The chain with a gauge in front of it and one behind each effect.
struct GaugedChain {
  std::vector<ChainLink> links;
  std::vector<Gauge*> gauges;
};

/// `countsLoud`: the gauges count samples at full scale and beyond.
Outcome<GaugedChain> GaugeChain(const RenderRequest& request, const std::vector<PreparedEffect>& effects,
                                const FormatRecord& format, bool countsLoud);

}  // namespace korva
