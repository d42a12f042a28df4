#include "host/files/channel_order.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

namespace korva {
namespace {

constexpr std::size_t kMostOrdered = 8, kLargestSample = 8;

// Left, right, center, [low], back ... -> left, center, right, back ..., [low].
constexpr std::uint8_t kThree[] = {0, 2, 1};
constexpr std::uint8_t kFive[] = {0, 2, 1, 3, 4};
constexpr std::uint8_t kSix[] = {0, 2, 1, 5, 3, 4};
constexpr std::uint8_t kSeven[] = {0, 2, 1, 6, 5, 3, 4};     // back center, then the sides
constexpr std::uint8_t kEight[] = {0, 2, 1, 7, 5, 6, 3, 4};  // back, then the sides

// The places that go without saying, by the number of channels (RFC 9639, 9.1.3).
constexpr int kLeft = SF_CHANNEL_MAP_LEFT, kRight = SF_CHANNEL_MAP_RIGHT, kCenter = SF_CHANNEL_MAP_CENTER;
constexpr int kLow = SF_CHANNEL_MAP_LFE, kBack = SF_CHANNEL_MAP_REAR_CENTER;
constexpr int kBackLeft = SF_CHANNEL_MAP_REAR_LEFT, kBackRight = SF_CHANNEL_MAP_REAR_RIGHT;
constexpr int kSideLeft = SF_CHANNEL_MAP_SIDE_LEFT, kSideRight = SF_CHANNEL_MAP_SIDE_RIGHT;
constexpr int kUsual[kMostOrdered][kMostOrdered] = {
    {},
    {kLeft, kRight},
    {kLeft, kRight, kCenter},
    {kLeft, kRight, kBackLeft, kBackRight},
    {kLeft, kRight, kCenter, kBackLeft, kBackRight},
    {kLeft, kRight, kCenter, kLow, kBackLeft, kBackRight},
    {kLeft, kRight, kCenter, kLow, kBack, kSideLeft, kSideRight},
    {kLeft, kRight, kCenter, kLow, kBackLeft, kBackRight, kSideLeft, kSideRight},
};

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

bool HasPlaces(int sndfileFormat, std::span<const int> places) noexcept {
  const int container = sndfileFormat & SF_FORMAT_TYPEMASK;
  const bool hasUsual = container == SF_FORMAT_FLAC || container == SF_FORMAT_OGG;
  if (places.size() > kMostOrdered || (places.size() > 2 && !hasUsual)) return false;
  // One channel is in the middle, by whatever name.
  if (places.size() < 2) return true;
  const auto& usual = kUsual[places.size() - 1];
  return std::equal(places.begin(), places.end(), std::begin(usual));
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
