// Writes the data files of the LV2 bundle from the effects' rows and string tables: lv2_bundle DIR VERSION
#include <cstdio>
#include <fstream>
#include <string>

#include "lv2/lv2_text.h"

namespace {

bool Write(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) std::fprintf(stderr, "lv2_bundle: cannot write %s\n", path.c_str());
  return static_cast<bool>(file);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fprintf(stderr, "usage: lv2_bundle DIR VERSION\n");
    return 2;
  }
  const std::string folder = std::string(arguments[1]) + "/", version = arguments[2];
  const std::vector<korva::Lv2Plugin> plugins = korva::Lv2Plugins();
  bool done = Write(folder + "manifest.ttl", korva::ManifestText(plugins, version));
  for (const korva::Lv2Plugin& plugin : plugins) {
    if (plugin.channels != 2) continue;
    const korva::EffectDescription& effect = plugin.kind->description;
    done = Write(folder + effect.name + ".ttl", korva::EffectText(plugins, effect, version)) && done;
  }
  return done ? 0 : 1;
}
