#include "host/render.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <ostream>

#include "frame/row_values.h"
#include "host/automation_text.h"
#include "host/chain.h"
#include "host/interrupt.h"
#include "host/nearest.h"
#include "host/number_text.h"
#include "host/parameter_text.h"
#include "host/progress.h"
#include "host/song.h"
#include "host/state_file.h"
#include "pitchtime/stretch_filter.h"

namespace korva {
namespace {

/// An effect of the chain, set up.
struct PreparedEffect {
  const EffectRequest* request;
  EffectInstance instance;
  std::vector<std::uint8_t> record;  // as the effect was when the run began
};

Check SetParameters(const EffectRequest& request, const MaterialLength& material, EffectInstance& instance) {
  const EffectRow& effect = *request.effect;
  if (!request.preset.empty()) {
    const Outcome<std::int32_t> preset = FindPreset(effect, request.preset);
    if (!preset) return preset.ending();
    instance.parameters->WriteBlock(effect.description.presets.Block(*preset));
  }
  if (!request.stateFile.empty()) {
    if (const Check check = LoadStateFile(request.stateFile, effect, instance)) return check;
  }
  if (request.settings.empty()) return std::nullopt;
  ParameterBlock block = ReadBlock(instance);
  for (const std::string& setting : request.settings) {
    if (const Check check = ApplySetting(effect, setting, material, block.data())) return check;
  }
  instance.parameters->WriteBlock(block.data());
  return std::nullopt;
}

/// Each effect set up in turn: the material gets longer or shorter on the way.
Outcome<std::vector<PreparedEffect>> PrepareEffects(const RenderRequest& request, MaterialLength material) {
  std::vector<PreparedEffect> effects;
  for (const EffectRequest& one : request.effects) {
    Outcome<EffectInstance> created = CreateEffect(*one.effect);
    if (!created) return created.ending();
    PreparedEffect prepared{&one, std::move(*created), {}};
    if (prepared.instance.stretch != nullptr) prepared.instance.stretch->engine().SetKeepPace(request.keepPace);
    if (const Check check = SetParameters(one, material, prepared.instance)) return *check;
    if (const EffectHabits* const habits = one.effect->habits; habits != nullptr && habits->lengthFactor != nullptr) {
      material.frames *= habits->lengthFactor(ReadBlock(prepared.instance).data());
    }
    if (const Check check = ApplyAutomation(*one.effect, prepared.instance, one.automations)) return *check;
    const Outcome<std::vector<std::uint8_t>> record = SaveState(prepared.instance);
    if (!record) return record.ending();
    prepared.record = *record;
    effects.push_back(std::move(prepared));
  }
  return effects;
}

Outcome<std::optional<SongMap>> ReadSong(const RenderRequest& request) {
  if (request.tempo.empty() && request.meter.empty() && request.tempoMap.empty()) return std::optional<SongMap>();
  Outcome<SongMap> map =
      request.tempoMap.empty() ? ConstantSong(request.tempo, request.meter) : ReadMidiSong(request.tempoMap);
  if (!map) return map.ending();
  return std::optional<SongMap>(std::move(*map));
}

/// Lets the effects hear the song, and says so where none of them will listen.
void ConnectSongs(const SongMap& song, const RenderRequest& request, std::vector<PreparedEffect>& effects,
                  Streams& streams) {
  auto* const host = new SongHost(song);
  const ComPtr<IMfxTempoMap> keeper(host);
  bool heard = false;
  std::vector<std::string> switches;
  for (PreparedEffect& effect : effects) {
    if (!ConnectSong(effect.instance.filter.Get(), *host)) continue;
    const ParameterBlock block = ReadBlock(effect.instance);
    for (const ParamDescriptor& row : effect.request->effect->description.rows) {
      if (!row.followsTempo || row.storage != Storage::kBool) continue;
      switches.push_back(std::string("--set ") + row.name + "=on");
      const auto& texts = effect.request->automations;
      heard = heard || LoadField(row, block.data()) != 0 ||
              std::any_of(texts.begin(), texts.end(),
                          [&](const std::string& text) { return text.starts_with(std::string(row.name) + ":"); });
    }
  }
  if (heard || request.quiet) return;
  streams.err << "korva: no effect of this chain follows the tempo"
              << (switches.empty() ? "" : "; " + Joined(switches, " or ") + " makes one do so") << "\n";
}

/// Buffers with room for a sample, and for any tail that has to fit into one. Says so where a tail does not.
Outcome<StreamCut> DecideCut(const RenderRequest& request, const std::vector<PreparedEffect>& effects,
                             const SongMap* song, const FormatRecord& format, std::ostream& err) {
  constexpr double kLeastFrames = 4096;
  constexpr double kMostBytes = std::numeric_limits<LONG>::max(), kMostTailBytes = 1U << 28U;
  if (static_cast<double>(request.blockFrames) * format.blockAlign > kMostBytes) {
    return Wrong("--block " + std::to_string(request.blockFrames) + " makes buffers of more than 2 GiB");
  }
  double frames = std::max<double>(request.blockFrames, kLeastFrames);
  for (const PreparedEffect& effect : effects) {
    const EffectHabits* const habits = effect.request->effect->habits;
    if (habits == nullptr || habits->tailSeconds == nullptr || request.noTail) continue;
    // Streams of 32-bit float ring out in as many buffers as it takes.
    if (SampleFormatOf(format) == SampleFormat::kFloat32) continue;
    const bool moves = !effect.request->automations.empty();
    const double seconds = habits->tailSeconds(ReadBlock(effect.instance).data(), song, moves);
    const double most = std::floor(kMostTailBytes / format.blockAlign);
    const double wanted = std::ceil(seconds * format.samplesPerSecond) + 1;
    if (wanted > most && !request.quiet) {
      err << "korva: " << effect.request->effect->description.name << " may ring for " << DurationText(seconds)
          << "; in this sample format it ends after " << DurationText(most / format.samplesPerSecond)
          << ", with --format f32 it does not\n";
    }
    frames = std::max(frames, std::min(wanted, most));
  }
  return StreamCut{request.blockFrames, static_cast<std::uint32_t>(frames)};
}

Outcome<SoundReader> OpenInput(const RenderRequest& request, Streams& streams) {
  return request.input == "-" ? SoundReader::OpenStream(streams.in) : SoundReader::Open(request.input);
}

Outcome<OutputFile> OpenOutput(const RenderRequest& request, Streams& streams) {
  if (request.output != "-") return OutputFile::Create(request.output, request.overwrite);
  if (streams.outIsTerminal) return Wrong("standard output is a terminal; send it to a file or a program");
  return OutputFile::CreateFor(streams.out);
}

/// The files for the records, made before the work so that none is done in vain.
Outcome<std::vector<OutputFile>> OpenRecords(const RenderRequest& request) {
  std::vector<OutputFile> files;
  std::vector<std::string> names{request.output};
  for (const EffectRequest& effect : request.effects) {
    if (effect.saveStateFile.empty()) continue;
    const auto isIt = [&](const std::string& name) { return SameFile(name, effect.saveStateFile); };
    if (std::any_of(names.begin(), names.end(), isIt)) return Wrong(effect.saveStateFile + " cannot take two results");
    for (const std::string* source : {&request.input, &request.tempoMap}) {
      if (!source->empty() && isIt(*source)) return Wrong("--save-state " + effect.saveStateFile + " is what is read");
    }
    names.push_back(effect.saveStateFile);
    Outcome<OutputFile> file = OutputFile::Create(effect.saveStateFile, request.overwrite);
    if (!file) return file.ending();
    files.push_back(std::move(*file));
  }
  return files;
}

/// The chain in words: each effect with what was asked of it.
std::string Described(const RenderRequest& request) {
  std::vector<std::string> effects;
  for (const EffectRequest& one : request.effects) {
    const EffectDescription& description = one.effect->description;
    std::vector<std::string> details;
    if (!one.preset.empty()) {
      const Outcome<std::int32_t> preset = FindPreset(*one.effect, one.preset);
      if (preset) details.push_back("preset \"" + PresetName(description, *preset) + "\"");
    }
    if (!one.stateFile.empty()) details.push_back("state " + one.stateFile);
    details.insert(details.end(), one.settings.begin(), one.settings.end());
    for (const std::string& text : one.automations) details.push_back(text.substr(0, text.find(':')) + " automated");
    const std::string told = details.empty() ? "defaults" : Joined(details, ", ");
    effects.push_back(std::string(description.name) + " (" + told + ")");
  }
  return Joined(effects, ", then ");
}

void TellResult(const RenderRequest& request, const SoundPlan& plan, const ChainResult& result,
                const std::string& outputName, std::ostream& err) {
  const double rate = plan.traits.rate;
  const std::string in = DurationText(static_cast<double>(result.framesIn) / rate);
  const std::string out = DurationText(static_cast<double>(result.framesOut) / rate);
  if (result.framesIn == 0) err << "korva: the input holds no audio, so neither does the output\n";
  if (plan.narrowed) {
    err << "korva: " << plan.sampleText << " samples are all that this kind of file holds; the stream had more\n";
  }
  const bool isFloat = plan.format == SampleFormat::kFloat32 || plan.format == SampleFormat::kFloat64;
  const bool holdsFloat = plan.sampleText.find("float") != std::string::npos;
  if (isFloat && !holdsFloat && result.levels.peak() > 1) {
    err << "korva: the loudest samples were clipped; lower the gains to avoid it\n";
  }
  if (result.levels.unreal() != 0) {
    err << "korva: " << CountText(static_cast<std::int64_t>(result.levels.unreal()), "sample")
        << " of the output are infinite or no number\n";
  }
  err << Described(request) << "\n"
      << "wrote " << outputName << ": " << out << (in != out ? " (from " + in + ")" : "") << ", " << plan.traits.rate
      << " Hz, " << CountText(plan.traits.channels, "channel") << ", " << plan.sampleText << ", peak "
      << LevelText(result.levels.peak()) << ", rms " << LevelText(result.levels.rms()) << "\n";
}

}  // namespace

Check Render(const RenderRequest& request, Streams& streams) {
  Outcome<SoundReader> reader = OpenInput(request, streams);
  if (!reader) return reader.ending();
  const SoundTraits& traits = reader->traits();
  const SampleFormat sampleFormat = request.format.value_or(reader->ownFormat());
  const bool keep24Bits = traits.has24Bits && !request.format;
  const Outcome<SoundPlan> plan = PlanOutput(request.output, traits, sampleFormat, keep24Bits);
  if (!plan) return plan.ending();
  const std::string outputName = request.output == "-" ? "standard output" : request.output;
  if (reader->frames() > plan->mostFrames) return TooLong(*plan, outputName);
  const FormatRecord format = MakeFormat(sampleFormat, static_cast<std::uint16_t>(traits.channels), traits.rate);
  const auto frames = static_cast<double>(std::max<std::int64_t>(reader->frames(), 0));
  Outcome<std::vector<PreparedEffect>> effects = PrepareEffects(request, {frames, traits.rate});
  if (!effects) return effects.ending();
  const Outcome<std::optional<SongMap>> song = ReadSong(request);
  if (!song) return song.ending();
  if (*song) ConnectSongs(**song, request, *effects, streams);
  const bool hasPace = std::any_of(effects->begin(), effects->end(),
                                   [](const PreparedEffect& effect) { return effect.instance.stretch != nullptr; });
  if (request.keepPace && !hasPace && !request.quiet) {
    streams.err << "korva: --keep-pace is for pitch-shift and time-stretch; this chain has neither\n";
  }
  const Outcome<StreamCut> cut = DecideCut(request, *effects, *song ? &**song : nullptr, format, streams.err);
  if (!cut) return cut.ending();
  Outcome<std::vector<OutputFile>> records = OpenRecords(request);
  if (!records) return records.ending();
  Outcome<OutputFile> output = OpenOutput(request, streams);
  if (!output) return output.ending();
  Outcome<SoundWriter> writer = SoundWriter::Open(*output, *plan, outputName);
  if (!writer) return writer.ending();

  std::vector<ChainLink> links;
  for (const PreparedEffect& effect : *effects) {
    links.push_back({effect.request->effect->description.name, effect.instance.filter});
  }
  Progress progress(streams.errIsTerminal && !request.quiet ? &streams.err : nullptr);
  const Outcome<ChainResult> result = RunChain(*reader, *writer, format, *cut, links, !request.noTail,
                                               [&](std::int64_t done) { progress.Show(done, reader->frames()); });
  progress.Clear();
  if (!result) return result.ending();
  if (Interrupted()) return Failed("interrupted");

  auto file = records->begin();
  for (const PreparedEffect& effect : *effects) {
    if (effect.request->saveStateFile.empty()) continue;
    if (const Check check = file->Write(effect.record.data(), effect.record.size())) return check;
    ++file;
  }
  // A record tells of a sound that is there.
  if (const Check check = output->Commit()) return check;
  for (OutputFile& record : *records) {
    if (const Check check = record.Commit()) return check;
  }
  try {
    if (!request.quiet) TellResult(request, *plan, *result, outputName, streams.err);
  } catch (const std::bad_alloc&) {
    // All is done; there is only no memory to say so.
  }
  return std::nullopt;
}

}  // namespace korva
