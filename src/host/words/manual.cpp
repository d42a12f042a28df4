#include "host/words/manual.h"

#include <algorithm>
#include <ostream>

#include "frame/module_text.h"
#include "host/korva.h"
#include "host/nearest.h"
#include "host/parameter_text.h"
#include "qvkit/language.h"
#include "qvkit/language_locales.h"

namespace korva {
namespace {

/// A text as troff takes it literally.
std::string Troff(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\')
      escaped += "\\e";
    else if (c == '-')
      escaped += "\\-";
    else if ((c == '.' || c == '\'') && escaped.empty())
      escaped += std::string("\\&") + c;
    else
      escaped += c;
  }
  return escaped;
}

void SpeakEnglish() {
  QvLang_UpdateLCID(ModuleLanguage(), kLanguageLocales[kEnglish], 0, 0);
}

/// A text as one word of the shell.
std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

/// Words as lines of one quoted text, as `compgen` takes them.
std::string Lines(const std::vector<std::string>& words) {
  return Quoted(Joined(words, "\n"));
}

/// The options of all commands that run a chain, group by group; what several take comes once.
std::vector<OptionText> ChainOptions() {
  std::vector<OptionText> all;
  for (const Command& command : Commands()) {
    if (command.chainOptions == nullptr) continue;
    for (OptionText& option : command.chainOptions()) {
      const bool isThere = std::any_of(all.begin(), all.end(), [&](const OptionText& other) {
        return other.name == option.name && other.group == option.group;
      });
      if (!isThere) all.push_back(std::move(option));
    }
  }
  return all;
}

char AsciiUpper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string WithoutNumber(const std::string& choice) {
  return choice.substr(choice.find(' ') + 1);
}

}  // namespace

MaybeExit WriteManual(std::ostream& out) {
  SpeakEnglish();
  out << ".TH KORVA 1 \"\" \"korva " KORVA_VERSION
         "\" \"User Commands\"\n.SH NAME\nkorva \\- six audio effects for "
         "sound files\n.SH SYNOPSIS\n";
  for (const Command& command : Commands()) {
    out << ".B korva " << command.name << "\n";
    for (const std::string& argument : command.arguments) out << ".I " << argument << "\n";
    if (command.runChain != nullptr) out << "[OPTIONS] ...\n";
    for (const std::string& option : command.options) out << "[" << Troff(option) << "]\n";
    out << ".br\n";
  }
  out << ".SH DESCRIPTION\nRuns sound files through one effect or a chain of them, left to right. A file called \\- is "
         "a "
         "WAV stream on standard input or output; the ending of an output says what file to write.\n.SH COMMANDS\n";
  for (const Command& command : Commands()) {
    out << ".TP\n.B " << command.name << "\n" << Troff(command.summary) << ".\n";
  }
  std::string group;
  for (const OptionText& option : ChainOptions()) {
    if (option.group != group) {
      group = option.group;
      const std::size_t comma = group.find(", ");
      std::string heading = group.substr(0, comma);
      std::transform(heading.begin(), heading.end(), heading.begin(), [](char c) { return AsciiUpper(c); });
      out << ".SH " << heading << "\nThey stand " << group.substr(comma + 2) << ".\n";
    }
    out << ".TP\n.B " << Troff(option.name) << (option.value.empty() ? "" : " \\fI" + Troff(option.value) + "\\fR")
        << "\n"
        << Troff(option.text) << "\n";
  }
  out << ".SH EFFECTS\n";
  for (const EffectRow& effect : EffectTable()) {
    out << ".SS " << effect.description.name << "\n" << Troff(effect.description.summary) << "\n";
    for (const ParamDescriptor& row : effect.description.rows) {
      out << ".TP\n.B " << Troff(row.name) << " \\fR(" << Troff(RangeText(row)) << ")\n" << Troff(row.summary) << "\n";
    }
  }
  out << ".SH EXIT STATUS\n0 done, 1 the work failed, 2 the call was wrong.\n.SH EXAMPLES\n.nf\n"
         "korva render voice.wav out.wav chorus \\-\\-preset \"Fast flange 1\"\n"
         "korva render *.wav \\-\\-out\\-dir wet \\-\\-ending flac reverb \\-\\-preset Cathedral\n.fi\n";
  return std::nullopt;
}

MaybeExit WriteBashCompletion(std::ostream& out) {
  SpeakEnglish();
  std::vector<std::string> commands;
  out << "# bash completion for korva, written by `korva docs --bash`\n"
         "_korva_options() {  # of a command\n  case $1 in\n";
  for (const Command& command : Commands()) {
    commands.push_back(command.name);
    std::vector<std::string> options;
    for (const std::string& option : command.options) options.push_back(option.substr(0, option.find(' ')));
    if (command.chainOptions != nullptr) {
      for (const OptionText& option : command.chainOptions()) options.push_back(option.name);
    }
    out << "  " << command.name << ") printf '%s\\n' " << Lines(options) << " ;;\n";
  }
  out << "  esac\n}\n"
         "_korva_names() {  # what is there of a kind, for an effect\n  case $1:$2 in\n";
  for (const EffectRow& effect : EffectTable()) {
    std::vector<std::string> presets, names;
    for (std::int32_t i = 0; i < effect.description.presets.count(); ++i) {
      presets.push_back(PresetName(effect.description, i));
    }
    for (const ParamDescriptor& row : effect.description.rows) {
      names.push_back(std::string(row.name) + "=");
      std::vector<std::string> choices = NumberedChoices(row);
      if (row.info.mpType == MPT_BOOL) choices = {"0 on", "1 off"};
      for (std::string& choice : choices) choice = WithoutNumber(choice);
      if (choices.empty()) continue;
      out << "  " << effect.description.name << ":" << row.name << ") printf '%s\\n' " << Lines(choices) << " ;;\n";
    }
    out << "  " << effect.description.name << ":presets) printf '%s\\n' " << Lines(presets) << " ;;\n  "
        << effect.description.name << ":params) printf '%s\\n' " << Lines(names) << " ;;\n";
  }
  out << "  esac\n}\n"
         "_korva() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} effect= i\n"
         "  local effects="
      << Lines(EffectNames())
      << " lines=\n"
         "  COMPREPLY=()\n"
         "  for ((i = 2; i < COMP_CWORD; i++)); do\n"
         "    if grep -qxF -- \"${COMP_WORDS[i]}\" <<<\"$effects\"; then effect=${COMP_WORDS[i]}; fi\n"
         "  done\n"
         "  if [ \"$COMP_CWORD\" -eq 1 ]; then lines="
      << Lines(commands)
      << "\n"
         "  elif [ \"$before\" = --preset ]; then lines=$(_korva_names \"$effect\" presets)\n"
         "  elif [ \"$before\" = --set ] || [ \"$before\" = --automate ]; then lines=$(_korva_names \"$effect\" "
         "params)\n"
         "  elif [ \"$word\" = = ]; then word= lines=$(_korva_names \"$effect\" \"$before\")\n"
         "  elif [ \"$before\" = = ]; then lines=$(_korva_names \"$effect\" \"${COMP_WORDS[COMP_CWORD-2]}\")\n"
         "  elif [ \"${COMP_WORDS[1]}\" = params ] || [ \"${COMP_WORDS[1]}\" = presets ]; then lines=$effects\n"
         "  elif [[ $word == -* ]]; then lines=$(_korva_options \"${COMP_WORDS[1]}\")\n"
         "  elif [ \"$COMP_CWORD\" -gt 3 ]; then lines=$effects\n"
         "  fi\n"
         "  local one\n"
         "  while IFS= read -r one; do\n"
         "    if [ -n \"$one\" ] && [[ ${one,,} == \"${word,,}\"* ]]; then COMPREPLY+=(\"$(printf %q \"$one\")\"); fi\n"
         "  done <<<\"$lines\"\n"
         "  if [[ ${COMPREPLY[0]} == *= || ${COMPREPLY[0]} == *\\\\= ]]; then "
         "COMPREPLY=(\"${COMPREPLY[@]//\\\\=/=}\"); compopt -o nospace 2>/dev/null; fi\n"
         "  if [ ${#COMPREPLY[@]} -eq 0 ]; then compopt -o default 2>/dev/null; fi\n"
         "}\n"
         "complete -F _korva korva\n";
  return std::nullopt;
}

}  // namespace korva
