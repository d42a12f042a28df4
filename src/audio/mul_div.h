#pragma once

#include "platform/mul_div.h"

namespace korva {

// Plain arithmetic that rounds as the system's own does: engines, which take nothing else from platform/, have it here.
using platform::MulDiv;

}  // namespace korva
