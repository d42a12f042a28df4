#pragma once

#include "qvkit/text.h"

namespace korva {

/// The signs of the locale last set.
NumberSigns CurrentNumberSigns() noexcept;

}  // namespace korva
