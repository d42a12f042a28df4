#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "frame/param_descriptor.h"

// Values of a row in its two units, the field of a parameter block that holds one, and the block itself.
namespace korva {

/// Block units to display units, worked in floats.
inline float ToTableUnits(const ParamDescriptor& row, std::int32_t value) noexcept {
  const float range = row.info.mpdMaxValue - row.info.mpdMinValue;
  const auto span = static_cast<float>(row.externalMax - row.externalMin);
  return range / span * static_cast<float>(value);
}

/// Display units to block units: worked in floats, rounded half away from zero. `value` lies in the row's range.
inline std::int32_t ToBlockUnits(const ParamDescriptor& row, float value) noexcept {
  const float range = row.info.mpdMaxValue - row.info.mpdMinValue;
  const auto span = static_cast<float>(row.externalMax - row.externalMin);
  const auto exact = static_cast<double>(value * span / range);
  return static_cast<std::int32_t>(exact + (value > 0 ? 0.5 : -0.5));
}

/// A whole parameter block, out of bytes that need not lie as it does.
template <class Block>
Block LoadBlock(const void* bytes) noexcept {
  Block block;
  std::memcpy(&block, bytes, sizeof block);
  return block;
}

/// A whole-number field of a block.
inline std::int32_t LoadField(const ParamDescriptor& row, const void* block) noexcept {
  std::int32_t value = 0;
  std::memcpy(&value, static_cast<const std::uint8_t*>(block) + row.blockOffset, sizeof value);
  return value;
}
inline void StoreField(const ParamDescriptor& row, void* block, std::int32_t value) noexcept {
  std::memcpy(static_cast<std::uint8_t*>(block) + row.blockOffset, &value, sizeof value);
}

/// A field of any storage as a double in display units, and back: what hosts outside the component model read and
/// write.
inline double LoadDisplayValue(const ParamDescriptor& row, const void* block) noexcept {
  const auto* field = static_cast<const std::uint8_t*>(block) + row.blockOffset;
  double value = 0;
  if (row.storage == Storage::kDouble) {
    std::memcpy(&value, field, sizeof value);
  } else {
    value = LoadField(row, block);
  }
  const double range = static_cast<double>(row.info.mpdMaxValue) - static_cast<double>(row.info.mpdMinValue);
  return value * range / (static_cast<double>(row.externalMax) - row.externalMin);
}
/// `value` lies in the row's range.
inline void StoreDisplayValue(const ParamDescriptor& row, void* block, double value) noexcept {
  if (row.storage != Storage::kDouble) {
    StoreField(row, block, ToBlockUnits(row, static_cast<float>(value)));
    return;
  }
  const double range = static_cast<double>(row.info.mpdMaxValue) - static_cast<double>(row.info.mpdMinValue);
  const double stored = value * (static_cast<double>(row.externalMax) - row.externalMin) / range;
  std::memcpy(static_cast<std::uint8_t*>(block) + row.blockOffset, &stored, sizeof stored);
}

/// Copies the field of a row from one block to another, unchanged.
inline void CopyField(const ParamDescriptor& row, void* target, const void* source) noexcept {
  const std::size_t size = row.storage == Storage::kDouble ? sizeof(double) : sizeof(std::int32_t);
  std::memcpy(static_cast<std::uint8_t*>(target) + row.blockOffset,
              static_cast<const std::uint8_t*>(source) + row.blockOffset, size);
}
/// Holds a value to a range; what is no number becomes the least.
inline double Held(double value, double least, double most) noexcept {
  return value >= least ? std::min(value, most) : least;
}
/// Holds the field of a row to its range likewise. Returns whether it was within.
inline bool HoldField(const ParamDescriptor& row, void* block) noexcept {
  if (row.storage != Storage::kDouble) {
    const std::int32_t value = LoadField(row, block), held = std::clamp(value, row.externalMin, row.externalMax);
    StoreField(row, block, held);
    return held == value;
  }
  auto* const field = static_cast<std::uint8_t*>(block) + row.blockOffset;
  double value = 0;
  std::memcpy(&value, field, sizeof value);
  const double held = Held(value, row.externalMin, row.externalMax);
  std::memcpy(field, &held, sizeof held);
  return held == value;
}
inline bool SameField(const ParamDescriptor& row, const void* a, const void* b) noexcept {
  const std::size_t size = row.storage == Storage::kDouble ? sizeof(double) : sizeof(std::int32_t);
  return std::memcmp(static_cast<const std::uint8_t*>(a) + row.blockOffset,
                     static_cast<const std::uint8_t*>(b) + row.blockOffset, size) == 0;
}

/// Display units to the units that are typed and shown, which may be plainer: seconds for tenths of a second.
inline double CommandFactor(const ParamDescriptor& row) noexcept {
  return std::round(static_cast<double>(row.commandFactor) * 1e6) / 1e6;
}
/// A bound of the range in these units. The bounds are floats: 0.001 is 0.001000000047 there.
inline double CommandBound(const ParamDescriptor& row, float bound) noexcept {
  return std::round(static_cast<double>(bound) * CommandFactor(row) * 1e6) / 1e6;
}

}  // namespace korva
