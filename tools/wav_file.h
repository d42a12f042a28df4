#pragma once

#include <optional>
#include <string>

#include "graph_kit.h"

namespace korva {

/// A WAV file of one of the five stream formats; nothing for any other, or none.
std::optional<Stream> ReadWav(const std::string& path);
bool WriteWav(const std::string& path, const Stream& stream);

/// How far two streams are apart.
struct Difference {
  bool sameShape = false;     ///< format and length
  std::size_t samples = 0;    ///< how many differ
  double lastPlaces = 0;      ///< the largest difference, in units of the last place of a full-scale sample
  std::size_t lengthGap = 0;  ///< frames that one has more than the other
};
Difference Compare(const Stream& left, const Stream& right);

}  // namespace korva
