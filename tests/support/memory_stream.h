#pragma once

#include "host/byte_stream.h"

namespace korva {

/// The command's stream over bytes in memory. `readResult` and `writeResult` stand in for a medium that fails.
class MemoryStream final : public ByteStream {
 public:
  using ByteStream::ByteStream;

  HRESULT Read(void* buffer, ULONG count, ULONG* done) override {
    return FAILED(readResult) ? readResult : ByteStream::Read(buffer, count, done);
  }
  HRESULT Write(const void* buffer, ULONG count, ULONG* done) override {
    const bool fails = FAILED(writeResult) && bytes.size() + count > writeLimit;
    return fails ? writeResult : ByteStream::Write(buffer, count, done);
  }

  HRESULT readResult = S_OK;
  HRESULT writeResult = S_OK;  ///< of a write that would pass `writeLimit`
  std::size_t writeLimit = 0;
};

}  // namespace korva
