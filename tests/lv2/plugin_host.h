#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <lv2/atom/atom.h>
#include <lv2/atom/forge.h>
#include <lv2/core/lv2.h>
#include <lv2/time/time.h>
#include <lv2/urid/urid.h>

#include <array>
#include <map>
#include <string>
#include <vector>

#include "lv2/lv2_ports.h"

namespace korva {

/// A host of one plug-in of the bundle, ports at their defaults.
class PluginHost {
 public:
  PluginHost(const Lv2Plugin& plugin, double rate) : plugin_(plugin) {
    static void* const library = ::dlopen(KORVA_BUNDLE "/korva.so", RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(library, nullptr) << ::dlerror();
    if (library == nullptr) return;
    using Entry = const LV2_Descriptor* (*)(std::uint32_t);
    const auto entry = reinterpret_cast<Entry>(::dlsym(library, "lv2_descriptor"));
    for (std::uint32_t i = 0; (descriptor_ = entry(i)) != nullptr && plugin.uri() != descriptor_->URI; ++i) {
    }
    EXPECT_NE(descriptor_, nullptr) << plugin.uri();
    LV2_URID_Map map{&uris_, [](LV2_URID_Map_Handle handle, const char* uri) {
                       auto& uris = *static_cast<std::map<std::string, LV2_URID>*>(handle);
                       return uris.emplace(uri, static_cast<LV2_URID>(uris.size() + 1)).first->second;
                     }};
    const LV2_Feature feature{LV2_URID__map, &map};
    const LV2_Feature* const features[] = {&feature, nullptr};
    handle_ = descriptor_->instantiate(descriptor_, rate, KORVA_BUNDLE, features);
    EXPECT_NE(handle_, nullptr);
    lv2_atom_forge_init(&forge_, &map);
    position_ = map.map(map.handle, LV2_TIME__Position);
    bpm_ = map.map(map.handle, LV2_TIME__beatsPerMinute);
    values.resize(plugin.firstRowIndex() + plugin.ports.size());
    values[plugin.enabledIndex()] = 1;
    for (std::size_t i = 0; i < plugin.ports.size(); ++i) row(i) = plugin.ports[i].standard;
    for (std::uint32_t i = plugin.enabledIndex(); i < values.size(); ++i) {
      const bool isControl = plugin.followsTempo && i == plugin.controlIndex();
      descriptor_->connect_port(handle_, i, isControl ? static_cast<void*>(sequence_.data()) : &values[i]);
    }
    SendTempo(0);
    descriptor_->activate(handle_);
  }
  PluginHost(const PluginHost&) = delete;
  PluginHost& operator=(const PluginHost&) = delete;
  ~PluginHost() {
    if (handle_ == nullptr) return;
    descriptor_->deactivate(handle_);
    descriptor_->cleanup(handle_);
  }

  float& row(std::size_t port) { return values[plugin_.firstRowIndex() + port]; }

  /// The next run starts with this tempo; 0 sends nothing.
  void SendTempo(float bpm) {
    lv2_atom_forge_set_buffer(&forge_, sequence_.data(), sequence_.size());
    LV2_Atom_Forge_Frame all, object;
    lv2_atom_forge_sequence_head(&forge_, &all, 0);
    if (bpm > 0) {
      lv2_atom_forge_frame_time(&forge_, 0);
      lv2_atom_forge_object(&forge_, &object, 0, position_);
      lv2_atom_forge_key(&forge_, bpm_);
      lv2_atom_forge_float(&forge_, bpm);
      lv2_atom_forge_pop(&forge_, &object);
    }
    lv2_atom_forge_pop(&forge_, &all);
  }

  /// Whether the plug-in can be made for a rate.
  bool Takes(double rate) const {
    const LV2_Feature* const none = nullptr;
    LV2_Handle other = descriptor_->instantiate(descriptor_, rate, KORVA_BUNDLE, &none);
    if (other != nullptr) descriptor_->cleanup(other);
    return other != nullptr;
  }

  /// Buffers for each channel, in place.
  void Run(const std::vector<float*>& channels, std::uint32_t frames) { Run(channels, channels, frames); }
  void Run(const std::vector<float*>& in, const std::vector<float*>& out, std::uint32_t frames) {
    for (std::uint32_t c = 0; c < plugin_.channels; ++c) {
      descriptor_->connect_port(handle_, c, in[c]);
      descriptor_->connect_port(handle_, plugin_.channels + c, out[c]);
    }
    descriptor_->run(handle_, frames);
  }

  std::vector<float> values;

 private:
  const Lv2Plugin& plugin_;
  const LV2_Descriptor* descriptor_ = nullptr;
  LV2_Handle handle_ = nullptr;
  std::map<std::string, LV2_URID> uris_;
  LV2_Atom_Forge forge_{};
  LV2_URID position_ = 0, bpm_ = 0;
  alignas(8) std::array<std::uint8_t, 512> sequence_{};
};

}  // namespace korva
