#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "audio/sample_format.h"
#include "host/effect_table.h"
#include "host/files/shaped_input.h"
#include "host/outcome.h"

namespace korva {

/// One effect of a chain as the user asked for it.
struct EffectRequest {
  const EffectRow* effect = nullptr;
  std::string preset, stateFile, saveStateFile;  ///< empty: not asked for
  std::vector<std::string> settings, automations;
  bool wet = false;  ///< no dry signal
};

/// A whole `render` call.
struct RenderRequest {
  std::vector<std::string> inputs;  ///< one, or with a folder for the outputs any number
  std::string output;               ///< empty with `outDir`
  std::string outDir, extension;    ///< `extension` empty: those of the inputs
  std::uint32_t jobs = 0;           ///< 0: as many as there are processors
  std::vector<EffectRequest> effects;
  std::optional<SampleFormat> format;  ///< nothing: float
  std::optional<FileBits> bits;        ///< nothing: the input's, or with a format that one's
  std::uint32_t blockFrames = 4096;
  bool noTail = false, keepPace = false, overwrite = false, quiet = false;
  bool noDither = false, dryRun = false, json = false;
  InputShape shape;  ///< the tail stands in `tail`
  std::optional<double> normalize, tail, quality;
  std::uint32_t rate = 0;  ///< of the output; 0: the input's
  std::optional<RawSound> rawIn;
  bool rawOut = false;
  std::string tempo, meter, tempoMap;
};

/// An option as `--help` tells it.
struct OptionText {
  std::string name, value, text;  ///< `value` empty for a switch
  std::string group;              ///< "Options of an effect, after its name": whose they are, and where they stand
};
/// The options of `korva render`, from the parser itself.
std::vector<OptionText> RenderOptions();

/// Reads what follows `korva render`. The early exit is the help, if it was asked for, or what is wrong with the call.
Outcome<RenderRequest> ParseRender(std::span<const std::string> arguments);

/// What follows a command that takes exactly the arguments in `names`, and any of the options: "--json", or "--lv2 DIR"
/// where one takes a value.
struct PlainArguments {
  std::vector<std::string> values;
  std::map<std::string, std::string> options;  ///< those that were given, with their values
  bool Has(const std::string& name) const { return options.count(name) != 0; }
  std::string Value(const std::string& name) const { return options.at(name); }
};
Outcome<PlainArguments> ParseArguments(const std::string& command, const std::string& summary,
                                       std::span<const std::string> names, std::span<const std::string> options,
                                       std::span<const std::string> arguments);

}  // namespace korva
