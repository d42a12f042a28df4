#pragma once

#include <iosfwd>
#include <string>

#include "host/outcome.h"

namespace korva {

/// Turns a saved record into a bundle of one LV2 preset in `folder`, which is made where it is not there. Files that
/// are there already stay.
MaybeExit WriteLv2Preset(const std::string& stateFile, const std::string& folder, std::istream& in, std::ostream& out);

}  // namespace korva
