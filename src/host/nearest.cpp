#include "host/nearest.h"

#include <algorithm>
#include <utility>

namespace korva {
namespace {

constexpr std::size_t kMostSuggestions = 3;
constexpr std::size_t kLongestCompared = 64;  // nobody means a longer one, and the comparison is quadratic

/// The least number of letters to put in, take out, change or swap with their neighbour.
std::size_t EditDistance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> beforeLast, last(right.size() + 1), row(right.size() + 1);
  for (std::size_t j = 0; j <= right.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= left.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= right.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (left[i - 1] != right[j - 1] ? 1U : 0U)});
      if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
      }
    }
    beforeLast = std::exchange(last, row);
  }
  return last[right.size()];
}

}  // namespace

std::string Folded(std::string_view text) {
  std::string folded;
  for (const char c : text) {
    if (c >= 'A' && c <= 'Z') {
      folded.push_back(static_cast<char>(c - 'A' + 'a'));
    } else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || (static_cast<unsigned char>(c) & 0x80U) != 0) {
      folded.push_back(c);
    }
  }
  return folded;
}

std::vector<std::string> NearestNames(std::string_view typed, std::span<const std::string> names) {
  const std::string wanted = Folded(typed.substr(0, kLongestCompared));
  std::vector<std::pair<std::size_t, std::string>> ranked;
  if (wanted.empty()) return {};
  for (const std::string& name : names) {
    const std::string candidate = Folded(name);
    std::size_t distance = EditDistance(wanted, candidate);
    // A part of a long name is a good hint of it, however many letters are missing.
    const bool part = wanted.size() >= 3 && candidate.find(wanted) != std::string::npos;
    if (part) distance = std::min<std::size_t>(distance, 1);
    // So is a misspelt beginning of it.
    distance = std::min(distance, EditDistance(wanted, candidate.substr(0, wanted.size() + 1)) + 1);
    if (distance <= std::max<std::size_t>(1, (wanted.size() + 1) / 3)) ranked.emplace_back(distance, name);
  }
  std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> nearest;
  for (auto& [distance, name] : ranked) {
    if (nearest.size() < kMostSuggestions) nearest.push_back(std::move(name));
  }
  return nearest;
}

std::string UnknownName(std::string_view what, std::string_view typed, std::span<const std::string> names,
                        std::string_view otherwise) {
  std::string text = std::string(what) + " \"" + std::string(typed) + "\"";
  const std::vector<std::string> nearest = NearestNames(typed, names);
  if (nearest.empty()) return text + "; " + std::string(otherwise);
  return text + "; did you mean " + Joined(nearest, " or ") + "?";
}

std::string Joined(std::span<const std::string> items, std::string_view between) {
  std::string text;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i != 0) text += between;
    text += items[i];
  }
  return text;
}

}  // namespace korva
