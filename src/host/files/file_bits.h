#pragma once

#include <cstdint>

namespace korva {

/// How a file keeps a sample: whole numbers of so many bits, or a float.
enum class FileBits : std::uint8_t { k8, k16, k24, k32, kFloat, kDouble };

struct FileBitsName {
  const char* name;  ///< what `--bits` takes
  FileBits bits;
  unsigned count;  ///< of whole numbers; 0 for floats
};
inline constexpr FileBitsName kFileBits[] = {
    {"8", FileBits::k8, 8},    {"16", FileBits::k16, 16},      {"24", FileBits::k24, 24},
    {"32", FileBits::k32, 32}, {"float", FileBits::kFloat, 0}, {"double", FileBits::kDouble, 0},
};

/// The bits of a whole number; 0 for floats.
constexpr unsigned CountOf(FileBits bits) noexcept {
  return kFileBits[static_cast<unsigned>(bits)].count;
}

}  // namespace korva
