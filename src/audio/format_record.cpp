#include "audio/format_record.h"

#include <algorithm>
#include <cstring>

namespace korva {
namespace {

constexpr std::size_t kShortestBlock = 16;
constexpr std::size_t kSubFormatOffset = 24;
constexpr std::size_t kGuidSize = 16;
constexpr std::uint16_t kExtensibleExtraSize = 22;

// The two sub-formats differ from one another in their first word alone, which is the plain tag.
constexpr std::uint8_t kSubFormatTail[12] = {0x00, 0x00, 0x10, 0x00, 0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

FormatRecord ReadRecord(const void* block, std::size_t length) noexcept {
  FormatRecord record;
  if (length != 0) std::memcpy(&record, block, std::min(length, sizeof record));
  return record;
}

/// Tag 1 or 3 of an extensible block's sub-format, 0 for any other.
std::uint16_t SubFormatTag(const void* block, std::size_t length) noexcept {
  if (length < kSubFormatOffset + kGuidSize) return 0;
  const auto* bytes = static_cast<const std::uint8_t*>(block) + kSubFormatOffset;
  std::uint32_t first = 0;
  std::memcpy(&first, bytes, sizeof first);
  if (std::memcmp(bytes + sizeof first, kSubFormatTail, sizeof kSubFormatTail) != 0) return 0;
  return first == kTagPcm || first == kTagFloat ? static_cast<std::uint16_t>(first) : std::uint16_t{0};
}

bool IsExtensible(const FormatRecord& record) noexcept {
  return record.formatTag == kTagExtensible && record.extraSize >= kExtensibleExtraSize;
}

}  // namespace

void NormaliseFormat(FormatRecord& format) noexcept {
  format.blockAlign = static_cast<std::uint16_t>(format.bitsPerSample / 8U * format.channels);
  format.averageBytesPerSecond = format.blockAlign * format.samplesPerSecond;
  format.extraSize = 0;
}

FormatRecord MakeFormat(SampleFormat format, std::uint16_t channels, std::uint32_t rate) noexcept {
  FormatRecord record;
  record.formatTag = IsFloat(format) ? kTagFloat : kTagPcm;
  record.channels = channels;
  record.samplesPerSecond = rate;
  record.bitsPerSample = VisitFormat(
      format, [](auto policy) { return static_cast<std::uint16_t>(8 * sizeof(typename decltype(policy)::Sample)); });
  NormaliseFormat(record);
  return record;
}

std::optional<SampleFormat> SampleFormatOf(const FormatRecord& format) noexcept {
  return FindSampleFormat(format.formatTag, format.bitsPerSample);
}

bool IsAcceptedFormat(const void* block, std::size_t length) noexcept {
  if (block == nullptr || length < kShortestBlock) return false;
  const FormatRecord record = ReadRecord(block, length);
  if (record.channels < 1 || record.channels > kMaxChannels) return false;
  const std::uint16_t tag = IsExtensible(record) ? SubFormatTag(block, length) : record.formatTag;
  return FindSampleFormat(tag, record.bitsPerSample).has_value();
}

void QvAudio_CopyWfExtToWfx(const void* block, std::size_t length, FormatRecord& target) noexcept {
  target = ReadRecord(block, length);
  if (IsExtensible(target)) {
    if (const std::uint16_t tag = SubFormatTag(block, length); tag != 0) target.formatTag = tag;
  }
  target.extraSize = 0;
}

}  // namespace korva
