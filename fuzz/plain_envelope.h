#pragma once

#include <bit>
#include <cstdint>
#include <tuple>
#include <vector>

#include "platform/media_params.h"

namespace korva {

/// By the bits of its values, which may be no numbers.
inline bool SameSegment(const MP_ENVELOPE_SEGMENT& a, const MP_ENVELOPE_SEGMENT& b) {
  const auto members = [](const MP_ENVELOPE_SEGMENT& s) {
    const auto bits = [](float value) { return std::bit_cast<std::uint32_t>(value); };
    return std::tuple(s.rtStart, s.rtEnd, bits(s.valStart), bits(s.valEnd), s.iCurve, s.flags);
  };
  return members(a) == members(b);
}

/// What `AddEnvelope` promises, told one segment after the other on a plain list.
struct PlainEnvelope {
  std::vector<MP_ENVELOPE_SEGMENT> items;

  void TakeOut(std::int64_t start, std::int64_t end) {
    for (std::size_t i = 0; i < items.size();) {
      if (items[i].rtEnd <= start) {
        ++i;
      } else if (items[i].rtStart >= end) {
        break;
      } else {
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(i));
      }
    }
  }
  void Add(const std::vector<MP_ENVELOPE_SEGMENT>& added) {
    for (const auto& segment : added) TakeOut(segment.rtStart, segment.rtEnd);
    const std::size_t old = items.size();
    std::size_t at = 0;
    for (const auto& segment : added) {
      while (at < old && items[at].rtStart < segment.rtStart) ++at;
      items.insert(items.begin() + static_cast<std::ptrdiff_t>(at++), segment);
    }
  }
};

}  // namespace korva
