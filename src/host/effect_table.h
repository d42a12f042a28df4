#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/outcome.h"
#include "live/effect_kinds.h"

namespace korva {

/// How long the audio is that an effect gets.
struct MaterialLength {
  double frames = 0;
  std::uint32_t rate = 0;
};

/// A name that `--set` takes although no row has it.
struct DerivedName {
  const char* name;
  const char* range;
  const char* summary;
};

struct SongMap;

/// What the rows of an effect cannot tell. Each part may be missing.
struct EffectHabits {
  std::span<const DerivedName> names = {};
  /// Takes `name` with `text` if it is one that no row can hold. `taken` says whether it was.
  MaybeExit (*setDerived)(std::string_view name, std::string_view text, const MaterialLength& material, void* block,
                          bool& taken) = nullptr;
  /// What is wrong with the values together, where they would not be heard as told; null where nothing is.
  const char* (*objection)(const void* block) = nullptr;
  /// Good picks where there are many, as a sentence.
  const char* picks = nullptr;
  /// Frames out for each frame in.
  double (*lengthFactor)(const void* block) = nullptr;
  /// How long it rings on at the most after its input has ended, in seconds. `song` is null with no tempo.
  double (*ringSeconds)(const void* block, const SongMap* song) = nullptr;
  /// It gives its tail in one buffer, but for 32-bit float, and drops what does not fit.
  bool ringsInOneBuffer = false;
  /// How long a cycle of what swings in it takes, in seconds; 0 where nothing does. `song` is null with no tempo.
  double (*cycleSeconds)(const void* block, const SongMap* song) = nullptr;
};

struct EffectRow {
  const EffectDescription& description;
  EffectInstance (*create)() noexcept;
  const EffectHabits* habits = nullptr;  ///< null where the rows tell everything
};

/// Every effect that there is, in the order in which they are listed.
std::span<const EffectRow> EffectTable() noexcept;

/// The names of all effects.
std::vector<std::string> EffectNames();
/// The effect of a name, as `kBadCall` the nearest ones.
Outcome<const EffectRow*> FindEffect(std::string_view name);

/// A new effect with its first preset; `kFailed` when there is no memory.
Outcome<EffectInstance> CreateEffect(const EffectRow& effect);

}  // namespace korva
