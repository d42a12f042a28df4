#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "audio/sample_format.h"
#include "host/effect_table.h"
#include "host/outcome.h"

namespace korva {

/// One effect of a chain as the user asked for it.
struct EffectRequest {
  const EffectRow* effect = nullptr;
  std::string preset, stateFile, saveStateFile;  ///< empty: not asked for
  std::vector<std::string> settings, automations;
};

/// A whole `render` call.
struct RenderRequest {
  std::string input, output;
  std::vector<EffectRequest> effects;
  std::optional<SampleFormat> format;  ///< nothing: the input's own
  std::uint32_t blockFrames = 4096;
  bool noTail = false, keepPace = false, overwrite = false, quiet = false;
  std::string tempo, meter, tempoMap;
};

/// Reads what follows `korva render`. The ending is the help, if it was asked for, or what is wrong with the call.
Outcome<RenderRequest> ParseRender(std::span<const std::string> arguments);

/// Reads what follows a command that takes exactly the arguments in `names`. The ending is as above.
Outcome<std::vector<std::string>> ParseArguments(const std::string& command, const std::string& summary,
                                                 std::span<const std::string> names,
                                                 std::span<const std::string> arguments);

}  // namespace korva
