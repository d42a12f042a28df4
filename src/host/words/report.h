#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "host/chain.h"
#include "host/chain/prepare.h"

namespace korva {

/// What an effect did to whole-number samples.
struct Clipping {
  std::string effect;
  std::int64_t samples;  ///< at full scale after it and not before
};

/// A run that is over, or that would be.
struct RunReport {
  std::string input, output;
  ChainResult result;
  std::int64_t fileFrames = 0;  ///< of the output, at its own rate
  std::vector<Clipping> clipping;
  std::int64_t clipped = 0;       ///< samples of a float stream beyond what the file holds
  double gainDb = 0;              ///< of the normalisation
  std::vector<std::string> lost;  ///< what of the input the output does not keep
  std::uint32_t streamRate = 0;
};

/// The chain in words: each effect with what was asked of it.
std::string Described(const RenderRequest& request);
/// Says what was done, and what is odd about it.
void TellResult(const RenderRequest& request, const SoundPlan& plan, const RunReport& report, std::ostream& err);
/// The same as a JSON object.
void TellJson(const RenderRequest& request, const SoundPlan& plan, const RunReport& report,
              const std::vector<std::string>& remarks, std::ostream& out);
/// What a dry run says.
void TellPlan(const RenderRequest& request, const SoundPlan& plan, const std::vector<PreparedEffect>& effects,
              const RunReport& report, std::ostream& out);

}  // namespace korva
