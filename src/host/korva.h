#pragma once

#include <span>
#include <string>
#include <vector>

#include "host/render.h"

namespace korva {

/// A sub-command. All that is written about it comes from here.
struct Command {
  std::string name;
  std::vector<std::string> arguments;  ///< what it takes, by name
  std::vector<std::string> options;
  std::string summary;
  MaybeExit (*run)(const PlainArguments& arguments, Streams& streams);
  /// For a command that runs a chain, in the place of `options` and `run`: its options, and what reads its words.
  std::vector<OptionText> (*chainOptions)() = nullptr;
  MaybeExit (*runChain)(std::span<const std::string> words, Streams& streams) = nullptr;
};
const std::vector<Command>& Commands();

/// The whole command: `arguments` are what follows its name. Returns the exit code: 0 done, 1 the work failed, 2 the
/// call was wrong. Results go to `streams.out`, everything said to the user to `streams.err`.
int RunKorva(std::span<const std::string> arguments, Streams& streams);

}  // namespace korva
