#include "host/command_line.h"

#include <algorithm>

#include "host/command_options.h"
#include "host/nearest.h"

namespace korva {
namespace {

constexpr const char* kRenderHelp =
    R"(For example:
  korva render voice.wav out.wav chorus --preset "Fast flange 1"
  korva render voice.wav out.flac chorus --set delay=20 --set feedback=40 reverb
  korva render voice.wav out.wav chorus --automate mod-rate:0:5:0.2:6
  korva render *.wav --out-dir wet --ending flac reverb --preset Cathedral
  cat voice.wav | korva render - - chorus --quiet > out.wav

Usage: korva render IN OUT EFFECT [OPTIONS] [EFFECT [OPTIONS]] ...
       korva render IN... --out-dir DIR EFFECT [OPTIONS] [EFFECT [OPTIONS]] ...

Runs sound files through one effect or a chain of them, left to right. IN and OUT are files; - is a WAV stream on
standard input or output. The ending of OUT says what file to write. The chain runs in 32-bit float, and OUT keeps the
rate, the channels and the sample type of IN, its tags, and its marks where they stay true.
)";

/// What only `render` takes beside.
struct RunOptions : StreamOptions {
  explicit RunOptions(RenderRequest& request) : StreamOptions(request) {
    StartGroup("Options of render, anywhere");
    AddValue("--bits", bits, "8|16|24|32|float|double", "sample type of OUT (default: that of IN); narrowing dithers");
    app().add_flag("--no-dither", request.noDither, "narrows samples without noise");
    AddValue("--normalize", normalize, "DB", "peak that OUT gets, 0 for full scale");
    AddValue("--rate", rate, "HZ", "sample rate of OUT");
    AddValue("--out-dir", request.outDir, "DIR", "folder for the outputs of any number of inputs, under their names");
    AddValue("--ending", request.extension, "EXT", "kind of the files in --out-dir (default: that of each input)");
    AddValue("--jobs", jobs, "N", "files at a time (default: one for each processor)");
    AddValue("--quality", quality, "0..1", "of an encoder: 1 is best, or for FLAC smallest");
    app().add_flag("--raw-out", request.rawOut, "writes OUT without a header");
    app().add_flag("--dry-run", request.dryRun, "says what would be done, and does not");
    app().add_flag("--json", request.json, "tells the result as JSON on standard output");
  }
  std::string bits, normalize, jobs, quality;
};

std::string RenderHelp() {
  RenderRequest request;
  return ChainHelp(kRenderHelp, RunOptions(request));
}

/// Where the effects begin: after IN and OUT, or with a folder for the outputs at the first word that names one.
std::size_t FirstEffect(std::span<const std::string> arguments) {
  constexpr std::size_t kAfterInAndOut = 2;
  const auto isFolder = [](const std::string& word) { return word == "--out-dir" || word.starts_with("--out-dir="); };
  const auto folder = std::find_if(arguments.begin(), arguments.end(), isFolder);
  if (folder == arguments.end()) return kAfterInAndOut;
  std::size_t inputs = 0;
  RenderRequest scratch;
  const RunOptions options(scratch);
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& word = arguments[i];
    if (word.size() < 2 || word[0] != '-') {
      if (FindEffect(word)) return inputs;
      ++inputs;
    } else if (const CLI::Option* option = options.Find(word.substr(std::min<std::size_t>(word.size(), 2)));
               option != nullptr && option->get_items_expected_max() != 0) {
      ++i;
    }
  }
  return inputs;
}

MaybeExit TakeValues(const RunOptions& run, RenderRequest& request) {
  for (const MaybeExit& check : {run.TakeStream(request),
                                 TakeName("--bits", run.bits, kFileBits, &FileBitsName::name,
                                          [&](const FileBitsName& one) { request.bits = one.bits; }),
                                 TakeNumber("--normalize", run.normalize, -144, 0, " dB", request.normalize),
                                 TakeNumber("--jobs", run.jobs, 1, 1024, " files", request.jobs),
                                 TakeNumber("--quality", run.quality, 0, 1, "", request.quality)}) {
    if (check) return check;
  }
  return std::nullopt;
}

}  // namespace

std::vector<OptionText> RenderOptions() {
  RenderRequest request;
  return ChainOptions(RunOptions(request));
}

Outcome<RenderRequest> ParseRender(std::span<const std::string> arguments) {
  RenderRequest request;
  RunOptions run(request);
  const Outcome<CallParts> parts = CutCall(arguments, "render", run, FirstEffect(arguments), &RenderHelp);
  if (!parts) return parts.earlyExit();
  if (MaybeExit check = run.Parse(parts->run, "")) return *check;
  if (MaybeExit check = TakeValues(run, request)) return *check;
  if (request.json && request.dryRun) return BadCall("--json tells a result, and a --dry-run has none");
  const std::vector<std::string>& positions = parts->positions;
  if (positions.size() <= parts->firstEffect || parts->firstEffect == 0) {
    return BadCall("render takes IN, OUT and at least one effect (" + Joined(EffectNames(), ", ") +
                   "); see korva render --help");
  }
  const auto firstEffect = positions.begin() + static_cast<std::ptrdiff_t>(parts->firstEffect);
  if (request.outDir.empty()) {
    if (!request.extension.empty()) return BadCall("--ending goes with --out-dir; OUT has its own ending");
    request.inputs = {positions[0]};
    request.output = positions[1];
  } else {
    request.inputs.assign(positions.begin(), firstEffect);
    if (std::find(request.inputs.begin(), request.inputs.end(), "-") != request.inputs.end()) {
      return BadCall("standard input has no name to write in --out-dir under");
    }
  }
  Outcome<std::vector<EffectRequest>> effects = ParseEffects(*parts, parts->effects.size());
  if (!effects) return effects.earlyExit();
  for (const EffectRequest& one : *effects) {
    if (!one.saveStateFile.empty() && request.inputs.size() > 1) return BadCall("--save-state is for one input");
  }
  request.effects = std::move(*effects);
  return request;
}

Outcome<PlainArguments> ParseArguments(const std::string& command, const std::string& summary,
                                       std::span<const std::string> names, std::span<const std::string> options,
                                       std::span<const std::string> arguments) {
  std::string usage = "korva " + command;
  for (const std::string& name : names) usage += " " + name;
  for (const std::string& option : options) usage += " [" + option + "]";
  PlainArguments parsed;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& word = arguments[i];
    if (word == "--help" || word == "-h") return EarlyExit{kDone, "Usage: " + usage + "\n\n" + summary};
    if (word.size() < 2 || word[0] != '-') {
      parsed.values.push_back(word);
      continue;
    }
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const auto option = std::find_if(options.begin(), options.end(), [&](const std::string& candidate) {
      return candidate.substr(0, candidate.find(' ')) == name;
    });
    if (option == options.end()) return BadCall(command + " has no option " + word);
    if (parsed.Has(name)) return BadCall(name + " is told twice");
    std::string value = equals != std::string::npos ? word.substr(equals + 1) : std::string();
    if (const std::size_t space = option->find(' '); space != std::string::npos) {
      if (equals == std::string::npos && i + 1 < arguments.size()) value = arguments[++i];
      if (value.empty()) return BadCall(name + " needs a value: " + option->substr(space + 1));
    } else if (equals != std::string::npos) {
      return BadCall(name + " takes no value");
    }
    parsed.options[name] = value;
  }
  if (parsed.values.size() != names.size()) return BadCall("the call is " + usage);
  return parsed;
}

}  // namespace korva
