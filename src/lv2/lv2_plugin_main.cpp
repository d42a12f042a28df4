// The bundle's binary: one descriptor for each plug-in, all over the same few functions.
#include <lv2/atom/atom.h>
#include <lv2/atom/util.h>
#include <lv2/core/lv2.h>
#include <lv2/time/time.h>
#include <lv2/urid/urid.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <exception>
#include <memory>

#include "audio/narrow.h"
#include "live/live_effect.h"
#include "lv2/lv2_ports.h"
#include "pitchtime/pitchs_params.h"

namespace {

using korva::LiveTempo;
using korva::Lv2Plugin;

struct Uris {
  LV2_URID sequence = 0, object = 0, blank = 0, position = 0;
  LV2_URID bpm = 0, beatsPerBar = 0, beatUnit = 0;
  LV2_URID floats = 0, doubles = 0, ints = 0, longs = 0;
};

/// Channels as separate buffers. Outputs may share memory with inputs, their own or another's.
class Plugin {
 public:
  Plugin(const Lv2Plugin& plugin, double rate, const LV2_URID_Map* map)
      : plugin_(plugin), effect_(*plugin.kind), rate_(static_cast<std::uint32_t>(rate)) {
    ports_.resize(plugin.firstRowIndex() + plugin.ports.size(), nullptr);
    last_.resize(plugin.ports.size());
    for (std::size_t i = 0; i < last_.size(); ++i) last_[i] = plugin.ports[i].standard;
    if (map != nullptr) MapUris(*map);
  }

  bool ready() {
    if (plugin_.hasLatency) effect_.Set(korva::kPitchsPreserveDuration, 1);
    return effect_.ready();
  }
  void Connect(std::uint32_t port, void* data) noexcept {
    if (port < ports_.size()) ports_[port] = data;
  }
  void Activate() noexcept { effect_.Start(korva::LiveEffect::Use::kFixedLatency, plugin_.channels, rate_); }
  void Deactivate() noexcept { effect_.Stop(); }

  void Run(std::uint32_t frames) noexcept {
    TakePorts();
    std::uint32_t done = 0;
    if (plugin_.followsTempo && uris_.sequence != 0) done = RunToEvents(frames);
    RunTo(done, frames);
    if (!plugin_.hasLatency) return;
    if (auto* const latency = static_cast<float*>(ports_[plugin_.latencyIndex()])) {
      *latency = static_cast<float>(effect_.latency());
    }
  }

 private:
  void MapUris(const LV2_URID_Map& map) {
    const auto id = [&](const char* uri) { return map.map(map.handle, uri); };
    uris_ = {id(LV2_ATOM__Sequence),       id(LV2_ATOM__Object),      id(LV2_ATOM__Blank),    id(LV2_TIME__Position),
             id(LV2_TIME__beatsPerMinute), id(LV2_TIME__beatsPerBar), id(LV2_TIME__beatUnit), id(LV2_ATOM__Float),
             id(LV2_ATOM__Double),         id(LV2_ATOM__Int),         id(LV2_ATOM__Long)};
  }

  /// A port at rest sets nothing.
  void TakePorts() noexcept {
    if (const auto* const enabled = static_cast<const float*>(ports_[plugin_.enabledIndex()])) {
      effect_.SetEnabled(*enabled > 0);
    }
    for (std::size_t i = 0; i < last_.size(); ++i) {
      const auto* const value = static_cast<const float*>(ports_[plugin_.firstRowIndex() + i]);
      if (value == nullptr || *value == last_[i] || !std::isfinite(*value)) continue;
      last_[i] = *value;
      const korva::Lv2Port& port = plugin_.ports[i];
      const float held = std::clamp(*value, port.least, port.most);
      const korva::ParamDescriptor& row = plugin_.kind->description.rows[port.row];
      effect_.Set(port.row, static_cast<double>(row.info.mpType == MPT_FLOAT ? held : std::round(held)));
    }
  }

  void RunTo(std::uint32_t from, std::uint32_t to) noexcept {
    std::array<const float*, 2> in{};
    std::array<float*, 2> out{};
    for (std::uint32_t c = 0; c < plugin_.channels; ++c) {
      in[c] = static_cast<const float*>(ports_[c]);
      out[c] = static_cast<float*>(ports_[plugin_.channels + c]);
      if (in[c] == nullptr || out[c] == nullptr) return;
      in[c] += from;
      out[c] += from;
    }
    if (effect_.ProcessPlanar(in.data(), out.data(), to - from) == korva::LiveResult::kDone) return;
    // Not started for want of memory.
    for (std::uint32_t c = 0; c < plugin_.channels; ++c) std::fill_n(out[c], to - from, 0.0F);
  }

  std::uint32_t RunToEvents(std::uint32_t frames) noexcept {
    const auto* const sequence = static_cast<const LV2_Atom_Sequence*>(ports_[plugin_.controlIndex()]);
    std::uint32_t done = 0;
    if (sequence == nullptr || sequence->atom.type != uris_.sequence) return done;
    LV2_ATOM_SEQUENCE_FOREACH(sequence, event) {
      if (event->body.type != uris_.object && event->body.type != uris_.blank) continue;
      const auto* const object = reinterpret_cast<const LV2_Atom_Object*>(&event->body);
      if (object->body.otype != uris_.position) continue;
      const auto at = static_cast<std::uint32_t>(std::clamp<std::int64_t>(event->time.frames, done, frames));
      if (at > done) RunTo(done, at);
      done = at;
      TakePosition(*object);
    }
    return done;
  }

  double NumberOf(const LV2_Atom* atom) const noexcept {
    if (atom == nullptr) return 0;
    const void* const body = atom + 1;
    if (atom->type == uris_.floats) return static_cast<double>(*static_cast<const float*>(body));
    if (atom->type == uris_.doubles) return *static_cast<const double*>(body);
    if (atom->type == uris_.ints) return *static_cast<const std::int32_t*>(body);
    if (atom->type == uris_.longs) return static_cast<double>(*static_cast<const std::int64_t*>(body));
    return 0;
  }

  void TakePosition(const LV2_Atom_Object& object) noexcept {
    const LV2_Atom *bpm = nullptr, *beats = nullptr, *unit = nullptr;
    LV2_ATOM_OBJECT_FOREACH(&object, property) {
      if (property->key == uris_.bpm) bpm = &property->value;
      if (property->key == uris_.beatsPerBar) beats = &property->value;
      if (property->key == uris_.beatUnit) unit = &property->value;
    }
    const auto top = korva::Truncate<std::int32_t>(NumberOf(beats));
    const auto bottom = korva::Truncate<std::int32_t>(NumberOf(unit));
    // What no meter has leaves the one that was.
    if (LiveTempo::IsMeter(top, bottom_)) top_ = top;
    if (LiveTempo::IsMeter(top_, bottom)) bottom_ = bottom;
    // The host counts beats of its meter, the effect quarter notes.
    if (NumberOf(bpm) > 0) quarters_ = NumberOf(bpm) * 4 / bottom_;
    if (quarters_ > 0)
      effect_.SetTempo(std::clamp(quarters_, LiveTempo::kLeastBpm, LiveTempo::kMostBpm), top_, bottom_);
  }

  const Lv2Plugin& plugin_;
  korva::LiveEffect effect_;
  std::uint32_t rate_;
  Uris uris_;
  std::vector<void*> ports_;
  std::vector<float> last_;
  std::int32_t top_ = 4, bottom_ = 4;
  double quarters_ = 0;
};

/// What the host reads once, made at the first call.
struct Table {
  Table();
  std::vector<Lv2Plugin> plugins = korva::Lv2Plugins();
  std::vector<std::string> uris;
  std::vector<LV2_Descriptor> descriptors;
};

const Table& PluginTable() {
  static const Table table;
  return table;
}

LV2_Handle Instantiate(const LV2_Descriptor* descriptor, double rate, const char*, const LV2_Feature* const* features) {
  if (!(rate >= 1 && rate <= korva::LiveEffect::kMostRate)) return nullptr;
  try {
    const Table& table = PluginTable();
    const auto index = static_cast<std::size_t>(descriptor - table.descriptors.data());
    const LV2_URID_Map* map = nullptr;
    for (; features != nullptr && *features != nullptr; ++features) {
      if (std::strcmp((*features)->URI, LV2_URID__map) == 0) map = static_cast<const LV2_URID_Map*>((*features)->data);
    }
    auto plugin = std::make_unique<Plugin>(table.plugins[index], rate, map);
    return plugin->ready() ? plugin.release() : nullptr;
  } catch (const std::exception&) {
    return nullptr;
  }
}

Table::Table() {
  for (const Lv2Plugin& plugin : plugins) uris.push_back(plugin.uri());
  for (const std::string& uri : uris) {
    descriptors.push_back(
        {uri.c_str(), &Instantiate,
         [](LV2_Handle handle, std::uint32_t port, void* data) { static_cast<Plugin*>(handle)->Connect(port, data); },
         [](LV2_Handle handle) { static_cast<Plugin*>(handle)->Activate(); },
         [](LV2_Handle handle, std::uint32_t frames) { static_cast<Plugin*>(handle)->Run(frames); },
         [](LV2_Handle handle) { static_cast<Plugin*>(handle)->Deactivate(); },
         [](LV2_Handle handle) { delete static_cast<Plugin*>(handle); },
         [](const char*) -> const void* { return nullptr; }});
  }
}

}  // namespace

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(std::uint32_t index) {
  try {
    const Table& table = PluginTable();
    return index < table.descriptors.size() ? &table.descriptors[index] : nullptr;
  } catch (const std::exception&) {
    return nullptr;
  }
}
