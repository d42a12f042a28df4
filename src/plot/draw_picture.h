#pragma once

#include <string>
#include <vector>

#include "plot/canvas.h"
#include "plot/picture.h"

namespace korva {

/// The bytes of a PNG or SVG file, or none and why in `reason`.
std::vector<unsigned char> DrawPicture(const Picture& picture, const Look& look, std::string& reason);

}  // namespace korva
