#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace korva {

/// Letters and digits of `text` in lower case: what a typed name is compared by, so that "fast-flange-1" finds
/// "Fast flange 1". Bytes beyond ASCII stay as they are.
std::string Folded(std::string_view text);

/// The names that someone who typed `typed` may have meant, nearest first, at most three.
std::vector<std::string> NearestNames(std::string_view typed, std::span<const std::string> names);

/// `what`, quoted `typed`, and the nearest names or else `otherwise`: the text for a name that there is not.
std::string UnknownName(std::string_view what, std::string_view typed, std::span<const std::string> names,
                        std::string_view otherwise);

/// The items with `between` between them.
std::string Joined(std::span<const std::string> items, std::string_view between);

}  // namespace korva
