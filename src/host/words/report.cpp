#include "host/words/report.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>

#include "host/nearest.h"
#include "host/number_text.h"
#include "host/parameter_text.h"

namespace korva {
namespace {

std::string FileText(const SoundPlan& plan) {
  return std::to_string(plan.traits.rate) + " Hz, " + CountText(plan.traits.channels, "channel") + ", " +
         plan.sampleText;
}

std::string SecondsText(std::int64_t frames, std::uint32_t rate) {
  return DurationText(static_cast<double>(frames) / rate);
}

std::string Are(std::int64_t count, const char* what) {
  return CountText(count, what) + (count == 1 ? " is" : " are");
}

/// The gain in tenths of a dB that brings a sound down to full scale, when it lies `over` dB above it with `gainDb`.
std::string EnoughGain(double gainDb, double over) {
  return "--gain " + NumberText(std::floor((gainDb - over) * 10) / 10);
}

/// What is clipped where, and what helps.
void AddClipping(const RenderRequest& request, const SoundPlan& plan, const RunReport& report,
                 std::vector<std::string>& faults) {
  const double gainDb = 20 * std::log10(request.shape.gain);
  const std::string before = request.shape.gain > 1 ? "--gain" : "the input";
  if (!report.isFloat) {
    if (report.inputLoud != 0) {
      faults.push_back(Are(report.inputLoud, "sample") + " clipped in front of the effects, which " +
                       (request.shape.gain > 1 ? "--gain" : "the input") + " takes beyond full scale; " +
                       EnoughGain(0, 20 * std::log10(report.inputPeak)) +
                       " or less avoids it, or the chain in float (without --format)");
    }
    for (const Clipping& one : report.clipping) {
      faults.push_back(one.effect + " drove " + CountText(one.samples, "sample") +
                       " to full scale, where they are clipped; --gain -6 or lower gains of the effect avoid it, or "
                       "the chain in float (without --format)");
    }
  }
  if (report.clipped == 0) return;
  std::vector<std::string> drivers;
  if (report.inputLoud != 0) drivers.push_back(before + ": " + std::to_string(report.inputLoud));
  for (const Clipping& one : report.clipping) drivers.push_back(one.effect + ": " + std::to_string(one.samples));
  const double over = 20 * std::log10(report.result.levels.peak()) + report.gainDb;
  faults.push_back(Are(report.clipped, "sample") + " beyond full scale and clipped in the file, by up to " +
                   NumberText(std::round(over * 10) / 10) + " dB" +
                   (drivers.empty() ? "" : " (driven there by " + Joined(drivers, ", ") + ")") + "; --normalize 0" +
                   (plan.holdsFloat ? ", --bits float" : "") + " or " + EnoughGain(gainDb, over) + " avoids it");
}

/// What of the sound is not as it should be.
std::vector<std::string> Faults(const RenderRequest& request, const SoundPlan& plan, const RunReport& report) {
  std::vector<std::string> faults;
  if (report.result.framesIn == 0) faults.emplace_back("the input holds no audio, so neither does the output");
  if (plan.narrowed) {
    faults.push_back(plan.sampleText + " samples are all that this kind of file holds; the stream had more");
  }
  if (report.streamRate != plan.traits.rate) {
    faults.push_back("the sound is brought from " + std::to_string(report.streamRate) + " to " +
                     std::to_string(plan.traits.rate) + " Hz");
  }
  AddClipping(request, plan, report, faults);
  if (report.result.levels.notFinite() != 0) {
    faults.push_back(Are(static_cast<std::int64_t>(report.result.levels.notFinite()), "sample of the output") +
                     " infinite or no number");
  }
  if (!report.lost.empty()) faults.push_back("not kept from the input: " + Joined(report.lost, ", "));
  return faults;
}

}  // namespace

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
    if (one.wet) details.emplace_back("wet");
    for (const std::string& text : one.automations) details.push_back(text.substr(0, text.find(':')) + " automated");
    const std::string settings = details.empty() ? "defaults" : Joined(details, ", ");
    effects.push_back(std::string(description.name) + " (" + settings + ")");
  }
  return Joined(effects, ", then ");
}

void Tell(const RenderRequest& request, std::span<const std::string> lines, std::ostream& err) {
  const std::string who = request.outDir.empty() ? "korva: " : "korva: " + request.inputs.front() + ": ";
  // In one piece, so that the lines of files that are rendered at once stay whole.
  std::string text;
  for (const std::string& line : lines) text += who + line + "\n";
  err << text;
}

void TellResult(const RenderRequest& request, const SoundPlan& plan, const RunReport& report, std::ostream& err) {
  Tell(request, Faults(request, plan, report), err);
  const std::string in = SecondsText(report.result.framesIn, report.streamRate);
  const std::string out = SecondsText(report.fileFrames, plan.traits.rate);
  const double gain = std::pow(10.0, report.gainDb / 20);
  if (request.outDir.empty()) err << Described(request) << "\n";
  err << "wrote " << report.output << ": " << out << (in != out ? " (from " + in + ")" : "") << ", " << FileText(plan)
      << ", peak " << LevelText(report.result.levels.peak() * gain) << ", rms "
      << LevelText(report.result.levels.rms() * gain) << "\n";
}

void TellJson(const RenderRequest& request, const SoundPlan& plan, const RunReport& report,
              const std::vector<std::string>& remarks, std::ostream& out) {
  const auto decibels = [&](double level) {
    return level > 0 ? nlohmann::ordered_json(20 * std::log10(level) + report.gainDb) : nlohmann::ordered_json();
  };
  nlohmann::ordered_json json;
  json["input"] = report.input;
  json["output"] = report.output;
  json["effects"] = nlohmann::ordered_json::array();
  for (const EffectRequest& one : request.effects) json["effects"].push_back(one.effect->description.name);
  json["frames_in"] = report.result.framesIn;
  json["frames_out"] = report.fileFrames;
  json["seconds_out"] = static_cast<double>(report.fileFrames) / plan.traits.rate;
  json["rate"] = plan.traits.rate;
  json["channels"] = plan.traits.channels;
  json["samples"] = plan.sampleText;
  json["peak_db"] = decibels(report.result.levels.peak());
  json["rms_db"] = decibels(report.result.levels.rms());
  json["clipped"] = report.clipped;
  json["clipped_before_effects"] = report.inputLoud;
  json["clipped_by_effect"] = nlohmann::ordered_json::array();
  for (const Clipping& one : report.clipping) {
    json["clipped_by_effect"].push_back({{"effect", one.effect}, {"samples", one.samples}});
  }
  json["not_kept"] = report.lost;
  json["remarks"] = remarks;
  // Names of files may hold any bytes.
  out << json.dump(request.outDir.empty() ? 2 : -1, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
      << "\n";
}

void TellPlan(const SoundPlan& plan, const std::vector<PreparedEffect>& effects, const RunReport& report,
              std::ostream& out) {
  const auto seconds = [&](double frames) {
    return frames > 0 ? DurationText(frames / report.streamRate) : std::string("unknown length");
  };
  out << report.input << ": " << seconds(effects.front().framesIn) << "\n";
  double rings = 0;
  for (const PreparedEffect& effect : effects) {
    rings = effect.isHeld ? 0 : rings + effect.ringSeconds;
    out << "  " << effect.request->effect->description.name << ": " << (effect.isHeld ? "" : "about ")
        << seconds(effect.framesOut) << (rings > 0 ? ", and rings for up to " + DurationText(rings) : "") << "\n";
  }
  out << report.output << ": " << FileText(plan) << "\n";
}

}  // namespace korva
