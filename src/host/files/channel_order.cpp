#include "host/files/channel_order.h"

#include <sndfile.h>

#include <array>
#include <cstring>

namespace korva {
namespace {

constexpr std::size_t kMostOrdered = 8, kLargestSample = 8;

// Left, right, center, [low], back ... -> left, center, right, back ..., [low].
constexpr std::uint8_t kThree[] = {0, 2, 1};
constexpr std::uint8_t kFive[] = {0, 2, 1, 3, 4};
constexpr std::uint8_t kSix[] = {0, 2, 1, 5, 3, 4};
constexpr std::uint8_t kSeven[] = {0, 2, 1, 6, 5, 3, 4};     // back center, then the sides
constexpr std::uint8_t kEight[] = {0, 2, 1, 7, 5, 6, 3, 4};  // back, then the sides

}  // namespace

std::span<const std::uint8_t> FileOrder(int sndfileFormat, std::uint32_t channels) noexcept {
  if ((sndfileFormat & SF_FORMAT_TYPEMASK) != SF_FORMAT_OGG) return {};
  switch (channels) {
    case 3:
      return kThree;
    case 5:
      return kFive;
    case 6:
      return kSix;
    case 7:
      return kSeven;
    case 8:
      return kEight;
    default:
      return {};
  }
}

void Reorder(std::span<const std::uint8_t> order, bool toFile, void* data, std::size_t sampleBytes,
             std::size_t frames) noexcept {
  if (order.empty()) return;
  std::array<std::uint8_t, kMostOrdered * kLargestSample> frame{};
  const std::size_t bytes = order.size() * sampleBytes;
  auto* at = static_cast<std::uint8_t*>(data);
  for (std::size_t i = 0; i < frames; ++i, at += bytes) {
    std::memcpy(frame.data(), at, bytes);
    for (std::size_t c = 0; c < order.size(); ++c) {
      const std::size_t from = toFile ? c : order[c], to = toFile ? order[c] : c;
      std::memcpy(at + to * sampleBytes, frame.data() + from * sampleBytes, sampleBytes);
    }
  }
}

}  // namespace korva
