#include "host/state_file.h"

#include <algorithm>
#include <cstring>
#include <istream>
#include <sstream>
#include <string_view>

#include "frame/record.h"
#include "host/byte_stream.h"
#include "host/interrupt.h"
#include "host/output_file.h"
#include "host/parameter_text.h"

namespace korva {
namespace {

constexpr std::size_t kLargestRecord = sizeof(RecordHeader) + kLargestBlock;

bool KnowsIdentifier(const GUID& id) {
  return std::any_of(EffectTable().begin(), EffectTable().end(), [&](const EffectRow& effect) {
    const auto& forms = effect.description.forms;
    return std::any_of(forms.begin(), forms.end(), [&](const RecordForm& form) { return form.id == id; });
  });
}

// More than any text of an effect takes.
constexpr std::size_t kLargestState = 65536;

Outcome<std::string> ReadState(const std::string& path, std::istream& in) {
  if (path == "-") {
    std::string content(kLargestState, '\0');
    in.read(content.data(), static_cast<std::streamsize>(content.size()));
    if (Interrupted()) return Failed("interrupted");
    content.resize(static_cast<std::size_t>(in.gcount()));
    return content;
  }
  const Outcome<std::vector<char>> read = ReadFile(path, kLargestState);
  if (!read) return read.earlyExit();
  return std::string(read->begin(), read->end());
}

constexpr std::string_view kFirstWord = "effect";

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// Whether a state is a text: no record has the name of an effect in its first line that says something.
bool IsStateText(const std::string& content) {
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    const std::string_view words = Trimmed(line);
    if (words.empty() || words[0] == '#') continue;
    return words.starts_with(kFirstWord) && words.find('=') != std::string_view::npos &&
           content.find('\0') == std::string::npos;
  }
  return false;
}

MaybeExit ApplyStateText(const std::string& path, const std::string& content, const EffectRow& effect,
                         EffectInstance& instance) {
  ParameterBlock block = ReadBlock(instance);
  std::istringstream lines(content);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    const std::string_view words = Trimmed(line);
    if (words.empty() || words[0] == '#') continue;
    const std::size_t equals = words.find('=');
    const std::string name(Trimmed(words.substr(0, equals)));
    const std::string value(equals == std::string_view::npos ? "" : Trimmed(words.substr(equals + 1)));
    MaybeExit check;
    if (equals == std::string_view::npos) {
      check = Failed("it takes name = value");
    } else if (name == kFirstWord) {
      if (value != effect.description.name)
        check = Failed("it is a state of " + value + ", not of " + effect.description.name);
    } else {
      check = ApplySetting(effect, name + "=" + value, {}, block.data());
    }
    if (check) return Failed(path + ", line " + std::to_string(number) + ": " + check->text);
  }
  instance.parameters->WriteBlock(block.data());
  return std::nullopt;
}

Outcome<StateRecord> RecordOf(const std::string& path, const std::string& content) {
  const std::vector<std::uint8_t> bytes(content.begin(), content.end());
  const std::string size = std::to_string(bytes.size()) + " bytes";
  RecordHeader header{};
  if (content.find('=') != std::string::npos && content.find('\0') == std::string::npos) {
    return Failed(path + " is no record of any effect; " +
                  (IsStateText(content) ? "it is a text of values, which korva render ... --state reads"
                                        : "a text of values has a line such as effect = chorus in front"));
  }
  if (bytes.size() < sizeof header) return Failed(path + " is no effect record: it has only " + size);
  std::memcpy(&header, bytes.data(), sizeof header);
  for (const EffectRow& effect : EffectTable()) {
    const RecordForm* const form = FindRecordForm(effect.description, header);
    if (form == nullptr) continue;
    const std::string name = effect.description.name;
    if (bytes.size() != form->size) {
      const bool more = bytes.size() > kLargestRecord;
      return Failed(path + " is a damaged " + name + " record: " + (more ? "more than " : "") +
                    (more ? std::to_string(kLargestRecord) + " bytes" : size) + " instead of " +
                    std::to_string(form->size));
    }
    const auto index = static_cast<std::size_t>(form - effect.description.forms.data());
    return StateRecord{&effect, index, bytes};
  }
  const GUID id = header.id;
  if (KnowsIdentifier(id)) return Failed(path + " is a damaged effect record: its header says a wrong size");
  return Failed(path + " is no record of any effect");
}

}  // namespace

Outcome<StateRecord> ReadStateFile(const std::string& path, std::istream& in) {
  const Outcome<std::string> read = ReadState(path, in);
  if (!read) return read.earlyExit();
  return RecordOf(path, *read);
}

MaybeExit LoadState(const StateRecord& record, EffectInstance& instance) {
  const ComPtr<IPersistStream> persist = Query<IPersistStream>(instance.filter.Get());
  ByteStream stream(record.bytes);
  if (!persist || FAILED(persist->Load(&stream))) {
    return Failed("the " + std::string(record.effect->description.name) + " record cannot be loaded");
  }
  return std::nullopt;
}

MaybeExit LoadStateFile(const std::string& path, std::istream& in, const EffectRow& effect, EffectInstance& instance) {
  const Outcome<std::string> content = ReadState(path, in);
  if (!content) return content.earlyExit();
  if (IsStateText(*content)) return ApplyStateText(path, *content, effect, instance);
  const Outcome<StateRecord> record = RecordOf(path, *content);
  if (!record) return record.earlyExit();
  if (record->effect != &effect) {
    return Failed(path + " is a record of " + record->effect->description.name + ", not of " + effect.description.name);
  }
  return LoadState(*record, instance);
}

std::string StateText(const EffectRow& effect, const EffectInstance& instance) {
  const ParameterBlock block = ReadBlock(instance);
  std::string text = std::string(kFirstWord) + " = " + effect.description.name + "\n";
  for (const ParamDescriptor& row : effect.description.rows) {
    const std::string value = ExactText(row, block.data());
    // Old records may hold what nobody can set today.
    if (!ParseValue(row, value)) text += "# beyond " + RangeText(row) + ": ";
    text += std::string(row.name) + " = " + value + "\n";
  }
  return text;
}

Outcome<std::vector<std::uint8_t>> SaveState(EffectInstance& instance) {
  const ComPtr<IPersistStream> persist = Query<IPersistStream>(instance.filter.Get());
  ByteStream stream;
  if (!persist || FAILED(persist->Save(&stream, 1))) return Failed("the effect's record cannot be made");
  return std::move(stream.bytes);
}

}  // namespace korva
