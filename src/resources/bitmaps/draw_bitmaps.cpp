// Draws the images of the logo bar's buttons, for 100, 150 and 200 % scale, as bitmaps with an alpha channel.
// Not part of the build: the bitmaps stand beside this file. To draw them anew:
//   g++ -std=c++20 draw_bitmaps.cpp -o draw_bitmaps && ./draw_bitmaps
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
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

/// Distance from a part of a line that goes from one point to another.
double FromLine(double x, double y, double x0, double y0, double x1, double y1) {
  const double dx = x1 - x0, dy = y1 - y0;
  const double along = std::clamp(((x - x0) * dx + (y - y0) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
  return std::hypot(x - x0 - along * dx, y - y0 - along * dy);
}

/// Distance from the mark's outline in units of its size, negative inside: a road that comes in at the left, bends in
/// an arch around a block, and goes out at the right with an arrow's head. What comes in goes around the effect.
double Distance(double x, double y) {
  constexpr double kHalfWidth = 0.055, kRoad = 0.17, kArch = 0.25, kEnd = 0.46, kBlock = 0.105, kBlockMiddle = 0.17;
  const double arch = y < kRoad ? std::fabs(std::hypot(x, (y - kRoad) * 0.82) - kArch) : 1.0;
  double road = std::min(arch, FromLine(x, y, -kEnd, kRoad, -kArch, kRoad));
  road = std::min(road, FromLine(x, y, kArch, kRoad, kEnd, kRoad));
  road = std::min(road, FromLine(x, y, kEnd, kRoad, kEnd - 0.12, kRoad - 0.13));
  road = std::min(road, FromLine(x, y, kEnd, kRoad, kEnd - 0.12, kRoad + 0.13));
  const double block = std::max(std::fabs(x), std::fabs(y - kBlockMiddle)) - kBlock;
  return std::min(road - kHalfWidth, block);
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
