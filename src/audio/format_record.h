#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "audio/sample_format.h"

namespace korva {

inline constexpr std::uint16_t kMaxChannels = 32;

/// The plain wave format record, 18 bytes as in a stream's format block. Always the plain form: extensible
/// blocks are folded to tag 1 or 3 on the way in.
#pragma pack(push, 1)
struct FormatRecord {
  std::uint16_t formatTag = 0;              ///< 1 integer PCM, 3 IEEE float
  std::uint16_t channels = 0;               ///< 1 to 32
  std::uint32_t samplesPerSecond = 0;       ///< frames per second
  std::uint32_t averageBytesPerSecond = 0;  ///< blockAlign x samplesPerSecond
  std::uint16_t blockAlign = 0;             ///< bytes of one frame
  std::uint16_t bitsPerSample = 0;          ///< 8, 16, 32 or 64
  std::uint16_t extraSize = 0;              ///< 0
};
#pragma pack(pop)
static_assert(sizeof(FormatRecord) == 18);

/// Sets block align, average bytes and extra size from the other fields, whatever they claimed.
void NormaliseFormat(FormatRecord& format) noexcept;

/// The plain record of a stream of `format` samples.
FormatRecord MakeFormat(SampleFormat format, std::uint16_t channels, std::uint32_t rate) noexcept;

/// The sample format of a record, nothing if it is none of the five.
std::optional<SampleFormat> SampleFormatOf(const FormatRecord& format) noexcept;

/// The negotiation rule on a format block of `length` bytes: plain or extensible, 1 to 32 channels, 8, 16 or 32-bit
/// PCM or 32 or 64-bit float. Rate, block align and average bytes are not looked at. A block that ends before its
/// extra-size word is read as if that word were 0.
bool IsAcceptedFormat(const void* block, std::size_t length) noexcept;

/// Reads a format block of `length` bytes into `target`, the extensible form folded to tag 1 or 3 where its sub-format
/// is PCM or IEEE float. Bytes past the end of the block read as 0. The extra size of the result is 0.
void QvAudio_CopyWfExtToWfx(const void* block, std::size_t length, FormatRecord& target) noexcept;

}  // namespace korva
