#pragma once

#include "host/plot/plot_line.h"
#include "host/render.h"
#include "plot/picture.h"

namespace korva {

/// The picture of a call, not drawn yet. `remarks` gets what the user should know.
Outcome<Picture> MakePicture(const PlotRequest& request, std::istream& in, std::vector<std::string>& remarks);
/// Does what `korva plot` was asked for.
MaybeExit Plot(std::span<const std::string> words, Streams& streams);

}  // namespace korva
