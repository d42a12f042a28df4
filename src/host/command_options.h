#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "host/command_line.h"
#include "host/nearest.h"
#include "host/number_text.h"

// How a call that runs a chain is read: each effect's options stand behind its name, those of the run anywhere.
namespace korva {

/// The options of a call, as CLI11 keeps them, where their help and their number of values stand.
class Options {
 public:
  explicit Options(const std::string& group) {
    app_.set_help_flag();
    StartGroup(group);
  }
  CLI::App& app() noexcept { return app_; }
  const CLI::App& app() const noexcept { return app_; }
  /// What is added from now on belongs to `group`.
  void StartGroup(const std::string& group) { app_.option_defaults()->group(group); }
  void AddValue(const char* name, std::string& target, const char* type, const char* text) {
    app_.add_option(name, target, text)->type_name(type);
  }

  const CLI::Option* Find(const std::string& name) const;
  std::vector<std::string> Names() const;
  std::string Help() const { return CLI::Formatter().make_groups(&app_, CLI::AppFormatMode::Normal); }
  std::vector<OptionText> Texts() const;
  MaybeExit Parse(std::vector<std::string> tokens, const std::string& who);

 private:
  CLI::App app_;
};

struct EffectOptions : Options {
  explicit EffectOptions(EffectRequest& request);
};

/// What every run through a chain takes.
struct StreamOptions : Options {
  explicit StreamOptions(RenderRequest& request);
  /// Brings the values that were given into the request.
  MaybeExit TakeStream(RenderRequest& request) const;

  std::string format, block, gain, trim, channels, tail, rawIn, rate;
};

/// A number from `least` to `most`; `target` stays where nothing was given.
template <class Number>
MaybeExit TakeNumber(const char* name, const std::string& text, double least, double most, const char* unit,
                     Number& target) {
  if (text.empty()) return std::nullopt;
  using Plain = std::remove_cvref_t<decltype(*std::optional<Number>())>;
  constexpr bool kIsWhole = std::is_integral_v<Plain>;
  std::optional<double> value = ParseNumber(text);
  if (kIsWhole && !ParseWhole(text)) value.reset();
  if (!value || *value < least || *value > most) {
    return BadCall(std::string(name) + " takes " + NumberText(least) + " to " + NumberText(most) + unit + ", not \"" +
                   text + "\"");
  }
  if constexpr (kIsWhole)
    target = static_cast<Plain>(*value);
  else
    target = *value;
  return std::nullopt;
}

/// The row of that name goes to `take`, where one was given.
template <class Rows, class NameOf, class Take>
MaybeExit TakeName(const char* option, const std::string& text, const Rows& rows, NameOf&& nameOf, Take&& take) {
  if (text.empty()) return std::nullopt;
  std::vector<std::string> names;
  for (const auto& row : rows) {
    names.emplace_back(std::invoke(nameOf, row));
    if (text != names.back()) continue;
    take(row);
    return std::nullopt;
  }
  return BadCall(std::string(option) + " takes " + Joined(names, ", ") + ", not \"" + text + "\"");
}

/// A call cut into its parts.
struct CallParts {
  std::vector<std::string> positions;
  std::vector<std::string> run;
  std::size_t firstEffect = 0;                    // its position
  std::vector<std::vector<std::string>> effects;  // one for each position from there on
};
/// `run` are the options of the whole call; `help` is what --help shows.
Outcome<CallParts> CutCall(std::span<const std::string> arguments, const std::string& command, const Options& run,
                           std::size_t firstEffect, const std::function<std::string()>& help);
/// The first `count` effects of a call.
Outcome<std::vector<EffectRequest>> ParseEffects(const CallParts& parts, std::size_t count);

/// The help of a command that runs a chain: its first words, then all options, then the effects.
std::string ChainHelp(const char* first, const Options& run);
/// All options of such a command.
std::vector<OptionText> ChainOptions(const Options& run);

}  // namespace korva
