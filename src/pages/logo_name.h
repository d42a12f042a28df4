#pragma once

#include <span>

#include "platform/platform.h"

namespace korva {

/// An effect's name without the maker's, which the logo bar does not repeat.
void CutMakerName(const WCHAR* name, std::span<WCHAR> shown) noexcept;

}  // namespace korva
