#include "host/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "host/nearest.h"
#include "host/number_text.h"

namespace korva {
namespace {

constexpr std::uint32_t kMostBlockFrames = 1U << 24U;

struct FormatName {
  const char* name;
  SampleFormat format;
};
constexpr FormatName kFormats[] = {
    {"u8", SampleFormat::kPcm8},     {"s16", SampleFormat::kPcm16},   {"s32", SampleFormat::kPcm32},
    {"f32", SampleFormat::kFloat32}, {"f64", SampleFormat::kFloat64},
};

constexpr const char* kRenderHelp =
    R"(For example:
  korva render voice.wav out.wav chorus --preset "Fast flange 1"
  korva render voice.wav out.flac chorus --set delay=20 --set feedback=40 reverb
  korva render voice.wav out.wav chorus --automate mod-rate:0:5:0.2:6
  cat voice.wav | korva render - - chorus --quiet > out.wav

Usage: korva render IN OUT EFFECT [OPTIONS] [EFFECT [OPTIONS]] ...

Runs a sound file through one effect or a chain of them, left to right. IN and OUT are files; - is a WAV stream on
standard input or output. The ending of OUT says what file to write. OUT keeps the rate and the channels of IN.
)";

/// The options of a call, as CLI11 keeps them, where their help and their number of values stand.
class Options {
 public:
  explicit Options(const std::string& group) {
    app_.set_help_flag();
    app_.option_defaults()->group(group);
  }
  CLI::App& app() noexcept { return app_; }

  const CLI::Option* Find(const std::string& name) const {
    for (const CLI::Option* option : app_.get_options()) {
      if (option->check_lname(name)) return option;
    }
    return nullptr;
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const CLI::Option* option : app_.get_options()) names.push_back("--" + option->get_lnames().front());
    return names;
  }
  std::string Help() const { return CLI::Formatter().make_groups(&app_, CLI::AppFormatMode::Normal); }

  Check Parse(std::vector<std::string> tokens, const std::string& who) {
    // The library takes them from the back.
    std::reverse(tokens.begin(), tokens.end());
    try {
      app_.parse(std::move(tokens));
    } catch (const CLI::ParseError& error) {
      return Wrong(who + error.what());
    }
    return std::nullopt;
  }

 private:
  CLI::App app_;
};

struct EffectOptions : Options {
  explicit EffectOptions(EffectRequest& request) : Options("Options of an effect, after its name") {
    app().add_option("--preset", request.preset, "built-in preset to start from")->type_name("NAME|INDEX");
    app()
        .add_option("--state", request.stateFile, "record to set all parameters from, after any preset")
        ->type_name("FILE");
    app()
        .add_option("--set", request.settings, "one parameter, after preset and record; may be repeated")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app()
        .add_option("--automate", request.automations,
                    "moves a parameter from V0 at T0 seconds to V1 at T1; CURVE: linear, square, invsquare, or "
                    "jump (V0 from T0 on); may be repeated")
        ->type_name("NAME:T0:T1:V0:V1[:CURVE]")
        ->allow_extra_args(false);
    app()
        .add_option("--save-state", request.saveStateFile, "writes the record of this effect as used")
        ->type_name("FILE");
  }
};

struct RunOptions : Options {
  explicit RunOptions(RenderRequest& request) : Options("Options of the whole run, anywhere") {
    app()
        .add_option("--format", format, "sample format inside the chain (default: the input's own)")
        ->type_name("u8|s16|s32|f32|f64");
    app().add_option("--block", block, "frames in a buffer (default: 4096)")->type_name("FRAMES");
    app().add_flag("--no-tail", request.noTail, "stops with the input and lets nothing ring out");
    app().add_flag("--keep-pace", request.keepPace,
                   "pitch-shift and time-stretch hold their length exactly, however long the take");
    app().add_option("--tempo", request.tempo, "tempo of the song, for effects that follow it")->type_name("BPM");
    app().add_option("--meter", request.meter, "meter of the song, 4/4 if not told")->type_name("N/D");
    app().add_option("--tempo-map", request.tempoMap, "tempos and meters from a MIDI file")->type_name("FILE.mid");
    app().add_flag("--overwrite", request.overwrite, "replaces files that exist");
    app().add_flag("--quiet", request.quiet, "says nothing but errors");
  }
  std::string format, block;
};

std::string RenderHelp() {
  RenderRequest request;
  EffectRequest effect;
  return std::string(kRenderHelp) + EffectOptions(effect).Help() + RunOptions(request).Help() + "\nThe effects are " +
         Joined(EffectNames(), ", ") + ". korva params EFFECT lists what can be set.";
}

/// A call cut into its parts: each effect's options stand behind its name, those of the run anywhere.
struct RenderParts {
  std::vector<std::string> positions;
  std::vector<std::string> run;
  std::vector<std::vector<std::string>> effects;  // one for each position from the third on
};

constexpr std::size_t kFirstEffect = 2;  // after IN and OUT

Outcome<RenderParts> CutRender(std::span<const std::string> arguments) {
  RenderRequest request;
  EffectRequest effect;
  const EffectOptions effectOptions(effect);
  const RunOptions runOptions(request);
  RenderParts parts;
  bool onlyPositions = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& word = arguments[i];
    if (!onlyPositions && word == "--") {
      onlyPositions = true;
      continue;
    }
    if (onlyPositions || word.size() < 2 || word[0] != '-') {
      parts.positions.push_back(word);
      if (parts.positions.size() > kFirstEffect) parts.effects.emplace_back();
      continue;
    }
    if (word == "--help" || word == "-h") return Ending{kDone, RenderHelp()};
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const std::string bare = name.substr(0, 2) == "--" ? name.substr(2) : std::string();
    const CLI::Option* const ofRun = runOptions.Find(bare);
    const CLI::Option* const ofEffect = effectOptions.Find(bare);
    const CLI::Option* const option = ofRun != nullptr ? ofRun : ofEffect;
    if (option == nullptr) {
      std::vector<std::string> names = effectOptions.Names();
      for (std::string& known : runOptions.Names()) names.push_back(std::move(known));
      return Wrong(UnknownName("there is no option", name, names, "see korva render --help"));
    }
    if (ofEffect != nullptr && parts.effects.empty()) return Wrong(name + " goes behind the name of an effect");
    std::vector<std::string>& target = ofRun != nullptr ? parts.run : parts.effects.back();
    // Said here in the user's words, where the library would say how many values it counted.
    const int values = option->get_items_expected_max();
    if (values == 0) {
      if (equals != std::string::npos) return Wrong(name + " takes no value");
      if (std::find(target.begin(), target.end(), name) == target.end()) target.push_back(name);
      continue;
    }
    std::string value = equals != std::string::npos ? word.substr(equals + 1) : std::string();
    if (equals == std::string::npos && i + 1 < arguments.size()) value = arguments[++i];
    if (value.empty()) return Wrong(name + " needs a value: " + option->get_type_name());
    const auto sameOption = [&](const std::string& told) { return told.compare(0, name.size() + 1, name + "=") == 0; };
    if (values == 1 && std::any_of(target.begin(), target.end(), sameOption)) return Wrong(name + " is told twice");
    // In one word, so that a value may begin with a dash.
    target.push_back(name + "=" + value);
  }
  return parts;
}

Check TakeFormat(const std::string& text, RenderRequest& request) {
  if (text.empty()) return std::nullopt;
  std::vector<std::string> names;
  for (const FormatName& format : kFormats) {
    names.emplace_back(format.name);
    if (text == format.name) request.format = format.format;
  }
  if (request.format) return std::nullopt;
  return Wrong("--format takes " + Joined(names, ", ") + ", not \"" + text + "\"");
}

Check TakeBlock(const std::string& text, RenderRequest& request) {
  if (text.empty()) return std::nullopt;
  const std::optional<std::int64_t> frames = ParseWhole(text);
  if (!frames || *frames < 1 || *frames > kMostBlockFrames) {
    return Wrong("--block takes 1 to " + std::to_string(kMostBlockFrames) + " frames, not \"" + text + "\"");
  }
  request.blockFrames = static_cast<std::uint32_t>(*frames);
  return std::nullopt;
}

}  // namespace

Outcome<RenderRequest> ParseRender(std::span<const std::string> arguments) {
  const Outcome<RenderParts> parts = CutRender(arguments);
  if (!parts) return parts.ending();
  if (parts->positions.size() <= kFirstEffect) {
    return Wrong("render takes IN, OUT and at least one effect (" + Joined(EffectNames(), ", ") +
                 "); see korva render --help");
  }
  RenderRequest request;
  request.input = parts->positions[0];
  request.output = parts->positions[1];
  RunOptions run(request);
  if (Check check = run.Parse(parts->run, "")) return *check;
  if (Check check = TakeFormat(run.format, request)) return *check;
  if (Check check = TakeBlock(run.block, request)) return *check;
  if (!request.tempoMap.empty() && !(request.tempo.empty() && request.meter.empty())) {
    return Wrong("--tempo-map tells tempo and meter; --tempo and --meter cannot stand beside it");
  }
  for (std::size_t i = 0; i < parts->effects.size(); ++i) {
    const Outcome<const EffectRow*> effect = FindEffect(parts->positions[kFirstEffect + i]);
    if (!effect) return effect.ending();
    EffectRequest one;
    one.effect = *effect;
    EffectOptions options(one);
    if (Check check = options.Parse(parts->effects[i], parts->positions[kFirstEffect + i] + ": ")) return *check;
    request.effects.push_back(std::move(one));
  }
  return request;
}

Outcome<std::vector<std::string>> ParseArguments(const std::string& command, const std::string& summary,
                                                 std::span<const std::string> names,
                                                 std::span<const std::string> arguments) {
  std::string usage = "korva " + command;
  for (const std::string& name : names) usage += " " + name;
  for (const std::string& argument : arguments) {
    if (argument == "--help" || argument == "-h") return Ending{kDone, "Usage: " + usage + "\n\n" + summary};
    if (argument.size() > 1 && argument[0] == '-') return Wrong(command + " has no option " + argument);
  }
  if (arguments.size() != names.size()) return Wrong("the call is " + usage);
  return std::vector<std::string>(arguments.begin(), arguments.end());
}

}  // namespace korva
