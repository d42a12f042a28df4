#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "live/effect_kinds.h"

// What ports a plug-in has, told by the rows of its effect. Bundle, plug-in and preset writer all read it here.
namespace korva {

/// One port of values.
struct Lv2Port {
  std::size_t row;
  std::string symbol;           ///< the row's name with underscores
  float least, most, standard;  ///< in the command's units; `standard` is what preset 0 holds
};

/// A plug-in: an effect for one or for two channels. Ports stand in this order: audio in, audio out, the switch, then
/// `control` where tempo is followed, then `latency` where there is one, then the rows.
struct Lv2Plugin {
  const EffectKind* kind;
  std::uint32_t channels;
  bool followsTempo, hasLatency;
  std::vector<Lv2Port> ports;

  std::string uri() const;
  std::uint32_t enabledIndex() const noexcept { return 2 * channels; }
  std::uint32_t controlIndex() const noexcept { return enabledIndex() + 1; }
  std::uint32_t latencyIndex() const noexcept { return controlIndex() + (followsTempo ? 1 : 0); }
  std::uint32_t firstRowIndex() const noexcept { return latencyIndex() + (hasLatency ? 1 : 0); }
};

/// All plug-ins, stereo and mono of each effect. Not the Time Stretch: the format gives back as much as it takes.
std::vector<Lv2Plugin> Lv2Plugins();

/// Whether a row has a port: one that is heard and that the port of another row does not set. What the switch of the
/// plug-in stands for has none either.
bool HasLv2Port(const EffectDescription& effect, std::size_t row) noexcept;

/// A block's value of a port.
float Lv2Value(const Lv2Plugin& plugin, const Lv2Port& port, const void* block);

/// Whether the ports can hold what a block holds: not so for a pitch beyond their range.
bool FitsLv2(const Lv2Plugin& plugin, const void* block);

}  // namespace korva
