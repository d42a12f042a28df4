#include "host/plot/plot_line.h"

#include <algorithm>

#include "host/command_options.h"
#include "host/nearest.h"

namespace korva {
namespace {

constexpr const char* kPlotHelp =
    R"(For example:
  korva plot reverb --preset Cathedral cathedral.png
  korva plot chorus --preset "Hard flange" --response flange.svg
  korva plot --spectrogram --in voice.wav pitch-shift --set semitones=4 higher.png
  korva plot --automation chorus --automate mod-rate:0:5:0.2:6 moves.png
  korva plot --compare "Small hall" "Long hall" reverb halls.png

Usage: korva plot [KIND] EFFECT [OPTIONS] [EFFECT [OPTIONS]] ... OUT.png|OUT.svg
       korva plot [KIND] --compare A B [EFFECT [OPTIONS]] OUT.png|OUT.svg

Draws what an effect or a chain does, by running it: what comes back from one impulse, its response over frequency, the
spectrum over time, or its moving parameters. Two sound files or two presets lie over one another with --compare.
)";

struct PlotLineOptions : StreamOptions {
  explicit PlotLineOptions(PlotRequest& request) : StreamOptions(request.run) {
    StartGroup("Options of plot, anywhere");
    app().add_flag("--impulse", impulse, "what comes back from one impulse: levels, echoes, the tail (the default)");
    app().add_flag("--response", response, "level over frequency; of an effect that swings, at three times of a cycle");
    app().add_flag("--spectrogram", spectrogram, "spectrum over time of a sweep or of --in, before and after");
    app().add_flag("--automation", automation, "what --automate moves: as told, and as the effect takes it");
    app()
        .add_option("--compare", request.compared,
                    "two sound files, two presets of the effect that is named, or EFFECT:PRESET twice")
        ->type_name("A B")
        ->allow_extra_args(false);
    AddValue("--in", input, "FILE", "sound file for --spectrogram");
    AddValue("--rate", rate, "HZ", "sample rate where there is no file (default: 48000)");
    app().add_flag("--dark", request.look.isDark, "light on dark");
    AddValue("--size", size, "WIDTHxHEIGHT", "size of the picture (default: 800x450)");
    AddValue("--scale", scale, "N", "pixels for each unit of the size, 1 to 4 (default: 1)");
  }
  bool impulse = false, response = false, spectrogram = false, automation = false;
  std::string input, size, scale;
};

std::string PlotHelp() {
  PlotRequest request;
  return ChainHelp(kPlotHelp, PlotLineOptions(request));
}

/// A word as a shell takes it: in double quotes as people write them, or in single ones where a shell would read on
/// between those.
std::string ShellWord(const std::string& word) {
  const bool isPlain = !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (static_cast<unsigned char>(c) & 0x80U) != 0 ||
           std::string_view("-_./:=%+,@").find(c) != std::string_view::npos;
  });
  if (isPlain) return word;
  if (word.find_first_of("\"$`\\!") == std::string::npos) return "\"" + word + "\"";
  std::string quoted = "'";
  for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

/// The call without its output and without what is only about files and looks.
std::string TitleOf(std::span<const std::string> arguments, const std::string& output) {
  std::size_t last = arguments.size();
  while (last > 0 && arguments[last - 1] != output) --last;
  std::string title = "korva plot";
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& word = arguments[i];
    if (i + 1 == last || word == "--" || word == "--overwrite" || word == "--quiet" || word == "--dark") continue;
    if (word.starts_with("--size=") || word.starts_with("--scale=")) continue;
    if (word == "--size" || word == "--scale") {
      ++i;
      continue;
    }
    title += " " + ShellWord(word);
  }
  return title;
}

MaybeExit TakeKind(const PlotLineOptions& line, PlotRequest& request) {
  const std::pair<bool, PlotKind> kinds[] = {{line.impulse, PlotKind::kImpulse},
                                             {line.response, PlotKind::kResponse},
                                             {line.spectrogram, PlotKind::kSpectrogram},
                                             {line.automation, PlotKind::kAutomation}};
  for (const auto& [isTold, kind] : kinds) {
    if (!isTold) continue;
    if (request.kindIsTold) {
      return BadCall("a picture is one of --impulse, --response, --spectrogram and --automation");
    }
    request.kind = kind;
    request.kindIsTold = true;
  }
  return std::nullopt;
}

MaybeExit TakeSize(const std::string& text, Look& look) {
  if (text.empty()) return std::nullopt;
  constexpr std::int64_t kLeastWidth = 320, kLeastHeight = 200, kMost = 4096;
  const std::size_t cut = text.find('x');
  const std::optional<std::int64_t> width = ParseWhole(text.substr(0, cut));
  const std::optional<std::int64_t> height = cut == std::string::npos ? std::nullopt : ParseWhole(text.substr(cut + 1));
  if (!width || !height || *width < kLeastWidth || *height < kLeastHeight || *width > kMost || *height > kMost) {
    return BadCall("--size takes WIDTHxHEIGHT from 320x200 to 4096x4096, such as 800x450, not \"" + text + "\"");
  }
  look.width = static_cast<int>(*width);
  look.height = static_cast<int>(*height);
  return std::nullopt;
}

MaybeExit TakeOutput(const std::string& path, PlotRequest& request) {
  const std::string extension = ExtensionOf(path);
  if (path != "-" && extension != "png" && extension != "svg") {
    return BadCall("plot writes a picture, so its last word is a name that ends in .png or .svg, not \"" + path + "\"");
  }
  request.run.output = path;
  request.look.isSvg = extension == "svg";
  return std::nullopt;
}

/// What cannot go together.
MaybeExit CheckPlot(const PlotLineOptions& line, const PlotRequest& request) {
  const RenderRequest& run = request.run;
  const bool compares = !request.compared.empty();
  if (!compares && run.effects.empty()) {
    return BadCall("plot takes an effect (" + Joined(EffectNames(), ", ") +
                   ") and OUT.png or OUT.svg; see korva plot --help");
  }
  if (compares && run.effects.size() > 1)
    return BadCall("--compare takes presets of one effect; the call names several");
  if (compares && request.kind == PlotKind::kAutomation)
    return BadCall("--automation draws one call; it has no --compare");
  if (!line.input.empty() && (request.kind != PlotKind::kSpectrogram || compares)) {
    return BadCall("--in goes with --spectrogram; two sounds are drawn by --compare A B");
  }
  if (!line.input.empty() && !line.rate.empty())
    return BadCall("--rate is for a picture without a file; --in has its own");
  for (const auto& [name, value] : {std::pair("--trim", &line.trim), std::pair("--raw-in", &line.rawIn)}) {
    if (!value->empty() && line.input.empty()) return BadCall(std::string(name) + " goes with --in");
  }
  for (const EffectRequest& effect : run.effects) {
    if (!effect.saveStateFile.empty()) return BadCall("--save-state goes with render; a picture leaves no record");
    if (compares && !effect.preset.empty())
      return BadCall("--compare tells the presets; --preset cannot stand beside it");
    for (const std::string* read : {&effect.stateFile, &line.input, &run.tempoMap}) {
      if (read->empty() || *read == "-" || run.output == "-") continue;
      if (SameFile(*read, run.output)) return BadCall(run.output + " is what is read");
    }
    if (effect.stateFile == "-" && line.input == "-") return BadCall("standard input cannot be read twice");
  }
  const auto moves = [](const EffectRequest& effect) { return !effect.automations.empty(); };
  if (request.kind == PlotKind::kAutomation && std::none_of(run.effects.begin(), run.effects.end(), moves)) {
    return BadCall(
        "--automation draws what --automate moves, and the call moves nothing; such as --automate "
        "mod-rate:0:5:0.2:6 behind chorus");
  }
  return std::nullopt;
}

}  // namespace

std::vector<OptionText> PlotOptions() {
  PlotRequest request;
  return ChainOptions(PlotLineOptions(request));
}

Outcome<PlotRequest> ParsePlot(std::span<const std::string> arguments) {
  PlotRequest request;
  PlotLineOptions line(request);
  const Outcome<CallParts> parts = CutCall(arguments, "plot", line, 0, &PlotHelp);
  if (!parts) return parts.earlyExit();
  if (MaybeExit check = line.Parse(parts->run, "")) return *check;
  double scale = 1;
  for (const MaybeExit& check :
       {line.TakeStream(request.run), TakeKind(line, request), TakeSize(line.size, request.look),
        TakeNumber("--scale", line.scale, 1, 4, "", scale)}) {
    if (check) return *check;
  }
  request.look.scale = scale;
  if (parts->positions.empty()) {
    return BadCall("plot takes an effect (" + Joined(EffectNames(), ", ") +
                   ") and OUT.png or OUT.svg; see korva plot --help");
  }
  const std::string& output = parts->positions.back();
  if (!parts->effects.back().empty()) {
    const std::string& option = parts->effects.back().front();
    return BadCall(option.substr(0, option.find('=')) + " goes behind the name of an effect, in front of OUT");
  }
  Outcome<std::vector<EffectRequest>> effects = ParseEffects(*parts, parts->positions.size() - 1);
  if (!effects) return effects.earlyExit();
  request.run.effects = std::move(*effects);
  if (MaybeExit check = TakeOutput(output, request)) return *check;
  if (!line.input.empty()) request.run.inputs = {line.input};
  if (MaybeExit check = CheckPlot(line, request)) return *check;
  request.title = TitleOf(arguments, output);
  return request;
}

}  // namespace korva
