#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>

#include "frame/block_holder.h"
#include "frame/effect_description.h"
#include "frame/row_values.h"

namespace korva {

/// A field of a block as a number in block units, whatever its storage.
inline double FieldOf(const ParamDescriptor& row, const void* block) {
  double value = 0;
  if (row.storage != Storage::kDouble) return LoadField(row, block);
  std::memcpy(&value, static_cast<const std::uint8_t*>(block) + row.blockOffset, sizeof value);
  return value;
}
inline void PutField(const ParamDescriptor& row, void* block, double value) {
  if (row.storage != Storage::kDouble) return StoreField(row, block, static_cast<std::int32_t>(value));
  std::memcpy(static_cast<std::uint8_t*>(block) + row.blockOffset, &value, sizeof value);
}

/// The row of that name.
inline std::size_t RowNamed(const EffectDescription& effect, const std::string& name) {
  for (std::size_t row = 0; row < effect.rows.size(); ++row) {
    if (name == effect.rows[row].name) return row;
  }
  ADD_FAILURE() << effect.name << " has no " << name;
  return 0;
}

/// Sets rows by name, in block units: "delay=10 decay=1".
inline void SetRows(BlockHolder& parameters, const std::string& settings) {
  std::istringstream words(settings);
  for (std::string word; words >> word;) {
    const std::size_t equals = word.find('='), row = RowNamed(parameters.effect(), word.substr(0, equals));
    alignas(8) std::uint8_t block[kLargestBlock];
    PutField(parameters.effect().rows[row], block, std::stod(word.substr(equals + 1)));
    parameters.WriteRow(row, block);
  }
}

/// Fills a block from a random preset and moves about half of its rows, one in three of those to an end of its range.
/// The same numbers of `random` give the same block everywhere. Bypass stays off.
template <class Random>
void Shuffle(const EffectDescription& effect, void* block, Random& random) {
  const auto upTo = [&](double most) { return std::floor(static_cast<double>(random() % 65536) / 65536 * (most + 1)); };
  std::memcpy(block, effect.presets.Block(static_cast<std::int32_t>(upTo(effect.presets.count() - 1))),
              effect.blockSize);
  for (const ParamDescriptor& row : effect.rows) {
    if (row.name == std::string_view("bypass")) continue;
    const double kind = upTo(5), value = row.externalMin + upTo(row.externalMax - row.externalMin);
    if (kind == 0) PutField(row, block, random() % 2 == 0 ? row.externalMin : row.externalMax);
    if (kind == 1 || kind == 2) PutField(row, block, value);
  }
}

}  // namespace korva
