// The arithmetic of memory tokens: a base, an offset, a size, and the piece that fails.
#include <cstdint>

#include "input.h"
#include "module/tokens/token_arithmetic.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korva;
  Input input(data, size);
  const auto base = input.Take<std::uint64_t>();
  const auto offset = input.Take<std::uint32_t>(), dataSize = input.Take<std::uint32_t>();
  const unsigned failing = input.Take<std::uint16_t>();
  const std::uint64_t bytes = std::uint64_t{offset} + dataSize;
  const bool fits = FitsAddressSpace(reinterpret_cast<const void*>(base), bytes);
  Require(fits == (base + bytes >= base), "what fits does not wrap around");
  std::uint64_t reached = 0;
  unsigned calls = 0;
  const bool moved = MoveInPieces(dataSize, [&](std::uint64_t position, std::uint64_t part) {
    Require(position == reached && part <= dataSize - position, "pieces follow each other inside of the block");
    Require(part != 0 || dataSize == 0, "no piece is empty");
    Require(!fits || base + offset + position >= base, "no piece lies beyond the address space");
    Require(calls <= failing, "nothing is moved after a failure");
    reached += part;
    return calls++ != failing;
  });
  Require(moved == (calls <= failing), "a failure is told");
  Require(!moved || reached == dataSize, "all of it was moved");
  return 0;
}
