#include "host/korva.h"

#include <exception>
#include <new>
#include <ostream>

#include "host/interrupt.h"
#include "host/listing.h"
#include "host/lv2_preset.h"
#include "host/nearest.h"
#ifdef KORVA_PLOT
#include "host/plot/doc_plots.h"
#include "host/plot/plot_command.h"
#endif
#include "host/words/manual.h"

namespace korva {
namespace {

MaybeExit Effects(const PlainArguments& arguments, Streams& streams) {
  return ListEffects(arguments.Has("--json"), streams.out);
}

template <MaybeExit (*List)(const EffectRow&, bool, std::ostream&)>
MaybeExit OfEffect(const PlainArguments& arguments, Streams& streams) {
  const Outcome<const EffectRow*> effect = FindEffect(arguments.values.front());
  return effect ? List(**effect, arguments.Has("--json"), streams.out) : MaybeExit(effect.earlyExit());
}

MaybeExit State(const PlainArguments& arguments, Streams& streams) {
  if (arguments.Has("--lv2")) {
    return WriteLv2Preset(arguments.values.front(), arguments.Value("--lv2"), streams.in, streams.out);
  }
  const StateForm form = arguments.Has("--text")   ? StateForm::kText
                         : arguments.Has("--json") ? StateForm::kJson
                                                   : StateForm::kTable;
  return DescribeState(arguments.values.front(), streams.in, form, streams.out);
}

MaybeExit Docs(const PlainArguments& arguments, Streams& streams) {
  if (arguments.Has("--man")) return WriteManual(streams.out);
  if (arguments.Has("--bash")) return WriteBashCompletion(streams.out);
#ifdef KORVA_PLOT
  if (arguments.Has("--pictures")) return WriteDocCalls(streams.out);
  if (arguments.Has("--numbers")) return WriteDocNumbers(streams.out);
#endif
  return WriteEffectsDoc(streams.out);
}

MaybeExit RunRender(std::span<const std::string> words, Streams& streams) {
  const Outcome<RenderRequest> request = ParseRender(words);
  return request ? Render(*request, streams) : MaybeExit(request.earlyExit());
}

}  // namespace

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"effects", {}, {"--json"}, "lists the effects, a line each", &Effects},
      {"params",
       {"EFFECT"},
       {"--json"},
       "lists an effect's parameters: name, range, step, default, what they do",
       &OfEffect<&ListParameters>},
      {"presets", {"EFFECT"}, {"--json"}, "lists an effect's presets", &OfEffect<&ListPresets>},
      {"render",
       {"IN", "OUT", "EFFECT"},
       {},
       "takes sound files through a chain of effects; see korva render --help",
       nullptr,
       &RenderOptions,
       &RunRender},
#ifdef KORVA_PLOT
      {"plot",
       {"EFFECT", "OUT"},
       {},
       "draws what an effect or a chain does; see korva plot --help",
       nullptr,
       &PlotOptions,
       &Plot},
#endif
      {"state",
       {"FILE"},
       {"--text", "--json", "--lv2 DIR"},
       "says what a saved effect record holds, with --text as lines that --state reads back, or makes it an LV2 "
       "preset, "
       "a bundle of its own such as ~/.lv2/mine.lv2",
       &State},
      {"docs",
       {},
#ifdef KORVA_PLOT
       {"--man", "--bash", "--pictures", "--numbers"},
       "writes the page of all effects, the manual page, the shell's completion, the calls of the page's pictures or "
       "their numbers",
#else
       {"--man", "--bash"},
       "writes the page of all effects, the manual page or the shell's completion",
#endif
       &Docs},
  };
  return commands;
}

namespace {

std::string Help() {
  std::string text =
      "For example:\n  korva render voice.wav out.wav chorus --preset \"Fast flange 1\"\n\nUsage: korva COMMAND "
      "...\n\n";
  for (const Command& command : Commands()) {
    std::string call = "  korva " + command.name;
    for (const std::string& argument : command.arguments) call += " " + argument;
    if (command.runChain != nullptr) call += "...";
    for (const std::string& option : command.options) call += " [" + option + "]";
    constexpr std::size_t kColumn = 40;
    call += call.size() < kColumn ? std::string(kColumn - call.size(), ' ') : "\n" + std::string(kColumn, ' ');
    text += call + command.summary + "\n";
  }
  return text + "  korva --version";
}

MaybeExit RunCommand(std::span<const std::string> arguments, Streams& streams) {
  std::vector<std::string> names;
  for (const Command& command : Commands()) names.push_back(command.name);
  if (arguments.empty()) return BadCall("a command is needed: " + Joined(names, ", ") + "; see korva --help");
  std::string word = arguments.front();
  std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
  if (word == "--version") return EarlyExit{kDone, "korva " KORVA_VERSION};
  if (word == "--help" || word == "-h" || (word == "help" && rest.empty())) return EarlyExit{kDone, Help()};
  if (word == "help") {
    word = rest.front();
    rest = {"--help"};
  }
  for (const Command& command : Commands()) {
    if (word != command.name) continue;
    if (command.runChain != nullptr) return command.runChain(rest, streams);
    const auto parsed = ParseArguments(command.name, command.summary, command.arguments, command.options, rest);
    return parsed ? command.run(*parsed, streams) : MaybeExit(parsed.earlyExit());
  }
  return BadCall(UnknownName("there is no command", word, names, "the commands are " + Joined(names, ", ")));
}

}  // namespace

int RunKorva(std::span<const std::string> arguments, Streams& streams) {
  MaybeExit exit;
  try {
    exit = RunCommand(arguments, streams);
  } catch (const std::bad_alloc&) {
    exit = Failed("out of memory");
  } catch (const std::exception& error) {
    exit = Failed(error.what());
  }
  if (exit && exit->exitCode != kDone) {
    streams.err << "korva: " << exit->text << "\n";
    return exit->exitCode;
  }
  if (exit) streams.out << exit->text << "\n";
  if (!streams.out.flush()) {
    streams.err << (Interrupted() ? "korva: interrupted\n" : "korva: cannot write to standard output\n");
    return kFailed;
  }
  return kDone;
}

}  // namespace korva
