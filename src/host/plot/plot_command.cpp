#include "host/plot/plot_command.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <sstream>

#include "delay/echomt/echomt_params.h"
#include "frame/row_values.h"
#include "host/interrupt.h"
#include "host/number_text.h"
#include "host/parameter_text.h"
#include "host/plot/plot_runs.h"
#include "plot/draw_picture.h"

namespace korva {
namespace {

constexpr std::uint32_t kPlainRate = 48000, kPlainChannels = 2;

/// One side of a picture: a run of a chain or, with a path, a sound file.
struct Side {
  std::string name;
  PlotRun run;
  std::string path;
};

/// "EFFECT" or "EFFECT:PRESET", or nothing where that is no effect.
std::optional<EffectRequest> EffectOf(const std::string& text) {
  const std::size_t colon = text.find(':');
  const Outcome<const EffectRow*> effect = FindEffect(text.substr(0, colon));
  if (!effect) return std::nullopt;
  EffectRequest request;
  request.effect = *effect;
  if (colon != std::string::npos) request.preset = text.substr(colon + 1);
  return request;
}

/// The sides of a call: one, or the two that it compares.
Outcome<std::vector<Side>> SidesOf(const PlotRequest& request, std::istream& in) {
  PlotRun plain{request.run, ""};
  plain.call.inputs.clear();
  if (plain.call.rate == 0) plain.call.rate = kPlainRate;
  if (plain.call.shape.channels == 0) plain.call.shape.channels = kPlainChannels;
  const auto& effects = request.run.effects;
  if (std::any_of(effects.begin(), effects.end(), [](const EffectRequest& one) { return one.stateFile == "-"; })) {
    plain.standardInput.assign(std::istreambuf_iterator<char>(in), {});
  }
  if (request.compared.empty()) return std::vector<Side>{{"", plain, ""}};
  std::vector<Side> sides;
  for (const std::string& text : request.compared) {
    Side side{text, plain, ""};
    if (!effects.empty()) {
      side.run.call.effects.front().preset = text;
      const Outcome<std::int32_t> preset = FindPreset(*effects.front().effect, text);
      if (!preset) return EarlyExit{preset.earlyExit().exitCode, "--compare: " + preset.earlyExit().text};
      side.name = EnglishPresetName(effects.front().effect->description, *preset);
    } else if (std::optional<EffectRequest> effect = EffectOf(text)) {
      side.run.call.effects = {std::move(*effect)};
    } else {
      side.path = text;
    }
    sides.push_back(std::move(side));
  }
  if (sides.front().path.empty() != sides.back().path.empty()) {
    return BadCall("--compare takes two sound files or two effects; \"" +
                   (sides.front().path.empty() ? sides.back() : sides.front()).name + "\" is no effect");
  }
  return sides;
}

Outcome<std::vector<NamedSound>> LoadSides(const std::vector<Side>& sides, const PlotRequest& request, std::istream& in,
                                           std::vector<std::string>& remarks) {
  std::vector<NamedSound> sounds;
  for (const Side& side : sides) {
    Outcome<PlainSound> sound = LoadSound(side.path, request.run, in, remarks);
    if (!sound) return sound.earlyExit();
    sounds.push_back({side.name, std::move(*sound)});
  }
  return sounds;
}

Outcome<Picture> FilesPicture(const std::vector<Side>& sides, const PlotRequest& request, std::istream& in,
                              std::vector<std::string>& remarks) {
  const RenderRequest& run = request.run;
  for (const auto& [name, isTold] : {std::pair("--gain", run.shape.gain != 1),
                                     {"--format", run.format.has_value()},
                                     {"--tail", run.tail.has_value()},
                                     {"--no-tail", run.noTail},
                                     {"--keep-pace", run.keepPace},
                                     {"--rate", run.rate != 0},
                                     {"--tempo", !run.tempo.empty()},
                                     {"--meter", !run.meter.empty()},
                                     {"--tempo-map", !run.tempoMap.empty()}}) {
    if (isTold) return BadCall(std::string(name) + " is for effects; two sound files are drawn as they are");
  }
  if (request.kindIsTold && request.kind == PlotKind::kImpulse) {
    return BadCall("--impulse is for effects; sound files are compared by their levels, --response or --spectrogram");
  }
  const Outcome<std::vector<NamedSound>> sounds = LoadSides(sides, request, in, remarks);
  if (!sounds) return sounds.earlyExit();
  if (request.kind == PlotKind::kSpectrogram) return SpectrogramPicture(*sounds);
  if (request.kind == PlotKind::kImpulse) return LevelPicture(*sounds);
  const std::uint32_t rate = std::max(sounds->front().sound.rate, sounds->back().sound.rate);
  constexpr std::size_t kPoints = 480;
  const std::vector<double> frequencies = ShownFrequencies(rate, kPoints);
  std::vector<FrequencyCurves> curves;
  for (const NamedSound& one : *sounds) {
    curves.push_back({one.name, {SpectrumOf(one.sound.Channel(0), one.sound.rate, frequencies)}});
  }
  return ResponsePicture(curves, rate);
}

Outcome<Picture> ImpulseOf(const std::vector<Side>& sides, std::vector<std::string>& remarks) {
  std::vector<ImpulseRun> runs;
  for (const Side& side : sides) {
    Outcome<ImpulseRun> run = RunImpulse(side.run, 0, remarks);
    if (!run) return run.earlyExit();
    run->back.name = side.name;
    runs.push_back(std::move(*run));
  }
  const std::vector<EffectRequest>& effects = sides.front().run.call.effects;
  if (runs.size() > 1 || effects.size() > 1 || &effects.front().effect->description != &kEchomtEffect) {
    return ImpulsePicture(runs);
  }
  // Taps are shown as their page does.
  std::istringstream in(sides.front().run.standardInput);
  std::vector<std::string> unused;
  const Outcome<std::vector<PreparedEffect>> prepared =
      PrepareEffects(sides.front().run.call, {1, sides.front().run.call.rate}, nullptr, in, unused);
  if (!prepared) return prepared.earlyExit();
  const auto params = LoadBlock<EchomtParams>(ReadBlock(prepared->front().instance).data());
  std::vector<double> taps;
  for (std::int32_t tap = 0; tap < params.tapCount; ++tap) taps.push_back(params.tapDelayMs[tap]);
  return TapPicture(runs.front(), taps);
}

Outcome<Picture> ResponseOfSides(const std::vector<Side>& sides, std::vector<std::string>& remarks) {
  constexpr std::size_t kMoments = 3;
  std::vector<FrequencyCurves> all;
  for (const Side& side : sides) {
    Outcome<std::vector<FrequencyCurves>> curves = RunResponse(side.run, sides.size() > 1 ? 1 : kMoments, remarks);
    if (!curves) return curves.earlyExit();
    for (FrequencyCurves& one : *curves) {
      if (sides.size() > 1) one.name = side.name;
      all.push_back(std::move(one));
    }
  }
  return ResponsePicture(all, sides.front().run.call.rate);
}

Outcome<Picture> SpectrogramOfSides(const std::vector<Side>& sides, const PlotRequest& request, std::istream& in,
                                    std::vector<std::string>& remarks) {
  // Long enough to see what rings on.
  constexpr double kSilence = 0.5;
  const RenderRequest& call = sides.front().run.call;
  Outcome<PlainSound> before = request.run.inputs.empty()
                                   ? Outcome<PlainSound>(Sweep(call.rate, call.shape.channels))
                                   : LoadSound(request.run.inputs.front(), request.run, in, remarks);
  if (!before) return before.earlyExit();
  std::vector<NamedSound> sounds;
  for (const Side& side : sides) {
    Outcome<PlainSound> after = RunSound(side.run, *before, request.run.tail.value_or(kSilence), remarks);
    if (!after) return after.earlyExit();
    sounds.push_back({sides.size() > 1 ? side.name : "after", std::move(*after)});
  }
  if (sides.size() == 1) sounds.insert(sounds.begin(), {"before", std::move(*before)});
  return SpectrogramPicture(sounds);
}

}  // namespace

Outcome<Picture> MakePicture(const PlotRequest& request, std::istream& in, std::vector<std::string>& remarks) {
  const Outcome<std::vector<Side>> sides = SidesOf(request, in);
  if (!sides) return sides.earlyExit();
  const auto made = [&]() -> Outcome<Picture> {
    if (!sides->front().path.empty()) return FilesPicture(*sides, request, in, remarks);
    switch (request.kind) {
      case PlotKind::kResponse:
        return ResponseOfSides(*sides, remarks);
      case PlotKind::kSpectrogram:
        return SpectrogramOfSides(*sides, request, in, remarks);
      case PlotKind::kAutomation: {
        const Outcome<std::vector<MovedParameter>> moved = SampleAutomation(sides->front().run, remarks);
        return moved ? AutomationPicture(*moved) : Outcome<Picture>(moved.earlyExit());
      }
      default:
        return ImpulseOf(*sides, remarks);
    }
  };
  Outcome<Picture> picture = made();
  if (picture) picture->title = request.title;
  return picture;
}

MaybeExit Plot(std::span<const std::string> words, Streams& streams) {
  const Outcome<PlotRequest> request = ParsePlot(words);
  if (!request) return request.earlyExit();
  const std::string& path = request->run.output;
  // Before the work, so that none is done in vain.
  Outcome<OutputFile> file = OpenOutput(path, request->run.overwrite, streams);
  if (!file) return file.earlyExit();
  std::vector<std::string> remarks;
  const Outcome<Picture> picture = MakePicture(*request, streams.in, remarks);
  if (!picture) return picture.earlyExit();
  std::string reason;
  const std::vector<unsigned char> bytes = DrawPicture(*picture, request->look, reason);
  if (bytes.empty()) return Failed("cannot draw " + path + ": " + reason);
  if (Interrupted()) return Failed("interrupted");
  if (MaybeExit check = file->Write(bytes.data(), bytes.size())) return check;
  if (MaybeExit check = file->Commit()) return check;
  if (request->run.quiet) return std::nullopt;
  for (const std::string& remark : remarks) streams.err << "korva: " << remark << "\n";
  const auto pixels = [&](int size) { return NumberText(size * request->look.scale); };
  streams.err << "wrote " << (path == "-" ? "standard output" : path) << ": " << pixels(request->look.width) << " x "
              << pixels(request->look.height) << "\n";
  return std::nullopt;
}

}  // namespace korva
