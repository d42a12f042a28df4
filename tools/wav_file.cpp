#include "wav_file.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <type_traits>

namespace korva {
namespace {

std::uint32_t Word(const std::vector<char>& file, std::size_t at) {
  std::uint32_t word = 0;
  std::memcpy(&word, file.data() + at, sizeof(word));
  return word;
}

bool Is(const std::vector<char>& file, std::size_t at, const char* tag) {
  return std::memcmp(file.data() + at, tag, 4) == 0;
}

void Put(std::ofstream& file, std::uint32_t word) {
  file.write(reinterpret_cast<const char*>(&word), sizeof(word));
}

}  // namespace

std::optional<Stream> ReadWav(const std::string& path) {
  std::ifstream input(path, std::ios::binary);
  const std::vector<char> file{std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
  constexpr std::size_t kHead = 12, kChunkHead = 8;
  if (file.size() < kHead || !Is(file, 0, "RIFF") || !Is(file, 8, "WAVE")) return std::nullopt;
  Stream stream{};
  for (std::size_t at = kHead; at + kChunkHead <= file.size();) {
    const std::size_t start = at + kChunkHead;
    const std::size_t size = std::min<std::size_t>(Word(file, at + 4), file.size() - start);
    if (Is(file, at, "fmt ")) {
      if (!IsAcceptedFormat(file.data() + start, size)) return std::nullopt;
      QvAudio_CopyWfExtToWfx(file.data() + start, size, stream.format);
      NormaliseFormat(stream.format);
    }
    if (Is(file, at, "data") && stream.format.blockAlign != 0) {
      const std::size_t whole = size / stream.format.blockAlign * stream.format.blockAlign;
      const char* const data = file.data() + start;
      stream.bytes.assign(data, data + whole);
      return stream;
    }
    at = start + size + size % 2;
  }
  return std::nullopt;
}

bool WriteWav(const std::string& path, const Stream& stream) {
  std::ofstream file(path, std::ios::binary);
  const auto size = static_cast<std::uint32_t>(stream.bytes.size());
  file.write("RIFF", 4);
  Put(file, 4 + 8 + static_cast<std::uint32_t>(sizeof(FormatRecord)) + 8 + size + size % 2);
  file.write("WAVEfmt ", 8);
  Put(file, sizeof(FormatRecord));
  file.write(reinterpret_cast<const char*>(&stream.format), sizeof(FormatRecord));
  file.write("data", 4);
  Put(file, size);
  file.write(reinterpret_cast<const char*>(stream.bytes.data()), static_cast<std::streamsize>(size));
  if (size % 2 != 0) file.put(0);
  return file.good();
}

Difference Compare(const Stream& left, const Stream& right) {
  Difference difference;
  const std::size_t a = left.frames(), b = right.frames();
  difference.lengthGap = std::max(a, b) - std::min(a, b);
  difference.sameShape =
      std::memcmp(&left.format, &right.format, sizeof(FormatRecord)) == 0 && difference.lengthGap == 0;
  const auto format = SampleFormatOf(left.format);
  if (!difference.sameShape || !format) return difference;
  VisitFormat(*format, [&](auto policy) {
    using Sample = typename decltype(policy)::Sample;
    // Integers count in steps; a float's last place at full scale is half its epsilon.
    const double place =
        std::is_floating_point_v<Sample> ? static_cast<double>(std::numeric_limits<Sample>::epsilon()) / 2 : 1.0;
    for (std::size_t at = 0; at < left.bytes.size(); at += sizeof(Sample)) {
      const auto *const own = left.bytes.data() + at, *const other = right.bytes.data() + at;
      if (std::memcmp(own, other, sizeof(Sample)) == 0) continue;
      Sample x, y;
      std::memcpy(&x, own, sizeof(Sample));
      std::memcpy(&y, other, sizeof(Sample));
      ++difference.samples;
      const double gap = std::fabs(static_cast<double>(x) - static_cast<double>(y)) / place;
      difference.lastPlaces = gap > difference.lastPlaces || gap != gap ? gap : difference.lastPlaces;
    }
  });
  return difference;
}

}  // namespace korva
