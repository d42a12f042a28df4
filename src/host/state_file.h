#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/effect_table.h"
#include "host/outcome.h"

namespace korva {

/// A persistent record that was read from a file and recognised.
struct StateRecord {
  const EffectRow* effect;
  std::size_t form;  ///< index among the effect's forms, 0 the one in use
  std::vector<std::uint8_t> bytes;
};

/// Reads a record of any effect. `kFailed`, with what is wrong, for anything else.
Outcome<StateRecord> ReadStateFile(const std::string& path, std::istream& in);
/// Reads a file that must be a record of `effect`, or such a text as `StateText` makes, and sets the parameters from
/// it.
/// `-` is `in`.
MaybeExit LoadStateFile(const std::string& path, std::istream& in, const EffectRow& effect, EffectInstance& instance);
/// The effect as lines of "name = value" that a person can edit.
std::string StateText(const EffectRow& effect, const EffectInstance& instance);
/// Sets an effect's parameters from a record of it.
MaybeExit LoadState(const StateRecord& record, EffectInstance& instance);
/// The record of an effect as it is now.
Outcome<std::vector<std::uint8_t>> SaveState(EffectInstance& instance);

}  // namespace korva
