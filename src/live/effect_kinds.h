#pragma once

#include <cstddef>
#include <span>

#include "frame/block_holder.h"
#include "platform/media.h"
#include "streaming/com_ptr.h"

namespace korva {

class CQvInPlaceFilter;
class CQvStretchFilter;

/// An effect that was made: its filter and its parameters, and the filter once more as what it is: one that rewrites in
/// place or one of variable length. All but the first belong to the first. Empty when there was no memory.
struct EffectInstance {
  ComPtr<IBaseFilter> filter;
  BlockHolder* parameters = nullptr;
  CQvInPlaceFilter* inPlace = nullptr;
  CQvStretchFilter* stretch = nullptr;
};

/// One of the effects: what is data about it, and how it is made, with preset 0.
struct EffectKind {
  const EffectDescription& description;
  EffectInstance (*create)() noexcept;
};

inline constexpr std::size_t kEffectCount = 6;

/// Every effect that there is, in the order in which they are listed.
std::span<const EffectKind, kEffectCount> EffectKinds() noexcept;

}  // namespace korva
