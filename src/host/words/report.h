#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "host/chain.h"
#include "host/chain/prepare.h"

namespace korva {

/// Samples that are at full scale, or in a float stream beyond it, after an effect and were not before.
struct Clipping {
  std::string effect;
  std::int64_t samples;
};

/// A run that is over, or that would be.
struct RunReport {
  std::string input, output;
  ChainResult result;
  std::int64_t fileFrames = 0;  ///< of the output, at its own rate
  std::vector<Clipping> clipping;
  std::int64_t inputLoud = 0;     ///< samples that were so before all effects
  double inputPeak = 0;           ///< of a stream of whole numbers where some were, before the gain
  bool isFloat = false;           ///< the stream
  std::int64_t clipped = 0;       ///< samples of a float stream beyond what the file holds
  double gainDb = 0;              ///< of the normalisation
  std::vector<std::string> lost;  ///< what of the input the output does not keep
  std::uint32_t streamRate = 0;
};

/// The chain in words: each effect with what was asked of it.
std::string Described(const RenderRequest& request);
/// Says each of `lines`, of one file of several with its name.
void Tell(const RenderRequest& request, std::span<const std::string> lines, std::ostream& err);
/// Says what was done, and what is odd about it.
void TellResult(const RenderRequest& request, const SoundPlan& plan, const RunReport& report, std::ostream& err);
/// The same as a JSON object.
void TellJson(const RenderRequest& request, const SoundPlan& plan, const RunReport& report,
              const std::vector<std::string>& remarks, std::ostream& out);
/// What a dry run says.
void TellPlan(const SoundPlan& plan, const std::vector<PreparedEffect>& effects, const RunReport& report,
              std::ostream& out);

}  // namespace korva
