#pragma once

#include <string>
#include <vector>

#include "lv2/lv2_ports.h"

// The data files of the bundle, as Turtle text.
namespace korva {

/// The list of plug-ins and presets that hosts read first.
std::string ManifestText(const std::vector<Lv2Plugin>& plugins, const std::string& version);
/// One effect's plug-ins with their ports, and all their presets.
std::string EffectText(const std::vector<Lv2Plugin>& plugins, const EffectDescription& effect,
                       const std::string& version);

/// A preset bundle of one preset for both plug-ins of an effect: its two files.
struct PresetBundle {
  std::string manifest, preset;
};
PresetBundle PresetText(const EffectDescription& effect, const std::string& name, const void* block);

}  // namespace korva
