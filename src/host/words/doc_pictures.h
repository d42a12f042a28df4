#pragma once

#include <span>

namespace korva {

/// A picture of the page of effects: the call that draws it, without its size and output.
struct DocPicture {
  const char* effect;
  const char* file;  ///< in docs/images/plots, less the ending .png
  const char* call;  ///< what follows `korva plot`, as a shell takes it
  const char* caption;
};

/// The most telling presets of each effect, in the order of the page.
std::span<const DocPicture> DocPictures() noexcept;

}  // namespace korva
