#pragma once

#include <iosfwd>

#include "host/outcome.h"

namespace korva {

/// The calls that draw the pictures of the page of effects, a line each, as a shell takes them.
MaybeExit WriteDocCalls(std::ostream& out);
/// A few numbers of each of these pictures, a line each: enough to see that one no longer shows what the effects do,
/// whatever fonts it was drawn with.
MaybeExit WriteDocNumbers(std::ostream& out);

}  // namespace korva
