#pragma once

#include <span>
#include <string>

#include "host/render.h"

namespace korva {

/// The whole command: `arguments` are what follows its name. Returns the exit code: 0 done, 1 the work failed, 2 the
/// call was wrong. Results go to `streams.out`, everything said to the user to `streams.err`.
int RunKorva(std::span<const std::string> arguments, Streams& streams);

}  // namespace korva
