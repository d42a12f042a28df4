// The other process of the token tests: a host that knows the module by its public header and import library alone.
// It takes a command a line and answers each with a line.
#include <windows.h>

#include <cstring>
#include <iostream>
#include <sstream>

#include "token_text.h"

namespace {

using korva::HexOf;

struct Block {
  HANDLE mapping = nullptr;
  unsigned char* data = nullptr;
  std::size_t size = 0;
} block;

std::string Make(const std::string& kind, unsigned long size, unsigned long offset) {
  _qvmemorytoken token{};
  token.mapping = INVALID_HANDLE_VALUE;
  token.dataSize = size;
  token.allocatedSize = size + offset;
  token.offset = offset;
  token.owner = GetCurrentProcessId();
  if (kind == "plain") {
    // Above 4 GB, where a plain token is not portable as it stands.
    void* const wanted = reinterpret_cast<void*>(0x2'0000'0000);
    token.base = VirtualAlloc(wanted, size + offset, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  } else {
    block.mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size + offset, nullptr);
    token.kind = kTokenShared;
    token.mapping = block.mapping;
    token.base = MapViewOfFile(block.mapping, FILE_MAP_WRITE, 0, 0, 0);
  }
  block.data = static_cast<unsigned char*>(token.base) + offset;
  block.size = size;
  for (unsigned long i = 0; i < size; ++i) block.data[i] = static_cast<unsigned char>(i * 7 + 1);
  return HexOf(&token, sizeof token);
}

std::string Open(const std::string& text, unsigned long access, bool write) {
  CMappingOfQvMemoryToken opened(korva::TokenOf(text), access);
  void* data = nullptr;
  if (opened.GetPointer(&data) != 0 || data != opened.Pointer()) return "failed";
  const auto size = static_cast<std::size_t>(opened.DataSize());
  const std::string seen = HexOf(data, size);
  if (write) std::memset(data, 0x5A, size);
  opened.Close();
  return seen;
}

std::string Answer(std::istringstream words) {
  std::string command, text;
  unsigned long first = 0, second = 0;
  words >> command >> text >> first >> second;
  if (command == "make") return Make(text, first, second);
  if (command == "show") return HexOf(block.data, block.size);
  if (command == "open") return Open(text, first, second != 0);
  if (command == "event") {
    _qvmemorytoken token{};
    token.mapping = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    token.dataSize = 16;
    token.kind = kTokenShared;
    token.owner = GetCurrentProcessId();
    return HexOf(&token, sizeof token);
  }
  return "?";
}

}  // namespace

int main() {
  for (std::string line; std::getline(std::cin, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::cout << Answer(std::istringstream(line)) << '\n' << std::flush;
  }
}
