#include "host/command_line.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <variant>

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

Check TakeFormat(const std::string& text, RenderRequest& request) {
  std::vector<std::string> names;
  for (const FormatName& format : kFormats) {
    names.emplace_back(format.name);
    if (text == format.name) request.format = format.format;
  }
  if (request.format) return std::nullopt;
  return Wrong("--format takes " + Joined(names, ", ") + ", not \"" + text + "\"");
}

Check TakeBlock(const std::string& text, RenderRequest& request) {
  const std::optional<std::int64_t> frames = ParseWhole(text);
  if (!frames || *frames < 1 || *frames > kMostBlockFrames) {
    return Wrong("--block takes 1 to " + std::to_string(kMostBlockFrames) + " frames, not \"" + text + "\"");
  }
  request.blockFrames = static_cast<std::uint32_t>(*frames);
  return std::nullopt;
}

/// An option, and where it goes: a switch, a text, one more text, or what a function makes of it.
template <class Request>
struct Option {
  const char* name;
  const char* value;  // empty for a switch
  const char* help;
  std::variant<bool Request::*, std::string Request::*, std::vector<std::string> Request::*,
               Check (*)(const std::string&, Request&)>
      target;
};

const Option<EffectRequest> kEffectOptions[] = {
    {"--preset", "NAME|INDEX", "built-in preset to start from", &EffectRequest::preset},
    {"--state", "FILE", "record to set all parameters from, after any preset", &EffectRequest::stateFile},
    {"--set", "NAME=VALUE", "one parameter, after preset and record; may be repeated", &EffectRequest::settings},
    {"--automate", "NAME:T0:T1:V0:V1[:CURVE]",
     "moves a parameter from V0 at T0 seconds to V1 at T1; CURVE: linear, square, invsquare, or jump (V0 from T0 on); "
     "may be repeated",
     &EffectRequest::automations},
    {"--save-state", "FILE", "writes the record of this effect as used", &EffectRequest::saveStateFile},
};

const Option<RenderRequest> kRunOptions[] = {
    {"--format", "u8|s16|s32|f32|f64", "sample format inside the chain (default: the input's own)", &TakeFormat},
    {"--block", "FRAMES", "frames in a buffer (default: 4096)", &TakeBlock},
    {"--no-tail", "", "stops with the input and lets nothing ring out", &RenderRequest::noTail},
    {"--tempo", "BPM", "tempo of the song, for effects that follow it", &RenderRequest::tempo},
    {"--meter", "N/D", "meter of the song, 4/4 if not told", &RenderRequest::meter},
    {"--tempo-map", "FILE.mid", "tempos and meters from a MIDI file", &RenderRequest::tempoMap},
    {"--overwrite", "", "replaces files that exist", &RenderRequest::overwrite},
    {"--quiet", "", "says nothing but errors", &RenderRequest::quiet},
};

template <class Request, std::size_t N>
const Option<Request>* Find(const Option<Request> (&options)[N], std::string_view name) {
  const auto* const found = std::find_if(std::begin(options), std::end(options),
                                         [&](const Option<Request>& option) { return name == option.name; });
  return found == std::end(options) ? nullptr : found;
}

template <class Request, std::size_t N>
std::string HelpOf(const Option<Request> (&options)[N]) {
  constexpr std::size_t kColumn = 30, kWidth = 110;
  std::string help;
  for (const Option<Request>& option : options) {
    std::string line = std::string("  ") + option.name + " " + option.value;
    std::istringstream words(option.help);
    if (line.size() >= kColumn) {
      help += line + "\n";
      line.clear();
    }
    line.resize(kColumn, ' ');
    for (std::string word; words >> word;) {
      if (line.size() + 1 + word.size() > kWidth) {
        help += line + "\n";
        line.assign(kColumn, ' ');
      }
      line += " " + word;
    }
    help += line + "\n";
  }
  return help;
}

std::string RenderHelp() {
  return kRenderHelp + ("\nOptions of an effect, after its name:\n" + HelpOf(kEffectOptions)) +
         "\nOptions of the whole run, anywhere:\n" + HelpOf(kRunOptions) + "\nThe effects are " +
         Joined(EffectNames(), ", ") + ".\nkorva params EFFECT lists what can be set.";
}

/// What is left of a call, front first.
using Words = std::span<const std::string>;

/// Takes the option at the front of `words`, and its value, which stands behind it or after a '='.
template <class Request>
Check TakeOption(const Option<Request>& option, Request& request, Words& words) {
  const std::string name = option.name;
  const std::size_t equals = words.front().find('=');
  const bool inOneWord = equals != std::string::npos;
  std::string value = inOneWord ? words.front().substr(equals + 1) : "";
  words = words.subspan(1);
  if (const auto* const flag = std::get_if<bool Request::*>(&option.target)) {
    if (inOneWord) return Wrong(name + " takes no value");
    request.** flag = true;
    return std::nullopt;
  }
  if (!inOneWord && !words.empty()) {
    value = words.front();
    words = words.subspan(1);
  }
  if (value.empty()) return Wrong(name + " needs a value: " + option.value);
  if (const auto* const take = std::get_if<Check (*)(const std::string&, Request&)>(&option.target)) {
    return (*take)(value, request);
  }
  if (const auto* const list = std::get_if<std::vector<std::string> Request::*>(&option.target)) {
    (request.**list).push_back(std::move(value));
    return std::nullopt;
  }
  std::string& text = request.*std::get<std::string Request::*>(option.target);
  if (!text.empty()) return Wrong(name + " is told twice");
  text = std::move(value);
  return std::nullopt;
}

Check TakePosition(std::size_t position, const std::string& word, RenderRequest& request) {
  if (position < 2) {
    (position == 0 ? request.input : request.output) = word;
    return std::nullopt;
  }
  const Outcome<const EffectRow*> effect = FindEffect(word);
  if (!effect) return effect.ending();
  request.effects.emplace_back().effect = *effect;
  return std::nullopt;
}

Check UnknownOption(const std::string& name) {
  std::vector<std::string> names;
  for (const auto& option : kEffectOptions) names.emplace_back(option.name);
  for (const auto& option : kRunOptions) names.emplace_back(option.name);
  return Wrong(UnknownName("there is no option", name, names, "see korva render --help"));
}

}  // namespace

Outcome<RenderRequest> ParseRender(std::span<const std::string> arguments) {
  RenderRequest request;
  std::size_t positions = 0;
  bool onlyPositions = false;
  for (Words words = arguments; !words.empty();) {
    const std::string& word = words.front();
    Check check;
    if (!onlyPositions && word == "--") {
      onlyPositions = true;
      words = words.subspan(1);
    } else if (onlyPositions || word.size() < 2 || word[0] != '-') {
      check = TakePosition(positions++, word, request);
      words = words.subspan(1);
    } else if (word == "--help" || word == "-h") {
      return Ending{kDone, RenderHelp()};
    } else if (const std::string name = word.substr(0, word.find('='));
               const auto* const ofRun = Find(kRunOptions, name)) {
      check = TakeOption(*ofRun, request, words);
    } else if (const auto* const ofEffect = Find(kEffectOptions, name); ofEffect == nullptr) {
      check = UnknownOption(name);
    } else if (request.effects.empty()) {
      check = Wrong(name + " goes behind the name of an effect");
    } else {
      check = TakeOption(*ofEffect, request.effects.back(), words);
    }
    if (check) return *check;
  }
  if (request.effects.empty()) {
    return Wrong("render takes IN, OUT and at least one effect (" + Joined(EffectNames(), ", ") +
                 "); see korva render --help");
  }
  if (!request.tempoMap.empty() && !(request.tempo.empty() && request.meter.empty())) {
    return Wrong("--tempo-map tells tempo and meter; --tempo and --meter cannot stand beside it");
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
