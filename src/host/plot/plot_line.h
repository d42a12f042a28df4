#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/command_line.h"
#include "plot/canvas.h"

namespace korva {

enum class PlotKind : std::uint8_t { kImpulse, kResponse, kSpectrogram, kAutomation };

/// A whole `plot` call.
struct PlotRequest {
  RenderRequest run;  ///< the chain; its output is the picture, its inputs a sound file or nothing
  PlotKind kind = PlotKind::kImpulse;
  bool kindIsTold = false;
  std::vector<std::string> compared;  ///< two or none
  Look look;
  std::string title;  ///< the call, without what makes no difference to what is shown
};

/// The options of `korva plot`, from the parser itself.
std::vector<OptionText> PlotOptions();
/// Reads what follows `korva plot`. The early exit is the help, if it was asked for, or what is wrong with the call.
Outcome<PlotRequest> ParsePlot(std::span<const std::string> arguments);

}  // namespace korva
