#include "host/lv2_preset.h"

#include <algorithm>
#include <filesystem>
#include <istream>
#include <ostream>

#include "host/output_file.h"
#include "host/parameter_text.h"
#include "host/state_file.h"
#include "lv2/lv2_text.h"

namespace korva {

MaybeExit WriteLv2Preset(const std::string& stateFile, const std::string& folder, std::istream& in, std::ostream& out) {
  const Outcome<StateRecord> record = ReadStateFile(stateFile, in);
  if (!record) return record.earlyExit();
  const EffectDescription& effect = record->effect->description;
  const std::vector<Lv2Plugin> plugins = Lv2Plugins();
  const auto plugin = std::find_if(plugins.begin(), plugins.end(),
                                   [&](const Lv2Plugin& one) { return &one.kind->description == &effect; });
  if (plugin == plugins.end()) {
    return Failed(std::string(effect.name) + " is no LV2 plug-in: those give back as much as they take");
  }
  Outcome<EffectInstance> instance = CreateEffect(*record->effect);
  if (!instance) return instance.earlyExit();
  if (const MaybeExit check = LoadState(*record, *instance)) return check;
  const ParameterBlock block = ReadBlock(*instance);
  if (!FitsLv2(*plugin, block.data())) {
    return Failed(stateFile + " holds a pitch that the plug-in cannot: it takes semitones up to 12, and its ratio is " +
                  "that of semitones and cents");
  }
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) return Failed("cannot make " + folder + ": " + error.message());
  const std::string name = std::filesystem::path(stateFile).stem().string();
  const PresetBundle bundle = PresetText(effect, name, block.data());
  // Both are opened before either is written, so that no half of a bundle is left.
  const std::filesystem::path inside = folder;
  Outcome<OutputFile> manifest = OutputFile::Create((inside / "manifest.ttl").string(), false);
  if (!manifest) return manifest.earlyExit();
  Outcome<OutputFile> preset = OutputFile::Create((inside / "preset.ttl").string(), false);
  if (!preset) return preset.earlyExit();
  if (const MaybeExit check = preset->Write(bundle.preset.data(), bundle.preset.size())) return check;
  if (const MaybeExit check = manifest->Write(bundle.manifest.data(), bundle.manifest.size())) return check;
  if (const MaybeExit check = preset->Commit()) return check;
  if (const MaybeExit check = manifest->Commit()) return check;
  out << "wrote " << folder << ": the LV2 preset \"" << name << "\" of " << plugin->uri() << "\n";
  return std::nullopt;
}

}  // namespace korva
