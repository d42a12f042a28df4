#include "lv2/lv2_ports.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "frame/row_values.h"
#include "pitchtime/pitchs_params.h"
#include "pitchtime/time_params.h"

namespace korva {
namespace {

/// An octave up is what the fixed latency is sized for.
constexpr float kMostSemitones = 12;

Lv2Port MakePort(const EffectDescription& effect, std::size_t row) {
  const ParamDescriptor& descriptor = effect.rows[row];
  Lv2Port port{row, descriptor.name, 0, 0, 0};
  std::replace(port.symbol.begin(), port.symbol.end(), '-', '_');
  port.least = static_cast<float>(CommandBound(descriptor, descriptor.info.mpdMinValue));
  port.most = static_cast<float>(CommandBound(descriptor, descriptor.info.mpdMaxValue));
  if (&effect == &kPitchsEffect && row == kPitchsSemitones) port.most = kMostSemitones;
  return port;
}

}  // namespace

std::string Lv2Plugin::uri() const {
  return std::string("urn:korva:") + kind->description.name + (channels == 1 ? "-mono" : "");
}

bool HasLv2Port(const EffectDescription& effect, std::size_t row) noexcept {
  constexpr std::string_view kWithout[] = {"bypass",        "current-tap",    "graph-resolution", "preserve-duration",
                                           "transposition", "initial-samples"};
  const std::string_view name = effect.rows[row].name;
  return std::find(std::begin(kWithout), std::end(kWithout), name) == std::end(kWithout);
}

std::vector<Lv2Plugin> Lv2Plugins() {
  std::vector<Lv2Plugin> plugins;
  for (const EffectKind& kind : EffectKinds()) {
    const EffectDescription& effect = kind.description;
    if (&effect == &kTimeEffect) continue;
    for (const std::uint32_t channels : {2U, 1U}) {
      Lv2Plugin plugin{&kind, channels, false, &effect == &kPitchsEffect, {}};
      for (std::size_t row = 0; row < effect.rows.size(); ++row) {
        plugin.followsTempo = plugin.followsTempo || effect.rows[row].followsTempo;
        if (!HasLv2Port(effect, row)) continue;
        plugin.ports.push_back(MakePort(effect, row));
        plugin.ports.back().standard = Lv2Value(plugin, plugin.ports.back(), effect.presets.Block(0));
      }
      plugins.push_back(std::move(plugin));
    }
  }
  return plugins;
}

float Lv2Value(const Lv2Plugin& plugin, const Lv2Port& port, const void* block) {
  const ParamDescriptor& row = plugin.kind->description.rows[port.row];
  const double value = LoadDisplayValue(row, block) * CommandFactor(row);
  return std::clamp(static_cast<float>(std::round(value * 1e6) / 1e6), port.least, port.most);
}

bool FitsLv2(const Lv2Plugin& plugin, const void* block) {
  if (!plugin.hasLatency) return true;
  const ParamDescriptor& row = plugin.kind->description.rows[kPitchsSemitones];
  const std::int32_t semitones = LoadField(row, block);
  // The ports hear semitones and cents; a ratio of its own they cannot hold. Presets have theirs rounded.
  const double ratio = LoadDisplayValue(plugin.kind->description.rows[kPitchsTransposition], block);
  const std::int32_t cents = LoadField(plugin.kind->description.rows[kPitchsCents], block);
  constexpr double kRounding = 1e-4;
  return static_cast<float>(semitones) <= kMostSemitones &&
         std::abs(ratio / TranspositionOf(semitones, cents) - 1) < kRounding;
}

}  // namespace korva
