#include "lv2/lv2_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "live/live_text.h"
#include "platform/wide_text.h"
#include "qvkit/language_locales.h"
#include "qvkit/string_ids.h"

namespace korva {
namespace {

constexpr const char* kPrefixes = R"(@prefix atom: <http://lv2plug.in/ns/ext/atom#> .
@prefix doap: <http://usefulinc.com/ns/doap#> .
@prefix foaf: <http://xmlns.com/foaf/0.1/> .
@prefix lv2: <http://lv2plug.in/ns/lv2core#> .
@prefix pg: <http://lv2plug.in/ns/ext/port-groups#> .
@prefix pprops: <http://lv2plug.in/ns/ext/port-props#> .
@prefix pset: <http://lv2plug.in/ns/ext/presets#> .
@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .
@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .
@prefix time: <http://lv2plug.in/ns/ext/time#> .
@prefix units: <http://lv2plug.in/ns/extensions/units#> .
@prefix urid: <http://lv2plug.in/ns/ext/urid#> .

)";

struct Label {
  const char* name;
  StringId id;
};

/// Texts of rows that no host's interface names, from the pages; and where the interface's own would say one name
/// twice.
constexpr Label kLabels[] = {
    {"early-style", kStringReflectionStyle},
    {"tap-delay", 4057},
    {"tap-gain", 4056},
    {"tap-pan", 4039},
    {"tap-count", 4054},
    {"wet-out", 4050},
    {"dry-out", kStringDryOut},
    {"feedback", kStringFeedback},
    {"input-gain", kStringInputGain},
    {"low-pass-enabled", kStringAttenuateHighFrequencies},
    {"low-pass-hz", kStringAttenuationFrequencies},
    {"mod-depth", kStringModulationDepth},
    {"mod-rate", kStringModulationRate},
    {"semitones", kStringSemitonesNarrow},
    {"cents", 2075},
    {"accuracy", 2018},
    {"mode", 2002},
    {"anti-alias", 2005},
};

/// A text of a page as a bare name: no marks of accelerators, no ranges, one line.
std::string BareName(std::string text) {
  for (const auto& [open, close] : {std::pair{"(", ")"}, std::pair{"（", "）"}}) {
    for (std::size_t from = text.find(open); from != std::string::npos; from = text.find(open)) {
      const std::size_t to = text.find(close, from);
      text.erase(from, to == std::string::npos ? to : to + std::string_view(close).size() - from);
    }
  }
  std::erase(text, '&');
  std::replace(text.begin(), text.end(), '\n', ' ');
  for (const char* colon : {":", "："}) {
    if (text.ends_with(colon)) text.erase(text.size() - std::string_view(colon).size());
  }
  // French sets a hard blank before a colon.
  constexpr std::string_view kHardBlank = "\u00A0";
  const auto isBlank = [](char c) { return c == ' ' || c == ':'; };
  while (!text.empty() && (isBlank(text.back()) || text.ends_with(kHardBlank))) {
    text.erase(text.size() - (text.ends_with(kHardBlank) ? kHardBlank.size() : 1));
  }
  while (!text.empty() && isBlank(text.front())) text.erase(0, 1);
  return text;
}

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c == '\n' ? ' ' : c;
  }
  return quoted + "\"";
}

/// `textOf` in every language as the objects of one predicate. A language that says the same as English is left out.
template <class Text>
std::string InAllLanguages(Text textOf) {
  std::string objects = Quoted(textOf(kEnglish));
  for (std::size_t language = 0; language < kLanguageCount; ++language) {
    if (language == kEnglish || textOf(language) == textOf(kEnglish)) continue;
    objects += ", " + Quoted(textOf(language)) + "@" + kLanguageTags[language];
  }
  return objects;
}

std::string Number(float value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.7g", static_cast<double>(value));
  std::string number = text.data();
  // Turtle's doubles; a whole number stays one.
  return number.find_first_of(".e") == std::string::npos ? number + ".0" : number;
}

/// The number at the end of a tap's row, 0 for others.
int TapOf(const ParamDescriptor& row) {
  const std::string_view name = row.name;
  return name.starts_with("tap-") && name.back() >= '1' && name.back() <= '8' ? name.back() - '0' : 0;
}

std::string PortName(const ParamDescriptor& row, std::size_t language) {
  const int tap = TapOf(row);
  std::string_view key = row.name;
  if (tap != 0) key.remove_suffix(2);
  const auto label =
      std::find_if(std::begin(kLabels), std::end(kLabels), [&](const Label& l) { return key == l.name; });
  const bool own = row.labelId >= 0 && key != "early-style";
  const StringId id = own ? row.labelId : label != std::end(kLabels) ? label->id : kNoString;
  const std::string name = BareName(TextIn(language, id));
  return tap != 0 ? name + " " + std::to_string(tap) : name;
}

std::vector<std::string> ChoiceNames(const ParamDescriptor& row, std::size_t language) {
  std::vector<std::string> names = ChoiceNamesIn(language, row);
  for (std::string& name : names) name = BareName(std::move(name));
  return names;
}

std::string UnitOf(const ParamDescriptor& row) {
  constexpr std::pair<std::string_view, const char*> kUnits[] = {{"Hz", "hz"}, {"%", "pc"},  {"ms", "ms"},
                                                                 {"s", "s"},   {"dB", "db"}, {"bpm", "bpm"}};
  const std::string_view name = row.name;
  if (name == "semitones") return "semitone12TET";
  if (name == "cents") return "cent";
  for (const auto& [unit, symbol] : kUnits) {
    if (unit == row.unit) return symbol;
  }
  return {};
}

/// Values that span decades of positive numbers are dialled by their ratio.
bool IsLogarithmic(const ParamDescriptor& row, const Lv2Port& port) {
  constexpr float kDecades = 50;
  return row.info.mpType == MPT_FLOAT && port.least > 0 && port.most / port.least >= kDecades;
}

std::string Group(const Lv2Plugin& plugin, int tap) {
  return std::string("<").append(plugin.uri()) + ":tap-" + std::to_string(tap) + ">";
}

std::string AudioPorts(const Lv2Plugin& plugin) {
  struct Side {
    const char *symbol, *name, *designation;
  };
  constexpr Side kMono[] = {{"", "", ""}};
  constexpr Side kStereo[] = {{"_left", " Left", "left"}, {"_right", " Right", "right"}};
  std::string text;
  std::uint32_t index = 0;
  for (const char* direction : {"In", "Out"}) {
    for (std::uint32_t c = 0; c < plugin.channels; ++c) {
      const Side& side = plugin.channels == 1 ? kMono[0] : kStereo[c];
      const std::string low = direction[0] == 'I' ? "in" : "out";
      text += std::string(index == 0 ? "  lv2:port [\n" : "  ] , [\n") +
              "    a lv2:AudioPort , lv2:" + (low == "in" ? "InputPort" : "OutputPort") + " ;\n    lv2:index " +
              std::to_string(index) + " ;\n    lv2:symbol \"" + low + side.symbol + "\" ;\n    lv2:name \"" +
              direction + side.name + "\"";
      if (plugin.channels == 2) {
        text += std::string(" ;\n    lv2:designation pg:") + side.designation + " ;\n    pg:group <" + plugin.uri() +
                ":" + low + ">";
      }
      text += "\n";
      ++index;
    }
  }
  return text;
}

std::string FixedPorts(const Lv2Plugin& plugin) {
  const auto index = [](std::uint32_t at) { return " ;\n    lv2:index " + std::to_string(at) + " ;\n"; };
  std::string text = "  ] , [\n    a lv2:ControlPort , lv2:InputPort" + index(plugin.enabledIndex()) +
                     R"(    lv2:symbol "enabled" ;
    lv2:name "Enabled" ;
    lv2:designation lv2:enabled ;
    lv2:portProperty lv2:toggled ;
    lv2:default 1 ;
    lv2:minimum 0 ;
    lv2:maximum 1
)";
  if (plugin.followsTempo) {
    text += "  ] , [\n    a atom:AtomPort , lv2:InputPort" + index(plugin.controlIndex()) +
            R"(    lv2:symbol "control" ;
    lv2:name "Control" ;
    lv2:designation lv2:control ;
    lv2:portProperty lv2:connectionOptional ;
    atom:bufferType atom:Sequence ;
    atom:supports time:Position
)";
  }
  if (plugin.hasLatency) {
    text += "  ] , [\n    a lv2:ControlPort , lv2:OutputPort" + index(plugin.latencyIndex()) +
            R"(    lv2:symbol "latency" ;
    lv2:name "Latency" ;
    lv2:designation lv2:latency ;
    lv2:portProperty lv2:reportsLatency , lv2:integer ;
    units:unit units:frame
)";
  }
  return text;
}

std::string RowPort(const Lv2Plugin& plugin, std::size_t at) {
  const Lv2Port& port = plugin.ports[at];
  const ParamDescriptor& row = plugin.kind->description.rows[port.row];
  std::string text = "  ] , [\n    a lv2:ControlPort , lv2:InputPort ;\n    lv2:index " +
                     std::to_string(plugin.firstRowIndex() + at) + " ;\n    lv2:symbol " + Quoted(port.symbol) +
                     " ;\n    lv2:name " + InAllLanguages([&](std::size_t l) { return PortName(row, l); }) +
                     " ;\n    rdfs:comment " + Quoted(row.summary) + " ;\n    lv2:default " + Number(port.standard) +
                     " ;\n    lv2:minimum " + Number(port.least) + " ;\n    lv2:maximum " + Number(port.most);
  const auto add = [&](const std::string& more) { text += " ;\n    " + more; };
  const std::vector<std::string> choices = ChoiceNames(row, kEnglish);
  if (row.info.mpType == MPT_BOOL) add("lv2:portProperty lv2:toggled");
  if (row.info.mpType == MPT_INT || row.info.mpType == MPT_ENUM) {
    add(choices.empty() ? "lv2:portProperty lv2:integer" : "lv2:portProperty lv2:integer , lv2:enumeration");
  }
  if (IsLogarithmic(row, port)) add("lv2:portProperty pprops:logarithmic");
  if (const std::string unit = UnitOf(row); !unit.empty()) add("units:unit units:" + unit);
  if (const int tap = TapOf(row); tap != 0) add("pg:group " + Group(plugin, tap));
  for (std::size_t i = 0; i < choices.size(); ++i) {
    const auto name = [&](std::size_t language) { return ChoiceNames(row, language)[i]; };
    add("lv2:scalePoint [ rdfs:label " + InAllLanguages(name) + " ; rdf:value " +
        Number(port.least + static_cast<float>(i)) + " ]");
  }
  return text + "\n";
}

std::string Groups(const Lv2Plugin& plugin) {
  std::string text;
  if (plugin.channels == 2) {
    text += "<" + plugin.uri() + ":in> a pg:StereoGroup , pg:InputGroup ; lv2:name \"In\" ; lv2:symbol \"in\" .\n<" +
            plugin.uri() +
            ":out> a pg:StereoGroup , pg:OutputGroup ; lv2:name \"Out\" ; lv2:symbol \"out\" ; pg:source <" +
            plugin.uri() + ":in> .\n";
  }
  int last = 0;
  for (const Lv2Port& port : plugin.ports) last = std::max(last, TapOf(plugin.kind->description.rows[port.row]));
  for (int tap = 1; tap <= last; ++tap) {
    const std::string number = std::to_string(tap);
    text += Group(plugin, tap) + " a pg:InputGroup ; lv2:name \"Tap " + number + "\" ; lv2:symbol \"tap_" + number +
            "\" .\n";
  }
  return text + "\n";
}

const char* ClassOf(const EffectDescription& effect) {
  constexpr std::pair<std::string_view, const char*> kClasses[] = {{"chorus", "lv2:ChorusPlugin"},
                                                                   {"reverb", "lv2:ReverbPlugin"},
                                                                   {"simple-delay", "lv2:DelayPlugin"},
                                                                   {"multi-tap-delay", "lv2:DelayPlugin"},
                                                                   {"pitch-shift", "lv2:PitchPlugin"}};
  for (const auto& [name, kind] : kClasses) {
    if (name == effect.name) return kind;
  }
  return "lv2:Plugin";
}

/// "0.1.0" as the minor and micro version of the format: below 2 it is a prerelease.
std::string VersionText(const std::string& version) {
  int major = 0, minor = 0, micro = 0;
  std::sscanf(version.c_str(), "%d.%d.%d", &major, &minor, &micro);
  return "  lv2:minorVersion " + std::to_string(2 * (major * 100 + minor)) + " ;\n  lv2:microVersion " +
         std::to_string(2 * micro) + " ;\n";
}

std::string PresetUri(const Lv2Plugin& plugin, std::int32_t index) {
  return std::string("<").append(plugin.uri()) + ":preset-" + std::to_string(index) + ">";
}

std::string PresetBody(const Lv2Plugin& plugin, const std::string& label, const void* block) {
  std::string text = " a pset:Preset ;\n  lv2:appliesTo <" + plugin.uri() + "> ;\n  rdfs:label " + label + " ;\n";
  const char* before = "  lv2:port [\n";
  for (const Lv2Port& port : plugin.ports) {
    text += before + std::string("    lv2:symbol ") + Quoted(port.symbol) + " ;\n    pset:value " +
            Number(Lv2Value(plugin, port, block)) + "\n";
    before = "  ] , [\n";
  }
  return text + "  ] .\n\n";
}

std::string PresetLabel(const EffectDescription& effect, std::int32_t index) {
  return InAllLanguages([&](std::size_t language) { return PresetNameIn(language, effect, index); });
}

}  // namespace

std::string ManifestText(const std::vector<Lv2Plugin>& plugins, const std::string& version) {
  std::string text = kPrefixes;
  for (const Lv2Plugin& plugin : plugins) {
    const EffectDescription& effect = plugin.kind->description;
    const std::string file = std::string("<") + effect.name + ".ttl>";
    text += std::string("<").append(plugin.uri()) + "> a lv2:Plugin ;\n  lv2:binary <korva.so> ;\n" +
            VersionText(version) + "  rdfs:seeAlso " + file + " .\n";
    for (std::int32_t i = 0; i < effect.presets.count(); ++i) {
      text += PresetUri(plugin, i) + " a pset:Preset ; lv2:appliesTo <" + plugin.uri() + "> ; rdfs:seeAlso " + file +
              " .\n";
    }
    text += "\n";
  }
  return text;
}

std::string EffectText(const std::vector<Lv2Plugin>& plugins, const EffectDescription& effect,
                       const std::string& version) {
  std::string text = std::string(kPrefixes) +
                     "<urn:korva:project> a doap:Project ;\n  doap:name \"KORVA\" ;\n"
                     "  doap:license <https://spdx.org/licenses/MIT> ;\n"
                     "  doap:maintainer [ a foaf:Person ; foaf:name \"KORVA\" ] .\n\n";
  for (const Lv2Plugin& plugin : plugins) {
    if (&plugin.kind->description != &effect) continue;
    text += Groups(plugin);
    const std::string name = platform::ToUtf8(effect.displayName) + (plugin.channels == 1 ? " (mono)" : "");
    text += "<" + plugin.uri() + "> a lv2:Plugin , " + ClassOf(effect) + " , doap:Project ;\n  doap:name " +
            Quoted(name) +
            " ;\n  doap:license <https://spdx.org/licenses/MIT> ;\n  lv2:project <urn:korva:project> ;\n" +
            VersionText(version) + "  rdfs:comment " + Quoted(effect.summary) +
            " ;\n  lv2:optionalFeature lv2:hardRTCapable , urid:map ;\n";
    if (plugin.channels == 2) {
      text += "  pg:mainInput <" + plugin.uri() + ":in> ;\n  pg:mainOutput <" + plugin.uri() + ":out> ;\n";
    }
    text += AudioPorts(plugin) + FixedPorts(plugin);
    for (std::size_t at = 0; at < plugin.ports.size(); ++at) text += RowPort(plugin, at);
    text += "  ] .\n\n";
    for (std::int32_t i = 0; i < effect.presets.count(); ++i) {
      text += PresetUri(plugin, i) + PresetBody(plugin, PresetLabel(effect, i), effect.presets.Block(i));
    }
  }
  return text;
}

PresetBundle PresetText(const EffectDescription& effect, const std::string& name, const void* block) {
  PresetBundle bundle{kPrefixes, kPrefixes};
  for (const Lv2Plugin& plugin : Lv2Plugins()) {
    if (&plugin.kind->description != &effect) continue;
    const std::string subject = plugin.channels == 1 ? "<preset.ttl#mono>" : "<preset.ttl#stereo>";
    bundle.manifest += subject + " a pset:Preset ; lv2:appliesTo <" + plugin.uri() +
                       "> ; rdfs:seeAlso <preset.ttl> ; rdfs:label " + Quoted(name) + " .\n";
    bundle.preset += subject + PresetBody(plugin, Quoted(name), block);
  }
  return bundle;
}

}  // namespace korva
