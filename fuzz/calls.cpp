// Command lines, a word a line, up to an empty line; then the text of a saved state. Nothing is opened and nothing is
// written: the words are read, and what they ask for is applied to effects in memory.
#include <sstream>

#include "host/automation_text.h"
#include "host/command_line.h"
#include "host/parameter_text.h"
#include "host/song.h"
#include "host/state_file.h"
#include "input.h"

namespace korva {
namespace {

/// Whatever is refused comes with words.
template <class Result>
bool Holds(const Result& result) {
  if (result) return true;
  Require(!result.earlyExit().text.empty(), "a refusal says why");
  return false;
}
void Told(const MaybeExit& check) {
  Require(!check || (check->exitCode != kDone && !check->text.empty()), "a refusal says why");
}

/// An effect as text says the same when it is read again.
void CompareStateText(const EffectRow& effect, const EffectInstance& instance) {
  const std::string text = StateText(effect, instance);
  Outcome<EffectInstance> second = CreateEffect(effect);
  std::istringstream in(text);
  Require(!LoadStateFile("-", in, effect, *second), "a state's text can be read");
  Require(StateText(effect, *second) == text, "a state's text read again is the same");
}

void Apply(const EffectRequest& request, const std::string& state) {
  Outcome<EffectInstance> instance = CreateEffect(*request.effect);
  if (!request.preset.empty()) {
    if (const Outcome<std::int32_t> preset = FindPreset(*request.effect, request.preset); Holds(preset)) {
      instance->parameters->WriteBlock(request.effect->description.presets.Block(*preset));
    }
  }
  std::istringstream in(state);
  Told(LoadStateFile("-", in, *request.effect, *instance));
  ParameterBlock block = ReadBlock(*instance);
  std::vector<std::string> remarks;
  for (const std::string& setting : request.settings) {
    Told(ApplySetting(*request.effect, setting, {48000, 48000}, block.data(), &remarks));
  }
  instance->parameters->WriteBlock(block.data());
  const auto spans = ApplyAutomation(*request.effect, *instance, request.automations, true);
  Told(spans ? MaybeExit() : MaybeExit(spans.earlyExit()));
  CompareStateText(*request.effect, *instance);
}

}  // namespace
}  // namespace korva

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korva;
  Input input(data, size);
  std::vector<std::string> words;
  for (std::string word = input.Line(); !word.empty(); word = input.Line()) words.push_back(word);
  const auto rest = input.Rest();
  const std::string state(rest.begin(), rest.end());
  const std::vector<std::string> names = {"FILE"}, options = {"--text", "--lv2 DIR"};
  static_cast<void>(Holds(ParseArguments("state", "says what", names, options, words)));
  const Outcome<RenderRequest> request = ParseRender(words);
  if (!Holds(request)) return 0;
  static_cast<void>(Holds(ConstantSong(request->tempo, request->meter)));
  for (const EffectRequest& effect : request->effects) Apply(effect, state);
  return 0;
}
