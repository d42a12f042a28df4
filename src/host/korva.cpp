#include "host/korva.h"

#include <exception>
#include <new>
#include <ostream>

#include "host/listing.h"
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
  korva state FILE                         what a saved effect record holds
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
  if (command == "state") {
    const std::vector<std::string> names = {"FILE"};
    const auto values = ParseArguments(command, "Says what a saved effect record holds.", names, rest);
    return values ? DescribeState(values->front(), streams.out) : Check(values.ending());
  }
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
