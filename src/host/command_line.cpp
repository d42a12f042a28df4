#include "host/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <type_traits>

#include "audio/format_record.h"
#include "host/nearest.h"
#include "host/number_text.h"

namespace korva {
namespace {

constexpr std::uint32_t kMostBlockFrames = 1U << 24U;

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
  const CLI::App& app() const noexcept { return app_; }
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
        .add_option("--state", request.stateFile,
                    "record, or text of korva state --text, to set all parameters from, after any preset")
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
    app().add_flag("--wet", request.wet, "leaves the dry signal out");
  }
};

struct RunOptions : Options {
  explicit RunOptions(RenderRequest& request) : Options("Options of the whole run, anywhere") {
    const auto value = [&](const char* name, std::string& target, const char* type, const char* text) {
      app().add_option(name, target, text)->type_name(type);
    };
    value("--format", format, "u8|s16|s32|f32|f64",
          "sample format inside the chain: the module's own arithmetic in it (default: f32, or f64 for input of more "
          "bits); the file gets the same type");
    value("--bits", bits, "8|16|24|32|float|double", "sample type of OUT (default: that of IN); narrowing dithers");
    app().add_flag("--no-dither", request.noDither, "narrows samples without noise");
    value("--gain", gain, "DB", "louder or softer before the chain");
    value("--normalize", normalize, "DB", "peak that OUT gets, 0 for full scale");
    value("--trim", trim, "FROM:TO", "only this part of IN, in seconds; either may be left out");
    value("--channels", channels, "N", "1 for the mean of all, more from one");
    value("--rate", rate, "HZ", "sample rate of OUT");
    value("--tail", tail, "SECONDS", "lets the effects ring this long after the input, whatever they count themselves");
    app().add_flag("--no-tail", request.noTail, "stops with the input and lets nothing ring out");
    app().add_flag("--keep-pace", request.keepPace,
                   "pitch-shift and time-stretch hold their length exactly, however long the take");
    value("--tempo", request.tempo, "BPM", "tempo of the song, for effects that follow it");
    value("--meter", request.meter, "N/D", "meter of the song, 4/4 if not told");
    value("--tempo-map", request.tempoMap, "FILE.mid", "tempos and meters from a MIDI file");
    value("--out-dir", request.outDir, "DIR", "folder for the outputs of any number of inputs, under their names");
    value("--ending", request.ending, "EXT", "kind of the files in --out-dir (default: that of each input)");
    value("--jobs", jobs, "N", "files at a time (default: one for each processor)");
    value("--quality", quality, "0..1", "of an encoder: 1 is best, or for FLAC smallest");
    value("--raw-in", rawIn, "RATE:CHANNELS:TYPE", "IN has no header; TYPE is u8, s16, s24, s32, f32 or f64");
    app().add_flag("--raw-out", request.rawOut, "writes OUT without a header");
    value("--block", block, "FRAMES", "frames in a buffer (default: 4096)");
    app().add_flag("--dry-run", request.dryRun, "says what would be done, and does not");
    app().add_flag("--json", request.json, "tells the result as JSON on standard output");
    app().add_flag("--overwrite", request.overwrite, "replaces files that exist");
    app().add_flag("--quiet", request.quiet, "says nothing but errors");
  }
  std::string format, block, bits, gain, normalize, trim, channels, rate, tail, jobs, quality, rawIn;
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
  std::size_t firstEffect = 0;                    // its position
  std::vector<std::vector<std::string>> effects;  // one for each position from there on
};

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

Outcome<RenderParts> CutRender(std::span<const std::string> arguments) {
  RenderRequest request;
  EffectRequest effect;
  const EffectOptions effectOptions(effect);
  const RunOptions runOptions(request);
  RenderParts parts;
  parts.firstEffect = FirstEffect(arguments);
  bool onlyPositions = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& word = arguments[i];
    if (!onlyPositions && word == "--") {
      onlyPositions = true;
      continue;
    }
    if (onlyPositions || word.size() < 2 || word[0] != '-') {
      parts.positions.push_back(word);
      if (parts.positions.size() > parts.firstEffect) parts.effects.emplace_back();
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
  for (const SampleFormat format : kAllFormats) {
    names.emplace_back(FormatName(format));
    if (text == names.back()) request.format = format;
  }
  if (request.format) return std::nullopt;
  return Wrong("--format takes " + Joined(names, ", ") + ", not \"" + text + "\"");
}

Check TakeBits(const std::string& text, RenderRequest& request) {
  if (text.empty()) return std::nullopt;
  std::vector<std::string> names;
  for (const FileBitsName& bits : kFileBits) {
    names.emplace_back(bits.name);
    if (text == bits.name) request.bits = bits.bits;
  }
  if (request.bits) return std::nullopt;
  return Wrong("--bits takes " + Joined(names, ", ") + ", not \"" + text + "\"");
}

/// A number from `least` to `most`; `target` stays where nothing was given.
template <class Number>
Check TakeNumber(const char* name, const std::string& text, double least, double most, const char* unit,
                 Number& target) {
  if (text.empty()) return std::nullopt;
  using Plain = std::remove_cvref_t<decltype(*std::optional<Number>())>;
  constexpr bool kIsWhole = std::is_integral_v<Plain>;
  std::optional<double> value = ParseNumber(text);
  if (kIsWhole && !ParseWhole(text)) value.reset();
  if (!value || *value < least || *value > most) {
    return Wrong(std::string(name) + " takes " + NumberText(least) + " to " + NumberText(most) + unit + ", not \"" +
                 text + "\"");
  }
  if constexpr (kIsWhole)
    target = static_cast<Plain>(*value);
  else
    target = *value;
  return std::nullopt;
}

Check TakeTrim(const std::string& text, InputShape& shape) {
  if (text.empty()) return std::nullopt;
  // A time may hold colons itself; what parts the two then is a minus sign.
  const std::size_t dash = text.find('-');
  const std::size_t cut = dash != std::string::npos ? dash : text.find(':');
  const std::string from = text.substr(0, cut), to = cut == std::string::npos ? "" : text.substr(cut + 1);
  const std::optional<double> start = from.empty() ? 0.0 : ParseDuration(from);
  const std::optional<double> end = to.empty() ? shape.to : ParseDuration(to);
  if (cut == std::string::npos || !start || !end || *end <= *start) {
    return Wrong("--trim takes FROM:TO in seconds, such as 1.5:20, or FROM-TO as times, such as 0:30-1:15, not \"" +
                 text + "\"");
  }
  shape.from = *start;
  shape.to = *end;
  return std::nullopt;
}

Check TakeRaw(const std::string& text, RenderRequest& request) {
  if (text.empty()) return std::nullopt;
  struct RawType {
    const char* name;
    int type;
  };
  constexpr RawType kTypes[] = {{"u8", SF_FORMAT_PCM_U8},  {"s16", SF_FORMAT_PCM_16}, {"s24", SF_FORMAT_PCM_24},
                                {"s32", SF_FORMAT_PCM_32}, {"f32", SF_FORMAT_FLOAT},  {"f64", SF_FORMAT_DOUBLE}};
  const std::size_t one = text.find(':'), two = one == std::string::npos ? one : text.find(':', one + 1);
  RawSound raw;
  if (two != std::string::npos) {
    const std::optional<std::int64_t> rate = ParseWhole(text.substr(0, one));
    const std::optional<std::int64_t> channels = ParseWhole(text.substr(one + 1, two - one - 1));
    for (const RawType& type : kTypes) {
      if (text.substr(two + 1) == type.name) raw.sndfileType = type.type;
    }
    if (rate && *rate > 0 && *rate <= 1'000'000) raw.rate = static_cast<std::uint32_t>(*rate);
    if (channels && *channels > 0 && *channels <= kMaxChannels) raw.channels = static_cast<std::uint32_t>(*channels);
  }
  if (raw.rate == 0 || raw.channels == 0 || raw.sndfileType == 0) {
    return Wrong("--raw-in takes RATE:CHANNELS:TYPE, such as 48000:2:s16, not \"" + text + "\"");
  }
  request.rawIn = raw;
  return std::nullopt;
}

Check TakeValues(const RunOptions& run, RenderRequest& request) {
  double gainDb = 0;
  for (const Check& check :
       {TakeFormat(run.format, request), TakeBits(run.bits, request), TakeTrim(run.trim, request.shape),
        TakeRaw(run.rawIn, request),
        TakeNumber("--block", run.block, 1, kMostBlockFrames, " frames", request.blockFrames),
        TakeNumber("--gain", run.gain, -144, 144, " dB", gainDb),
        TakeNumber("--normalize", run.normalize, -144, 0, " dB", request.normalize),
        TakeNumber("--channels", run.channels, 1, kMaxChannels, " channels", request.shape.channels),
        TakeNumber("--rate", run.rate, 1000, 1e6, " Hz", request.rate),
        TakeNumber("--tail", run.tail, 0, 3600, " s", request.tail),
        TakeNumber("--jobs", run.jobs, 1, 1024, " files", request.jobs),
        TakeNumber("--quality", run.quality, 0, 1, "", request.quality)}) {
    if (check) return check;
  }
  request.shape.gain = std::pow(10.0, gainDb / 20);
  if (request.tail && request.noTail) return Wrong("--tail and --no-tail say the opposite");
  if (!request.tempoMap.empty() && !(request.tempo.empty() && request.meter.empty())) {
    return Wrong("--tempo-map tells tempo and meter; --tempo and --meter cannot stand beside it");
  }
  return std::nullopt;
}

}  // namespace

std::vector<OptionText> RenderOptions() {
  RenderRequest request;
  EffectRequest effect;
  const EffectOptions ofEffect(effect);
  const RunOptions ofRun(request);
  std::vector<OptionText> texts;
  for (const Options* options : {static_cast<const Options*>(&ofEffect), static_cast<const Options*>(&ofRun)}) {
    for (const CLI::Option* option : options->app().get_options()) {
      const bool isSwitch = option->get_items_expected_max() == 0;
      texts.push_back({"--" + option->get_lnames().front(), isSwitch ? std::string() : option->get_type_name(),
                       option->get_description(), options == &ofEffect});
    }
  }
  return texts;
}

Outcome<RenderRequest> ParseRender(std::span<const std::string> arguments) {
  const Outcome<RenderParts> parts = CutRender(arguments);
  if (!parts) return parts.ending();
  RenderRequest request;
  RunOptions run(request);
  if (Check check = run.Parse(parts->run, "")) return *check;
  if (Check check = TakeValues(run, request)) return *check;
  const std::vector<std::string>& positions = parts->positions;
  if (positions.size() <= parts->firstEffect || parts->firstEffect == 0) {
    return Wrong("render takes IN, OUT and at least one effect (" + Joined(EffectNames(), ", ") +
                 "); see korva render --help");
  }
  const auto firstEffect = positions.begin() + static_cast<std::ptrdiff_t>(parts->firstEffect);
  if (request.outDir.empty()) {
    if (!request.ending.empty()) return Wrong("--ending goes with --out-dir; OUT has its own ending");
    request.inputs = {positions[0]};
    request.output = positions[1];
  } else {
    request.inputs.assign(positions.begin(), firstEffect);
    if (std::find(request.inputs.begin(), request.inputs.end(), "-") != request.inputs.end()) {
      return Wrong("standard input has no name to write in --out-dir under");
    }
  }
  for (std::size_t i = 0; i < parts->effects.size(); ++i) {
    const std::string& name = positions[parts->firstEffect + i];
    const Outcome<const EffectRow*> effect = FindEffect(name);
    if (!effect) return effect.ending();
    EffectRequest one;
    one.effect = *effect;
    EffectOptions options(one);
    if (Check check = options.Parse(parts->effects[i], name + ": ")) return *check;
    if (!one.saveStateFile.empty() && request.inputs.size() > 1) return Wrong("--save-state is for one input");
    request.effects.push_back(std::move(one));
  }
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
    if (word == "--help" || word == "-h") return Ending{kDone, "Usage: " + usage + "\n\n" + summary};
    if (word.size() < 2 || word[0] != '-') {
      parsed.values.push_back(word);
      continue;
    }
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const auto option = std::find_if(options.begin(), options.end(), [&](const std::string& candidate) {
      return candidate.substr(0, candidate.find(' ')) == name;
    });
    if (option == options.end()) return Wrong(command + " has no option " + word);
    if (parsed.Has(name)) return Wrong(name + " is told twice");
    std::string value = equals != std::string::npos ? word.substr(equals + 1) : std::string();
    if (const std::size_t space = option->find(' '); space != std::string::npos) {
      if (equals == std::string::npos && i + 1 < arguments.size()) value = arguments[++i];
      if (value.empty()) return Wrong(name + " needs a value: " + option->substr(space + 1));
    } else if (equals != std::string::npos) {
      return Wrong(name + " takes no value");
    }
    parsed.options[name] = value;
  }
  if (parsed.values.size() != names.size()) return Wrong("the call is " + usage);
  return parsed;
}

}  // namespace korva
