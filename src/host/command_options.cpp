#include "host/command_options.h"

#include <algorithm>
#include <cmath>

#include "audio/format_record.h"
#include "host/nearest.h"

namespace korva {
namespace {

constexpr std::uint32_t kMostBlockFrames = 1U << 24U;

}  // namespace

const CLI::Option* Options::Find(const std::string& name) const {
  for (const CLI::Option* option : app_.get_options()) {
    if (option->check_lname(name)) return option;
  }
  return nullptr;
}

std::vector<std::string> Options::Names() const {
  std::vector<std::string> names;
  for (const CLI::Option* option : app_.get_options()) names.push_back("--" + option->get_lnames().front());
  return names;
}

std::vector<OptionText> Options::Texts() const {
  std::vector<OptionText> texts;
  for (const CLI::Option* option : app_.get_options()) {
    const bool isSwitch = option->get_items_expected_max() == 0;
    texts.push_back({"--" + option->get_lnames().front(), isSwitch ? std::string() : option->get_type_name(),
                     option->get_description(), option->get_group()});
  }
  return texts;
}

MaybeExit Options::Parse(std::vector<std::string> tokens, const std::string& who) {
  // The library takes them from the back.
  std::reverse(tokens.begin(), tokens.end());
  try {
    app_.parse(std::move(tokens));
  } catch (const CLI::ParseError& error) {
    return BadCall(who + error.what());
  }
  return std::nullopt;
}

EffectOptions::EffectOptions(EffectRequest& request) : Options("Options of an effect, after its name") {
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

StreamOptions::StreamOptions(RenderRequest& request) : Options("Options of the whole run, anywhere") {
  AddValue("--format", format, "u8|s16|s32|f32|f64",
           "sample format inside the chain: the module's own arithmetic in it (default: f32, or f64 for input of more "
           "bits); a sound file that is written gets the same type");
  AddValue("--gain", gain, "DB", "louder or softer before the chain");
  AddValue("--trim", trim, "FROM:TO", "only this part of the input, in seconds; either may be left out");
  AddValue("--channels", channels, "N", "1 for the mean of all, more from one");
  AddValue("--tail", tail, "SECONDS",
           "lets the effects ring this long after the input, whatever they count themselves");
  app().add_flag("--no-tail", request.noTail, "stops with the input and lets nothing ring out");
  app().add_flag("--keep-pace", request.keepPace,
                 "pitch-shift and time-stretch hold their length exactly, however long the take");
  AddValue("--tempo", request.tempo, "BPM", "tempo of the song, for effects that follow it");
  AddValue("--meter", request.meter, "N/D", "meter of the song, 4/4 if not told");
  AddValue("--tempo-map", request.tempoMap, "FILE.mid", "tempos and meters from a MIDI file");
  AddValue("--raw-in", rawIn, "RATE:CHANNELS:TYPE", "the input has no header; TYPE is u8, s16, s24, s32, f32 or f64");
  AddValue("--block", block, "FRAMES", "frames in a buffer (default: 4096)");
  app().add_flag("--overwrite", request.overwrite, "replaces files that exist");
  app().add_flag("--quiet", request.quiet, "says nothing but errors");
}

namespace {

MaybeExit TakeTrim(const std::string& text, InputShape& shape) {
  if (text.empty()) return std::nullopt;
  // A time may hold colons itself; what parts the two then is a minus sign.
  const std::size_t dash = text.find('-');
  const std::size_t cut = dash != std::string::npos ? dash : text.find(':');
  const std::string from = text.substr(0, cut), to = cut == std::string::npos ? "" : text.substr(cut + 1);
  const std::optional<double> start = from.empty() ? 0.0 : ParseDuration(from);
  const std::optional<double> end = to.empty() ? shape.to : ParseDuration(to);
  if (cut == std::string::npos || !start || !end || *end <= *start) {
    return BadCall("--trim takes FROM:TO in seconds, such as 1.5:20, or FROM-TO as times, such as 0:30-1:15, not \"" +
                   text + "\"");
  }
  shape.from = *start;
  shape.to = *end;
  return std::nullopt;
}

MaybeExit TakeRaw(const std::string& text, RenderRequest& request) {
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
    return BadCall("--raw-in takes RATE:CHANNELS:TYPE, such as 48000:2:s16, not \"" + text + "\"");
  }
  request.rawIn = raw;
  return std::nullopt;
}

}  // namespace

MaybeExit StreamOptions::TakeStream(RenderRequest& request) const {
  double gainDb = 0;
  for (const MaybeExit& check :
       {TakeName("--format", format, kAllFormats, &FormatName, [&](SampleFormat one) { request.format = one; }),
        TakeTrim(trim, request.shape), TakeRaw(rawIn, request),
        TakeNumber("--block", block, 1, kMostBlockFrames, " frames", request.blockFrames),
        TakeNumber("--gain", gain, -144, 144, " dB", gainDb),
        TakeNumber("--channels", channels, 1, kMaxChannels, " channels", request.shape.channels),
        TakeNumber("--rate", rate, 1000, 1e6, " Hz", request.rate),
        TakeNumber("--tail", tail, 0, 3600, " s", request.tail)}) {
    if (check) return check;
  }
  request.shape.gain = std::pow(10.0, gainDb / 20);
  if (request.tail && request.noTail) return BadCall("--tail and --no-tail say the opposite");
  if (!request.tempoMap.empty() && !(request.tempo.empty() && request.meter.empty())) {
    return BadCall("--tempo-map tells tempo and meter; --tempo and --meter cannot stand beside it");
  }
  return std::nullopt;
}

Outcome<CallParts> CutCall(std::span<const std::string> arguments, const std::string& command,
                           const Options& runOptions, std::size_t firstEffect,
                           const std::function<std::string()>& help) {
  EffectRequest effect;
  const EffectOptions effectOptions(effect);
  CallParts parts;
  parts.firstEffect = firstEffect;
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
    if (word == "--help" || word == "-h") return EarlyExit{kDone, help()};
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const std::string bare = name.substr(0, 2) == "--" ? name.substr(2) : std::string();
    const CLI::Option* const ofRun = runOptions.Find(bare);
    const CLI::Option* const ofEffect = effectOptions.Find(bare);
    const CLI::Option* const option = ofRun != nullptr ? ofRun : ofEffect;
    if (option == nullptr) {
      std::vector<std::string> names = effectOptions.Names();
      for (std::string& known : runOptions.Names()) names.push_back(std::move(known));
      return BadCall(UnknownName("there is no option", name, names, "see korva " + command + " --help"));
    }
    if (ofEffect != nullptr && parts.effects.empty()) return BadCall(name + " goes behind the name of an effect");
    std::vector<std::string>& target = ofRun != nullptr ? parts.run : parts.effects.back();
    // Said here in the user's words, where the library would say how many values it counted.
    const int values = option->get_items_expected_max();
    if (values == 0) {
      if (equals != std::string::npos) return BadCall(name + " takes no value");
      if (std::find(target.begin(), target.end(), name) == target.end()) target.push_back(name);
      continue;
    }
    // Each word of its type stands for a value.
    const std::string type = option->get_type_name();
    const auto wanted = 1 + std::count(type.begin(), type.end(), ' ');
    const auto sameOption = [&](const std::string& given) {
      return given.compare(0, name.size() + 1, name + "=") == 0;
    };
    const bool isOnce = values == 1 || wanted > 1;
    if (isOnce && std::any_of(target.begin(), target.end(), sameOption)) return BadCall(name + " is told twice");
    for (std::ptrdiff_t k = 0; k < wanted; ++k) {
      const bool isJoined = k == 0 && equals != std::string::npos;
      std::string value = isJoined ? word.substr(equals + 1) : std::string();
      if (!isJoined && i + 1 < arguments.size()) value = arguments[++i];
      if (value.empty()) return BadCall(name + (wanted > 1 ? " needs values: " : " needs a value: ") + type);
      // In one word, so that a value may begin with a dash.
      target.push_back(name + "=" + value);
    }
  }
  return parts;
}

Outcome<std::vector<EffectRequest>> ParseEffects(const CallParts& parts, std::size_t count) {
  std::vector<EffectRequest> effects;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string& name = parts.positions[parts.firstEffect + i];
    const Outcome<const EffectRow*> effect = FindEffect(name);
    if (!effect) return effect.earlyExit();
    EffectRequest one;
    one.effect = *effect;
    EffectOptions options(one);
    if (MaybeExit check = options.Parse(parts.effects[i], name + ": ")) return *check;
    effects.push_back(std::move(one));
  }
  return effects;
}

std::string ChainHelp(const char* first, const Options& run) {
  EffectRequest effect;
  return first + EffectOptions(effect).Help() + run.Help() + "\nThe effects are " + Joined(EffectNames(), ", ") +
         ". korva params EFFECT lists what can be set.";
}

std::vector<OptionText> ChainOptions(const Options& run) {
  EffectRequest effect;
  std::vector<OptionText> texts = EffectOptions(effect).Texts();
  for (OptionText& text : run.Texts()) texts.push_back(std::move(text));
  return texts;
}

}  // namespace korva
