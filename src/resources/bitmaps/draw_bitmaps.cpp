// Draws the images of the logo bar's buttons, for 100, 150 and 200 % scale, as bitmaps with an alpha channel.
//
// Not part of the build: the bitmaps stand beside this file. To draw them anew:
//   g++ -std=c++20 draw_bitmaps.cpp -o draw_bitmaps && ./draw_bitmaps
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

namespace {

struct Color {
  double red, green, blue;
};

struct Image {
  const char* name;
  Color color;
  double strength;  // alpha of the whole
};

// Mid tones: they stand out from light and from dark button faces.
constexpr Image kImages[] = {
    {"off", {0x5F, 0x6B, 0x73}, 1.0},
    {"on", {0xD8, 0x5A, 0x00}, 1.0},
    {"disabled", {0x7F, 0x7F, 0x7F}, 0.45},
};
constexpr int kSizes[] = {16, 24, 32};

/// Distance from the mark's outline in units of its size, negative inside: a ring open at the top, with a bar through
/// the gap. The sign of a switch that takes something out of the way.
double Distance(double x, double y) {
  constexpr double kRadius = 0.34, kHalfWidth = 0.065, kGap = 0.62, kBarTop = -0.44, kBarEnd = -0.06, kDrop = 0.04;
  const double ringY = y - kDrop;
  const double angle = std::fabs(std::atan2(x, -ringY));
  const double edgeX = kRadius * std::sin(kGap), edgeY = -kRadius * std::cos(kGap);
  const double ring =
      angle > kGap ? std::fabs(std::hypot(x, ringY) - kRadius) : std::hypot(std::fabs(x) - edgeX, ringY - edgeY);
  const double bar = std::hypot(x, y - std::clamp(y, kBarTop + kHalfWidth, kBarEnd));
  return std::min(ring, bar) - kHalfWidth;
}

void Put(std::vector<std::uint8_t>& bytes, std::uint32_t value, int count) {
  for (int i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

std::vector<std::uint8_t> Draw(const Image& image, int size) {
  constexpr std::uint32_t kHeader = 54;
  const auto area = static_cast<std::uint32_t>(size * size * 4);
  std::vector<std::uint8_t> bytes = {'B', 'M'};
  for (const std::uint32_t field : {kHeader + area, 0u, kHeader, 40u}) Put(bytes, field, 4);
  Put(bytes, static_cast<std::uint32_t>(size), 4);
  Put(bytes, static_cast<std::uint32_t>(size), 4);
  Put(bytes, 1, 2);
  Put(bytes, 32, 2);
  for (const std::uint32_t field : {0u, area, 2835u, 2835u, 0u, 0u}) Put(bytes, field, 4);
  for (int row = size - 1; row >= 0; --row) {
    for (int column = 0; column < size; ++column) {
      const double x = (column + 0.5) / size - 0.5, y = (row + 0.5) / size - 0.5;
      const double cover = std::clamp(0.5 - Distance(x, y) * size, 0.0, 1.0);
      const auto alpha = static_cast<std::uint32_t>(std::lround(255 * cover * image.strength));
      for (const double part : {image.color.blue, image.color.green, image.color.red}) {
        Put(bytes, alpha != 0 ? static_cast<std::uint32_t>(part) : 0u, 1);
      }
      Put(bytes, alpha, 1);
    }
  }
  return bytes;
}

}  // namespace

int main() {
  for (const Image& image : kImages) {
    for (const int size : kSizes) {
      const auto bytes = Draw(image, size);
      std::ofstream file("bypass_" + std::string(image.name) + "_" + std::to_string(size) + ".bmp", std::ios::binary);
      file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
  }
}
