#pragma once

#include <iosfwd>

#include "host/outcome.h"

// What a system shows of the command: written from the rows and from the parser's own options.
namespace korva {

/// The manual page korva(1).
MaybeExit WriteManual(std::ostream& out);
/// A script for bash that completes commands, effects, options, presets, parameters and choices.
MaybeExit WriteBashCompletion(std::ostream& out);

}  // namespace korva
