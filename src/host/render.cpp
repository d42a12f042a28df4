#include "host/render.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <ostream>

#include "host/chain/stream.h"
#include "host/files/shaped_output.h"
#include "host/interrupt.h"
#include "host/number_text.h"
#include "host/parameter_text.h"
#include "host/progress.h"
#include "host/words/report.h"

namespace korva {

Outcome<OutputFile> OpenOutput(const std::string& path, bool overwrite, Streams& streams) {
  if (path != "-") return OutputFile::Create(path, overwrite);
  if (streams.outIsTerminal) return BadCall("standard output is a terminal; send it to a file or a program");
  return OutputFile::CreateFor(streams.out);
}

namespace {

Outcome<SoundReader> OpenInput(const RenderRequest& request, Streams& streams) {
  const RawSound* const raw = request.rawIn ? &*request.rawIn : nullptr;
  const std::string& input = request.inputs.front();
  return input == "-" ? SoundReader::OpenStream(streams.in, raw) : SoundReader::Open(input, raw);
}

/// No two results in one place, and none in the place of what is read.
MaybeExit CheckNames(const RenderRequest& request) {
  std::vector<std::string> results{request.output};
  const auto isIn = [](const std::vector<std::string>& names, const std::string& name) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& one) {
      return one == name || (one != "-" && name != "-" && !one.empty() && SameFile(one, name));
    });
  };
  std::vector<std::string> fromInput = request.inputs;
  for (const EffectRequest& effect : request.effects) {
    if (effect.stateFile == "-") {
      if (isIn(fromInput, "-")) return BadCall("standard input cannot be read twice");
      fromInput.emplace_back("-");
    }
    if (effect.saveStateFile.empty()) continue;
    if (isIn(results, effect.saveStateFile)) return BadCall(effect.saveStateFile + " cannot take two results");
    results.push_back(effect.saveStateFile);
    if (effect.saveStateFile == "-") continue;
    if (isIn({request.inputs.front(), request.tempoMap}, effect.saveStateFile)) {
      return BadCall("--save-state " + effect.saveStateFile + " is what is read");
    }
  }
  if (request.json && isIn(results, "-")) return BadCall("--json tells on standard output, which takes the sound");
  return std::nullopt;
}

/// The files for the records, made before the work so that none is done in vain.
Outcome<std::vector<OutputFile>> OpenRecords(const RenderRequest& request, Streams& streams) {
  std::vector<OutputFile> files;
  for (const EffectRequest& effect : request.effects) {
    if (effect.saveStateFile.empty()) continue;
    Outcome<OutputFile> file = OpenOutput(effect.saveStateFile, request.overwrite, streams);
    if (!file) return file.earlyExit();
    files.push_back(std::move(*file));
  }
  return files;
}

SampleFormat StreamFormat(const RenderRequest& request, const SoundReader& reader) {
  if (request.format) return *request.format;
  const bool isWide = reader.bits() == FileBits::k32 || reader.bits() == FileBits::kDouble;
  return isWide ? SampleFormat::kFloat64 : SampleFormat::kFloat32;
}

OutputWish WishFor(const RenderRequest& request, const SoundReader& reader, SampleFormat stream) {
  OutputWish wish;
  wish.path = request.output;
  wish.stream = stream;
  wish.rate = request.rate != 0 ? request.rate : reader.traits().rate;
  wish.rateIsAsked = request.rate != 0;
  wish.quality = request.quality;
  wish.raw = request.rawOut;
  wish.onlyThese = request.bits.has_value() || request.rawOut;
  // Who asks for a format asks for the module's own arithmetic, and that knows no noise.
  wish.dither = !request.noDither && (!request.format || request.bits);
  if (request.bits) {
    wish.bits = {*request.bits};
  } else if (request.format) {
    constexpr FileBits kOfFormat[] = {FileBits::k8, FileBits::k16, FileBits::k32, FileBits::kFloat, FileBits::kDouble};
    static_assert(std::size(kOfFormat) == std::size(kAllFormats), "each stream format has a file's type");
    wish.bits = {kOfFormat[static_cast<std::size_t>(*request.format)]};
  } else {
    wish.bits = {reader.bits()};
    if (reader.bits() == FileBits::kDouble) wish.bits.push_back(FileBits::kFloat);
  }
  return wish;
}

/// What of the input the output does not hold, as it reads itself.
Outcome<std::vector<std::string>> Lost(const SoundReader& reader, const SoundTraits& traits, const SoundPlan& plan,
                                       const OutputFile& file, const std::string& name) {
  std::vector<std::string> lost;
  if (reader.notes().isEmpty() && traits.channelMap.empty()) return lost;
  const bool hasHead = (plan.sndfileFormat & SF_FORMAT_TYPEMASK) != SF_FORMAT_RAW;
  const Outcome<SoundReader> written = hasHead ? SoundReader::OpenWritten(file, name) : Failed("no head");
  if (hasHead && !written) return written.earlyExit();
  lost = NotKept(reader.notes(), written ? written->notes() : SoundNotes());
  const bool samePlaces = written && written->traits().channelMap == traits.channelMap;
  if (!samePlaces && !HasPlaces(plan.sndfileFormat, traits.channelMap)) lost.emplace_back("the places of the channels");
  return lost;
}

/// Looks at what the gauges saw.
void ReadGauges(const GaugedChain& chain, const RenderRequest& request, const std::vector<PreparedEffect>& effects,
                bool counts, RunReport& report, std::vector<std::string>& remarks) {
  const auto seconds = [&](double frames) { return DurationText(frames / report.streamRate); };
  for (std::size_t i = 0; i < effects.size(); ++i) {
    const PreparedEffect& effect = effects[i];
    const std::string name = effect.request->effect->description.name;
    const Gauge& before = *chain.gauges[i];
    const Gauge& after = *chain.gauges[i + 1];
    if (counts && after.loud() > before.loud()) report.clipping.push_back({name, after.loud() - before.loud()});
    if (effect.movesWhileRinging) {
      const double rung = static_cast<double>(after.frames() - before.frames());
      const double longer = rung - effect.ringSeconds * report.streamRate;
      if (longer >= 1) {
        remarks.push_back(name + " rings " + seconds(longer) + " longer, for " + seconds(rung) +
                          ", as --automate moves it after the sound; --tail SECONDS ends that");
      }
    }
    if (!effect.isHeld) continue;
    const double over = static_cast<double>(after.frames()) - std::floor(effect.framesOut + 0.5);
    if (std::fabs(over) <= request.blockFrames || request.noTail || request.tail) continue;
    remarks.push_back(name + " gave " + seconds(static_cast<double>(after.frames())) + "; " +
                      (over > 0 ? "its end is cut" : "silence fills its end") + " to what was asked for");
  }
}

}  // namespace

MaybeExit RenderOne(const RenderRequest& request, Streams& streams) {
  if (MaybeExit check = CheckNames(request)) return check;
  Outcome<SoundReader> reader = OpenInput(request, streams);
  if (!reader) return reader.earlyExit();
  std::vector<std::string> remarks;
  if (!reader->remark().empty()) remarks.push_back(reader->remark());
  SoundTraits traits = reader->traits();
  InputShape shape = request.shape;
  shape.silence = request.tail.value_or(0);
  if (MaybeExit check = ShapedInput::CheckChannels(*reader, shape)) return check;
  ShapedInput input(*reader, shape);
  if (input.frames() == 0 && reader->frames() > 0 && shape.from > 0) {
    return Failed("--trim begins after " + reader->name() + ", which lasts " +
                  DurationText(static_cast<double>(reader->frames()) / traits.rate));
  }
  if (input.channels() != traits.channels) traits.channelMap.clear();
  traits.channels = input.channels();
  const SampleFormat sampleFormat = StreamFormat(request, *reader);
  const Outcome<SoundPlan> plan = PlanOutput(WishFor(request, *reader, sampleFormat), traits);
  if (!plan) return plan.earlyExit();
  RunReport report;
  report.input = reader->name();
  report.output = request.output == "-" ? "standard output" : request.output;
  report.streamRate = traits.rate;
  if (input.frames() > plan->mostFrames) return TooLong(*plan, report.output);
  const FormatRecord format = MakeFormat(sampleFormat, static_cast<std::uint16_t>(traits.channels), traits.rate);
  const double sound = static_cast<double>(std::max<std::int64_t>(input.frames(), 0));
  const double silence = sound > 0 ? std::floor(shape.silence * traits.rate + 0.5) : 0;
  Outcome<PreparedChain> prepared = PrepareChain(request, {sound + silence, traits.rate}, format, streams.in, remarks);
  if (!prepared) return prepared.earlyExit();
  const std::vector<PreparedEffect>& effects = prepared->effects;
  if (!request.quiet) Tell(request, remarks, streams.err);
  const auto toldRemarks = static_cast<std::ptrdiff_t>(remarks.size());
  if (request.dryRun) {
    TellPlan(*plan, effects, report, streams.out);
    return std::nullopt;
  }
  report.isFloat = IsFloat(sampleFormat);
  // A float file holds all that a float stream can.
  const bool isPacked = plan->sampleText.find("float") == std::string::npos;
  const bool counts = !report.isFloat || ((CountOf(plan->bits) != 0 || isPacked) && !request.normalize);
  const Outcome<GaugedChain> chain = GaugeChain(request, effects, format, counts);
  if (!chain) return chain.earlyExit();
  Outcome<std::vector<OutputFile>> records = OpenRecords(request, streams);
  if (!records) return records.earlyExit();
  Outcome<OutputFile> file = OpenOutput(request.output, request.overwrite, streams);
  if (!file) return file.earlyExit();
  Outcome<SoundWriter> writer = SoundWriter::Open(*file, *plan, report.output);
  if (!writer) return writer.earlyExit();
  const bool timesHold = shape.from == 0 && std::isinf(shape.to) && plan->traits.rate == traits.rate &&
                         std::all_of(effects.begin(), effects.end(),
                                     [](const PreparedEffect& effect) { return effect.instance.stretch == nullptr; });
  const double rateRatio = static_cast<double>(plan->traits.rate) / traits.rate;
  writer->KeepNotes(reader->notes(), {timesHold, std::floor(shape.from * traits.rate + 0.5), rateRatio});
  Outcome<ShapedOutput> output = ShapedOutput::Make(*writer, *plan, {traits.rate, request.normalize});
  if (!output) return output.earlyExit();

  Progress progress(streams.errIsTerminal && !request.quiet ? &streams.err : nullptr);
  const Outcome<ChainResult> result = RunChain(input, *output, format, prepared->cut, chain->links, !request.noTail,
                                               [&](std::int64_t done) { progress.Show(done, input.frames()); });
  progress.Clear();
  if (!result) return result.earlyExit();
  if (MaybeExit check = output->Finish()) return check;
  Outcome<std::vector<std::string>> lost = Lost(*reader, traits, *plan, *file, report.output);
  if (!lost) return lost.earlyExit();
  report.lost = std::move(*lost);
  if (Interrupted()) return Failed("interrupted");

  auto record = records->begin();
  for (const PreparedEffect& effect : effects) {
    if (effect.request->saveStateFile.empty()) continue;
    if (MaybeExit check = record->Write(effect.record.data(), effect.record.size())) return check;
    ++record;
  }
  // A record tells of a sound that is there.
  if (MaybeExit check = file->Commit()) return check;
  for (OutputFile& one : *records) {
    if (MaybeExit check = one.Commit()) return check;
  }
  try {
    report.result = *result;
    report.fileFrames = writer->frames();
    report.clipped = writer->clipped();
    report.gainDb = output->gainDb();
    if (output->levels() != nullptr) report.result.levels = *output->levels();
    report.inputLoud = report.isFloat ? chain->gauges.front()->loud() : input.clipped();
    report.inputPeak = input.peak();
    ReadGauges(*chain, request, effects, counts, report, remarks);
    if (!request.quiet) Tell(request, std::span(remarks.begin() + toldRemarks, remarks.end()), streams.err);
    if (!request.quiet) TellResult(request, *plan, report, streams.err);
    if (request.json) TellJson(request, *plan, report, remarks, streams.out);
  } catch (const std::bad_alloc&) {
    // All is done; there is only no memory to say so.
  }
  return std::nullopt;
}

}  // namespace korva
