#include "host/korva.h"

#include <exception>
#include <new>
#include <ostream>

#include "host/listing.h"
#include "host/lv2_preset.h"
#include "host/nearest.h"

namespace korva {
namespace {

constexpr const char* kHelp =
    R"(For example:
  korva render voice.wav out.wav chorus --preset "Fast flange 1"

Usage: korva COMMAND ...

  korva effects                            the effects, a line each
  korva params EFFECT                      its parameters: name, range, default, what they do
  korva presets EFFECT                     its presets
  korva render IN OUT EFFECT [OPTIONS]...  a sound file through a chain of effects; see korva render --help
  korva state FILE [--lv2 DIR]             what a saved effect record holds, or that as an LV2 preset
  korva --version
)";

const std::vector<std::string> kCommands = {"effects", "params", "presets", "render", "state"};

Check WithEffect(const std::string& command, const std::string& summary, std::span<const std::string> arguments,
                 std::ostream& out, Check (*list)(const EffectRow&, std::ostream&)) {
  const std::vector<std::string> names = {"EFFECT"};
  const Outcome<std::vector<std::string>> values = ParseArguments(command, summary, names, arguments);
  if (!values) return values.ending();
  const Outcome<const EffectRow*> effect = FindEffect(values->front());
  if (!effect) return effect.ending();
  return list(**effect, out);
}

/// What a record holds, or that as a preset for LV2 hosts.
Check State(std::span<const std::string> arguments, std::ostream& out) {
  const std::vector<std::string> names = {"FILE"};
  std::vector<std::string> rest;
  std::string folder;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    constexpr std::string_view kOption = "--lv2";
    const std::string& word = arguments[i];
    if (word != kOption && !word.starts_with(std::string(kOption) + "=")) {
      rest.push_back(word);
      continue;
    }
    if (!folder.empty()) return Wrong("--lv2 is told twice");
    if (word != kOption) folder = word.substr(kOption.size() + 1);
    if (word == kOption && i + 1 < arguments.size()) folder = arguments[++i];
    if (folder.empty()) return Wrong("--lv2 needs a value: DIR, the bundle to write");
  }
  const auto values = ParseArguments("state",
                                     "Says what a saved effect record holds.\n--lv2 DIR writes it as an LV2 "
                                     "preset instead, a bundle of its own such as ~/.lv2/mine.lv2.",
                                     names, rest);
  if (!values) return values.ending();
  return folder.empty() ? DescribeState(values->front(), out) : WriteLv2Preset(values->front(), folder, out);
}

Check RunCommand(std::span<const std::string> arguments, Streams& streams) {
  if (arguments.empty()) return Wrong("a command is needed: " + Joined(kCommands, ", ") + "; see korva --help");
  const std::string& command = arguments.front();
  const std::span<const std::string> rest = arguments.subspan(1);
  if (command == "--help" || command == "-h" || command == "help") return Ending{kDone, kHelp};
  if (command == "--version") return Ending{kDone, "korva " KORVA_VERSION};
  if (command == "render") {
    const Outcome<RenderRequest> request = ParseRender(rest);
    return request ? Render(*request, streams) : Check(request.ending());
  }
  if (command == "params") {
    return WithEffect(command, "Lists the parameters of an effect.", rest, streams.out, &ListParameters);
  }
  if (command == "presets") {
    return WithEffect(command, "Lists the presets of an effect.", rest, streams.out,
                      [](const EffectRow& effect, std::ostream& out) {
                        ListPresets(effect, out);
                        return Check();
                      });
  }
  if (command == "state") return State(rest, streams.out);
  if (command == "effects" || command == "docs") {
    const auto values = ParseArguments(command, "Lists the effects.", {}, rest);
    if (!values) return values.ending();
    if (command == "docs") return WriteEffectsDoc(streams.out);
    ListEffects(streams.out);
    return std::nullopt;
  }
  return Wrong(UnknownName("there is no command", command, kCommands, "the commands are " + Joined(kCommands, ", ")));
}

}  // namespace

int RunKorva(std::span<const std::string> arguments, Streams& streams) {
  Check ending;
  try {
    ending = RunCommand(arguments, streams);
  } catch (const std::bad_alloc&) {
    ending = Failed("out of memory");
  } catch (const std::exception& error) {
    ending = Failed(error.what());
  }
  if (ending && ending->exitCode != kDone) {
    streams.err << "korva: " << ending->text << "\n";
    return ending->exitCode;
  }
  if (ending) streams.out << ending->text << "\n";
  if (!streams.out.flush()) {
    streams.err << "korva: cannot write to standard output\n";
    return kFailed;
  }
  return kDone;
}

}  // namespace korva
